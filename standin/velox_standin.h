/* The manager stand-in's own operations: what an application needs around velox_cadenz, and what a test or another music
 * service needs to take part. The contract itself stands in velox_manager.h.
 *
 * Order of calls: velox_standin_start(), hand the record to velox_cadenz_initialize(), make a user, work, release what you
 * hold, velox_cadenz_shutdown(), velox_standin_stop().
 *
 * Conventions: status words of package 0x01; out-parameters are written on success only; texts are zero-terminated UTF-8;
 * every operation may be called from any thread unless told otherwise. A handle that isn't alive gives
 * VELOX_STANDIN_ERR_HANDLE where a status is returned. */
#ifndef VELOX_STANDIN_H
#define VELOX_STANDIN_H

#include "velox_lookup_keys.h"
#include "velox_manager.h"

VELOX_BEGIN_DECLS

#define VELOX_STANDIN_ERR_INVALID_ARG 0x90010001u /* a required argument is null or empty */
#define VELOX_STANDIN_ERR_NO_MEMORY   0x90010002u
#define VELOX_STANDIN_ERR_NOT_FOUND   0x90010003u /* no such value, child, request, interface or result */
#define VELOX_STANDIN_ERR_NOT_INITED  0x90010007u
#define VELOX_STANDIN_ERR_UNSUPPORTED 0x9001000bu /* a lookup type or a service URL that the provider doesn't serve */
#define VELOX_STANDIN_ERR_ABORTED     0x90010010u /* a lookup callback set the abort byte */
#define VELOX_STANDIN_ERR_IN_USE \
  0x90010011u                                 /* the client still holds handles, the object is part of another one or of
                                                   * an answer and takes nothing more, or the lookup is running */
#define VELOX_STANDIN_ERR_HANDLE  0x90010321u /* a handle that isn't alive or is of another kind */
#define VELOX_STANDIN_ERR_CATALOG 0x90010400u /* the catalogue's database can't be used; the message tells why */

/* ---- Start and stop ------------------------------------------------------------------------------------------------ */

/** Starts the manager, or counts a further start. `record` receives the record for velox_cadenz_initialize(), valid until
 *  the last stop. Returns 0, or 0x90010001 for a null out-parameter. */
VELOX_API pask_status velox_standin_start(const velox_manager_record** record);
/** Ends one start. The last one frees what was left in the handle registry through its delete functions, newest first and
 *  while the clients are still up, calls the shutdown function of each client that is still registered, and closes
 *  catalogues. Users, metadata objects, list elements and lookups live on until they are released. Not to be called from
 *  inside a delete or shutdown function. Returns 0; 0x90010007 when not started; 0x90010002 when the last stop found no memory
 *  to begin with, which then may be tried again. */
VELOX_API pask_status velox_standin_stop(void);

/* ---- Last error and log -------------------------------------------------------------------------------------------- */

/** What errorinfo_set told last on the calling thread. Word 0: success. */
typedef struct velox_standin_error {
  pask_status word;
  pask_status source;    /* the word that caused it */
  const char* operation; /* may be null; valid until the thread's next errorinfo_set */
  const char* message;   /* may be null; the same */
} velox_standin_error;

VELOX_API void velox_standin_last_error(velox_standin_error* error);
/** Records a message for the last error: what a provider tells of a failure, right before it returns the word. An
 *  errorinfo_set without a message whose source is that word keeps the message, so that the application reads it behind the
 *  failed operation of the service. Null texts are allowed. */
VELOX_API void velox_standin_error_set(pask_status word, const char* operation, const char* message);

/** Sets the log hook; null drops every line. Not to be changed while another thread may log. */
VELOX_API void velox_standin_log_set(pask_log_fn hook);
/** Sets the enabled level bits (PASK_LOG_*) of a package; package 0xb5 is the service's, 0x31 the family's. */
VELOX_API void velox_standin_log_enable(uint32_t package, uint32_t levels);

/* ---- Users --------------------------------------------------------------------------------------------------------- */

/** Makes a user, with one reference. `name`, which isn't empty, tells users apart where a provider keeps state for them. */
VELOX_API pask_status velox_standin_user_create(const char* name, velox_user_handle* user);
VELOX_API pask_status velox_standin_user_addref(velox_user_handle user);
/** Drops a reference; null is accepted. */
VELOX_API void velox_standin_user_release(velox_user_handle user);
/** The user's name, valid as long as the user; null for a dead handle. */
VELOX_API const char* velox_standin_user_name(velox_user_handle user);

/* ---- Metadata objects ---------------------------------------------------------------------------------------------- */
/* A metadata object has a context text, values under keys, and children under child keys; ordinals count from 1. It is
 * built by one thread, and read by any number once it has been handed out. Build from the leaves: an object that has been
 * added to another one, or given as an answer, takes no further value or child (0x90010011). */

/** Makes an object, with one reference. The context may be empty. */
VELOX_API pask_status velox_standin_mdo_create(const char* context, velox_mdo_handle* mdo);
/** Adds a value behind those of the same key; both texts are copied. A null value adds nothing and is a success; an empty
 *  one is a value. */
VELOX_API pask_status velox_standin_mdo_value_add(velox_mdo_handle mdo, const char* key, const char* value);
/** Adds a child behind those of the same key. The object takes a reference of its own. */
VELOX_API pask_status velox_standin_mdo_child_add(velox_mdo_handle mdo, const char* key, velox_mdo_handle child);
VELOX_API pask_status velox_standin_mdo_addref(velox_mdo_handle mdo);
VELOX_API void velox_standin_mdo_release(velox_mdo_handle mdo); /* null is accepted */
/** The context text; null for a dead handle. Valid as long as the object, like the texts of the next two. */
VELOX_API const char* velox_standin_mdo_context(velox_mdo_handle mdo);
/** A value, or null when there is none. */
VELOX_API const char* velox_standin_mdo_value(velox_mdo_handle mdo, const char* key, uint32_t ordinal);
VELOX_API uint32_t velox_standin_mdo_child_count(velox_mdo_handle mdo, const char* key);
/** A child, borrowed: valid as long as the parent. Null when there is none. */
VELOX_API velox_mdo_handle velox_standin_mdo_child(velox_mdo_handle mdo, const char* key, uint32_t ordinal);

/* ---- List elements ------------------------------------------------------------------------------------------------- */

/** Makes an element of a list, with one reference: its list's type text, its number there, and a name to show or null. */
VELOX_API pask_status velox_standin_list_element_create(const char* type, int32_t id, const char* name,
                                                        velox_list_element_handle* element);
VELOX_API pask_status velox_standin_list_element_addref(velox_list_element_handle element);
VELOX_API void velox_standin_list_element_release(velox_list_element_handle element); /* null is accepted */
/** The name, valid as long as the element; null for an element without one and for a dead handle. */
VELOX_API const char* velox_standin_list_element_name(velox_list_element_handle element);

/* ---- Providers ----------------------------------------------------------------------------------------------------- */
/* A lookup's requests are answered by a provider. Until one is set, the embedded catalogue answers (velox_catalog.h), or,
 * in a build without it, every lookup ends with 0x9001000b. */

/** One option (ordinal 0) or one value of a request. Texts may be null where null was given. */
typedef struct velox_standin_item {
  const char* key;
  const char* value;
  uint32_t ordinal;
} velox_standin_item;

typedef struct velox_standin_request {
  const char* type; /* "velox_lookup_type_..." */
  const char* name;
  const velox_standin_item* options; /* in the order in which they were set; a later one of a key stands */
  uint32_t option_count;
  const velox_standin_item* data; /* in the order in which it was added */
  uint32_t data_count;
} velox_standin_request;

/** A lookup as its provider sees it; valid during execute only, as is the run. The lookup takes nothing more meanwhile, and
 *  gives no result. */
typedef struct velox_standin_lookup {
  velox_user_handle user;
  const velox_standin_item* options; /* of the whole lookup */
  uint32_t option_count;
  const velox_standin_request* requests;
  uint32_t request_count;
} velox_standin_lookup;

/** One execution, for the operations below. */
typedef struct velox_standin_run velox_standin_run;

typedef struct velox_standin_provider {
  void* context;
  /** Answers all requests of a lookup, on the calling thread. Non-zero fails the whole lookup; a request without a result
   *  gives 0x90010003 at lookup_get_result. Several threads may be inside at once. After an abort the lookup ends with
   *  0x90010010, whatever this returns. */
  pask_status (*execute)(void* context, const velox_standin_lookup* lookup, velox_standin_run* run);
} velox_standin_provider;

/** Sets the provider of lookups that are executed from now on; null puts the default back. The table is copied. */
VELOX_API void velox_standin_provider_set(const velox_standin_provider* provider);
/** Sends a progress record to the lookup callback; on the thread of execute. Returns 0, or 0x90010010 once the abort byte was
 *  set, which the provider hands back at once; no further callback is made then. */
VELOX_API pask_status velox_standin_run_progress(velox_standin_run* run, uint32_t kind, int32_t state, uint32_t count,
                                                 const char* message);
/** Gives the answer to the request at an index, from 0, in place of an earlier one; takes a reference of its own. */
VELOX_API pask_status velox_standin_run_result(velox_standin_run* run, uint32_t request, velox_mdo_handle result);

/* ---- For tests: the memory service ---------------------------------------------------------------------------------- */

/** Starts of the memory service not yet matched by a shutdown. */
VELOX_API uint32_t velox_standin_memory_starts(void);
/** Blocks of pask_memory_alloc and _realloc that are alive. */
VELOX_API int64_t velox_standin_memory_live_blocks(void);
/** Allocations and reallocations granted so far. */
VELOX_API uint64_t velox_standin_memory_allocations(void);
/** Grants so many further allocations of the whole process, then refuses the next one, or with `all_after` every one. */
VELOX_API void velox_standin_memory_refuse(uint32_t granted, uint8_t all_after);
/** Ends the refusing. Returns 1 when an allocation was refused. */
VELOX_API uint8_t velox_standin_memory_refuse_end(void);
/** Objects of the stand-in that are alive: users, metadata objects, list elements, lookups and registered handles. */
VELOX_API int64_t velox_standin_live_objects(void);

VELOX_END_DECLS

#endif
