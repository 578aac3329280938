/* The contract between velox_cadenz and the manager library of the family.
 *
 * The application starts the manager, gets its record and hands it to velox_cadenz_initialize(). The record gives six
 * interface tables, each a plain table of function pointers in a fixed order; further names are linked directly. Any
 * library under the name libvelox_manager.so.3.10.1 that honours this file can carry velox_cadenz.
 *
 * Entries named `reserved` hold their place in a table and are never called. Results marked "ignored" are not looked at.
 * All texts are zero-terminated UTF-8. Every operation may be called from any thread that the application uses. */
#ifndef VELOX_MANAGER_H
#define VELOX_MANAGER_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

#define VELOX_MANAGER_MAGIC   0x1eeeeee1u
#define VELOX_MANAGER_VERSION "3.10.1"

/* Handles of the manager's own: opaque, never looked into. */
typedef struct velox_user* velox_user_handle;
typedef struct velox_mdo* velox_mdo_handle; /* a metadata object: context, values, children */
typedef struct velox_lookup* velox_lookup_handle;
typedef struct velox_list_element* velox_list_element_handle;
typedef void* velox_client_ref; /* any word */

/** Ends a client when the manager stops and the client is still there; given at client_register. */
typedef pask_status (*velox_client_shutdown_fn)(void);
/** Frees an object of the handle registry when its last reference goes. */
typedef void (*velox_handle_delete_fn)(void* object);
/** Stands for an entry that nothing here calls. */
typedef void (*velox_reserved_fn)(void);

/** The manager record. */
typedef struct velox_manager_record {
  uint32_t magic;      /* VELOX_MANAGER_MAGIC */
  const char* version; /* equals VELOX_MANAGER_VERSION, ASCII case ignored */
  /** Once, at the first start: package number, display name, the client's shutdown function, 0, out reference. Non-zero
   *  ends the start. */
  pask_status (*client_register)(uint32_t package, const char* name, velox_client_shutdown_fn shutdown, uintptr_t zero,
                                 velox_client_ref* client);
  /** At the last stop, and in the rollback of a failed start, there also with null, which gives 0. Non-zero: the client
   *  still holds something and stays. The shutdown function must not be called from inside. */
  pask_status (*client_unregister)(velox_client_ref client);
  velox_reserved_fn reserved[2];
  /** Gives an interface table by name, valid until its interface_release. Non-zero for an unknown name. */
  pask_status (*interface_get)(const char* name, uintptr_t zero1, uintptr_t zero2, void** table);
} velox_manager_record;

#define VELOX_INTERFACE_ERRORINFO     "_velox_errorinfo_interface"
#define VELOX_INTERFACE_HANDLEMANAGER "_velox_handlemanager_interface"
#define VELOX_INTERFACE_USERINFO      "_velox_userinfo_interface"
#define VELOX_INTERFACE_LOOKUP        "_velox_lookup_interface"
#define VELOX_INTERFACE_MDO           "_velox_mdo_interface"
#define VELOX_INTERFACE_LISTMANAGER   "_velox_listmanager_interface"

/** Every table begins with this entry, called once at stop with the table itself; ignored. */
typedef pask_status (*velox_interface_release_fn)(void* table);

typedef struct velox_errorinfo_interface {
  velox_interface_release_fn interface_release;
  /** Keeps the last error: the word, the word that caused it, the operation and a message; both texts may be null.
   *  0, 0 marks success. Ignored. */
  pask_status (*errorinfo_set)(pask_status word, pask_status source, const char* operation, const char* message);
} velox_errorinfo_interface;

typedef struct velox_handlemanager_interface {
  velox_interface_release_fn interface_release;
  /** Registers an object with one reference. On non-zero the caller frees the object: no delete call may follow. */
  pask_status (*handle_add)(velox_client_ref client, void* object, uint32_t magic, velox_handle_delete_fn destroy);
  /** 0 when the handle is registered with that magic word. */
  pask_status (*handle_validate)(const void* handle, uint32_t magic);
  velox_reserved_fn reserved1;
  /** Drops a reference; the last one calls the delete function, from inside which another release is allowed. */
  pask_status (*handle_release)(void* handle);
  velox_reserved_fn reserved2;
  pask_status (*handle_validate_user)(velox_user_handle user);
  pask_status (*handle_validate_mdo)(velox_mdo_handle mdo);
} velox_handlemanager_interface;

typedef struct velox_userinfo_interface {
  velox_interface_release_fn interface_release;
  velox_reserved_fn reserved;
  pask_status (*user_addref)(velox_user_handle user);  /* ignored */
  pask_status (*user_release)(velox_user_handle user); /* ignored */
} velox_userinfo_interface;

/** What a lookup reports while it runs. */
typedef struct velox_progress {
  uint32_t kind;       /* 20: the count is to be added up */
  int32_t state;       /* 8, 10, 11, 12 and 14 are acted on */
  uint32_t count;      /* states 10 and 11: an amount; state 14: a status word */
  const char* message; /* state 14: text for the error information, may be null */
} velox_progress;

/** Called by lookup_execute with the data given to lookup_create. `abort` may be null; a 1 in it asks for a stop.
 *  The record is read only. */
typedef void (*velox_lookup_callback_fn)(void* data, const velox_progress* progress, uint8_t* abort);

typedef struct velox_lookup_interface velox_lookup_interface;
struct velox_lookup_interface {
  velox_interface_release_fn interface_release;
  velox_reserved_fn reserved1;
  pask_status (*lookup_create)(velox_lookup_interface* table, velox_lookup_callback_fn callback, void* data,
                               velox_lookup_handle* lookup);
  velox_reserved_fn reserved2;
  pask_status (*lookup_add_request)(velox_lookup_handle lookup, const char* type, const char* request,
                                    const char* radio, uintptr_t one);
  /** Adds a value to a request; values of one ordinal belong together. The texts are copied. */
  pask_status (*lookup_add_data)(velox_lookup_handle lookup, const char* request, const char* key, const char* value,
                                 uint32_t ordinal);
  velox_reserved_fn reserved3[3];
  pask_status (*lookup_request_option_set)(velox_lookup_handle lookup, const char* request, const char* key,
                                           const char* value);
  pask_status (*lookup_option_set)(velox_lookup_handle lookup, const char* key, const char* value);
  /** Runs the requests and blocks until they have ended. No callback comes after it has returned. Non-zero when the
   *  abort byte was set to 1. */
  pask_status (*lookup_execute)(velox_lookup_handle lookup, velox_user_handle user, void* null);
  /** Gives the result of a request, with a reference for the caller. */
  pask_status (*lookup_get_result)(velox_lookup_handle lookup, const char* request, velox_mdo_handle* result);
  velox_reserved_fn reserved4;
  /** Ends the lookup; null is accepted. Results got from it stay valid. Ignored. */
  pask_status (*lookup_release)(velox_lookup_handle lookup);
};

typedef struct velox_mdo_interface {
  velox_interface_release_fn interface_release;
  velox_reserved_fn reserved1[2];
  pask_status (*mdo_addref)(velox_mdo_handle mdo);
  pask_status (*mdo_release)(velox_mdo_handle mdo); /* null is accepted; ignored */
  /** Gives the context text, such as "velox_ctx_track"; it lives as long as the object. */
  pask_status (*mdo_get_context)(velox_mdo_handle mdo, const char** context);
  velox_reserved_fn reserved2;
  /** Gives a value, which lives as long as the object. Non-zero, with the out text untouched, when there is none. */
  pask_status (*mdo_value_get)(velox_mdo_handle mdo, const char* key, uint32_t ordinal, const char** value);
  velox_reserved_fn reserved3;
  pask_status (*mdo_child_count)(velox_mdo_handle mdo, const char* key, uint32_t* count);
  /** Gives a child with a reference for the caller. Non-zero, with the out handle untouched, when there is none. */
  pask_status (*mdo_child_get)(velox_mdo_handle mdo, const char* key, uint32_t ordinal, uintptr_t zero,
                               velox_mdo_handle* child);
} velox_mdo_interface;

typedef struct velox_listmanager_interface {
  velox_interface_release_fn interface_release;
  velox_reserved_fn reserved[17];
  pask_status (*list_element_get_type)(velox_list_element_handle element, const char** type);
  pask_status (*list_element_get_id)(velox_list_element_handle element, int32_t* id);
} velox_listmanager_interface;

/* The memory service. It answers before any other call; initialize and shutdown count. A size is in bytes. */
VELOX_API pask_status pask_memory_initialize(void);
VELOX_API pask_status pask_memory_shutdown(void); /* ignored */
VELOX_API void* pask_memory_alloc(uint32_t size); /* null when refused; the block isn't zeroed */
/** Null when refused; the old block is then still valid. */
VELOX_API void* pask_memory_realloc(void* block, uint32_t size);
VELOX_API void pask_memory_free(void* block); /* null is accepted */
VELOX_API void pask_memory_memset(void* block, uint8_t byte, uint32_t size);
VELOX_API void pask_memory_memcpy(void* to, const void* from, uint32_t size);
VELOX_API void pask_memory_memmove(void* to, const void* from, uint32_t size);     /* the blocks may overlap */
VELOX_API int32_t pask_memory_memcmp(const void* a, const void* b, uint32_t size); /* 0 when equal */

/** errorinfo_set, for when the service isn't started. Ignored. */
VELOX_API pask_status manager_errorinfo_set(pask_status word, pask_status source, const char* operation,
                                            const char* message);
/** Ends a list of file markers; null is accepted. Ignored. */
VELOX_API pask_status pask_fs_marker_end(void* marker);

/* Level bits of a package's word in g_pask_log_enabled_pkgs. */
#define PASK_LOG_ERROR 1u /* a failed status, or a refused stop */
#define PASK_LOG_INFO  4u /* the service's start and stop */
#define PASK_LOG_TRACE 8u /* entry of every service operation, and the notice of an abort */

/** The log hook: line and file of the report, the level, a status word or a package word (package << 16), and a
 *  printf-like format, which may be null. Called from any thread at any time, only after the level test has passed. */
typedef void (*pask_log_fn)(int32_t line, const char* file, uint32_t level_mask, uint32_t status_or_package,
                            const char* format, ...);
extern VELOX_API pask_log_fn g_pask_log_callback;
/** One word of enabled level bits for each package 0 to 255. */
extern VELOX_API uint32_t g_pask_log_enabled_pkgs[256];
/** The POSIX key of the family's thread store; 0 until one library has made it. */
extern VELOX_API uint32_t g_pask_thread_store_key;

VELOX_END_DECLS

#endif
