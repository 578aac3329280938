// What the sources of the service share: the manager's tables, the frame of an exported operation, the records, and the
// steps of a request.
#pragma once

#include "pask_status.h"
#include "pask_stringmap.h"
#include "pask_thread.h"
#include "pask_vector.h"
#include "pask_vector2.h"
#include "velox_cadenz.h"

// ---- The manager, as got at the first start; null while the service is down ----------------------------------------

extern "C" {
extern VELOX_API const velox_manager_record* g_cadenz_manager_interface;
extern VELOX_API velox_client_ref g_cadenz_client_ref;
extern VELOX_API velox_errorinfo_interface* g_cadenz_errorinfo_interface;
extern VELOX_API velox_handlemanager_interface* g_cadenz_handlemanager_interface;
extern VELOX_API velox_userinfo_interface* g_cadenz_userinfo_interface;
extern VELOX_API velox_lookup_interface* g_cadenz_lookup_interface;
extern VELOX_API velox_mdo_interface* g_cadenz_mdo_interface;
extern VELOX_API velox_listmanager_interface* g_cadenz_lists_interface;
}

// ---- Status words that stay inside -----------------------------------------------------------------------------------

constexpr uint32_t CADENZ_INFO_NOT_FOUND = status_info(PKG_CADENZ, CODE_NOT_FOUND);
constexpr uint32_t CADENZ_ERR_BAD_EVENT = status_error(PKG_CADENZ, 0x003d);
static_assert(CADENZ_ERR_NO_MEMORY == status_error(PKG_CADENZ, CODE_NO_MEMORY));
constexpr uint32_t CADENZ_PACKAGE_WORD = PKG_CADENZ << 16;

// Moves a word from outside package 0xb5 into it; the error bit is set whatever the word's severity was.
constexpr uint32_t cadenz_fold(uint32_t status) {
  return status_package(status) == PKG_CADENZ ? status : status_error(PKG_CADENZ, status & 0xffff);
}

constexpr bool cadenz_is_no_seeds(uint32_t status) { return (status & 0xffff) == (CADENZ_ERR_NO_SEEDS & 0xffff); }

// The failure report of the service's own functions; gives the status back.
inline uint32_t cadenz_report(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "velox_cadenz", line);
  return status;
}

// ---- The frame of an exported operation --------------------------------------------------------------------------------

template <class... Args>
inline void cadenz_trace(const char* format, Args... args) {
  if (pask_log_enabled(PKG_CADENZ, PASK_LOG_TRACE)) [[unlikely]]
    g_pask_log_callback(0, "[api_trace]", PASK_LOG_TRACE, CADENZ_PACKAGE_WORD, format, args...);
}

// 0, or 0x90b50007 with its report while the service is down.
uint32_t cadenz_ready(const char* operation);
// 0 for a live handle of that kind, else the outcome, reported.
uint32_t cadenz_handle_check(const char* operation, const void* handle, uint32_t magic);
// The whole of an operation that releases a query or a station, behind its trace.
uint32_t cadenz_handle_release(const char* operation, void* handle, uint32_t magic);
// Ends an operation: folds the status, sets the error information, logs a failure, returns the folded word.
uint32_t cadenz_end(const char* operation, uint32_t status, const char* message = nullptr);
// The same, but the caller gets the status unfolded.
uint32_t cadenz_end_unfolded(const char* operation, uint32_t status);
// Logs a failure without setting the error information, and returns it.
uint32_t cadenz_log_only(const char* operation, uint32_t status);

// ---- Records -------------------------------------------------------------------------------------------------------------

constexpr uint32_t CADENZ_QUERY_MAGIC = 0xf6fff666;
constexpr uint32_t CADENZ_STATION_MAGIC = 0xf7fff777;
constexpr uint32_t CADENZ_FILTER_MAGIC = 0xf8fff888;

struct cadenz_query {
  uint32_t magic;
  pask_critsec_handle lock;  // guards options and seeds; held during a whole request
  velox_user_handle user;    // referenced for the query's whole life
  pask_stringmap_handle options;
  velox_cadenz_callback_fn callback;
  void* callback_data;
  uint32_t progress_total_1;  // written by the lookup callback only
  uint32_t progress_total_2;
  pask_vector_handle seeds;  // metadata objects, one reference each
};

struct cadenz_filter {
  uint32_t magic;
  pask_stringmap_handle values;  // list type -> decimal texts of the elements' numbers
};

struct cadenz_station {
  uint32_t magic;
  pask_critsec_handle lock;    // guards all below; held during a whole exchange with the service
  cadenz_query* query;         // the station's own: its user, callback and options; no seeds, and its lock isn't used
  char* station_id;            // never empty
  velox_mdo_handle playlist;   // the latest answer with something to play, referenced; null until the first
  pask_vector2_handle events;  // of cadenz_event, in order of arrival
};

// What the listener did, until the next exchange reports it.
struct cadenz_event {
  uint32_t kind;             // VELOX_CADENZ_EVENT_
  velox_mdo_handle subject;  // the track or artist, referenced
};

// ---- Options (cadenz_options.cpp) ----------------------------------------------------------------------------------------

// Sets an option under a lock if an owner of that kind (VELOX_OPTION_OF_) has such a key; reads any that is set.
uint32_t cadenz_option_set(const cadenz_query* query, pask_critsec_handle lock, uint8_t owner, const char* key,
                           const char* value);
uint32_t cadenz_option_get(const cadenz_query* query, pask_critsec_handle lock, const char* key, const char** value);
// Gives a lookup what is set: all that a request of its type carries, or what holds for the lookup as a whole.
uint32_t cadenz_options_send(const cadenz_query* query, const char* type, velox_lookup_handle lookup);
uint32_t cadenz_options_send_endpoint(const cadenz_query* query, velox_lookup_handle lookup);
// Whether an option differs from what the playlist reports of it; with no playlist, whether one is set.
bool cadenz_settings_changed(const cadenz_query* query, velox_mdo_handle playlist);

// ---- A query's inner steps (cadenz_query.cpp) --------------------------------------------------------------------------

uint32_t _cadenz_query_create(velox_user_handle user, velox_cadenz_callback_fn callback, void* data,
                              pask_stringmap_handle options_to_copy, cadenz_query** query);
void _cadenz_query_free(cadenz_query* query);
void cadenz_seed_release(uintptr_t seed);

// The seed at an index of a seed vector.
inline uint32_t cadenz_seed_get(pask_vector_handle seeds, uint32_t index, velox_mdo_handle* seed) {
  uintptr_t value = 0;
  PASK_TRY(pask_vector_getindex(seeds, index, &value));
  *seed = reinterpret_cast<velox_mdo_handle>(value);
  return 0;
}
inline uint32_t cadenz_seed_add(pask_vector_handle seeds, velox_mdo_handle seed) {
  return pask_vector_add(seeds, reinterpret_cast<uintptr_t>(seed));
}

// ---- A station's inner steps (cadenz_station.cpp, cadenz_station_event.cpp, cadenz_station_lookup.cpp) ---------------------

struct cadenz_station_origin {
  const char* station_id;
  velox_mdo_handle answer;  // of the request that made the station; null for one that is reopened
  velox_user_handle user;
  velox_cadenz_callback_fn callback;
  void* callback_data;
  pask_stringmap_handle options;  // to be copied; null for none
};
uint32_t _cadenz_station_create(const cadenz_station_origin& from, cadenz_station** station);

// Brings a station in step with the service by the one request that the moment needs, or by none. 0 exactly when the station
// has a playlist. The caller holds the station's lock, unless nobody else knows the station.
uint32_t _cadenz_station_lookup(cadenz_station* station);
// Adds all pending events to a request and empties the list, also when one of them fails and the request can't go out.
uint32_t cadenz_events_send(cadenz_station* station, velox_lookup_handle lookup);
void _cadenz_event_release(void* event);

// ---- The request (cadenz_lookup.cpp, its seeds and filter, cadenz_preprocess.cpp) -----------------------------------------

#define CADENZ_REQUEST_NAME "cadenzreq1"

uint32_t cadenz_preprocess_seeds(cadenz_query* query);
uint32_t _cadenz_query_lookup_create(cadenz_query* query, const char* type, velox_lookup_handle* lookup);
uint32_t _cadenz_query_lookup_add_seeds(cadenz_query* query, velox_lookup_handle lookup);
uint32_t _cadenz_query_lookup_add_filter(cadenz_query* query, velox_lookup_handle lookup, const cadenz_filter* filter);
uint32_t _cadenz_query_lookup_execute(velox_user_handle user, velox_lookup_handle lookup, velox_mdo_handle* result);
void cadenz_lookup_callback(void* data, const velox_progress* progress, uint8_t* abort);

// Adds a value to the one request of a lookup.
inline uint32_t cadenz_data_add(velox_lookup_handle lookup, const char* key, const char* value, uint32_t ordinal) {
  return g_cadenz_lookup_interface->lookup_add_data(lookup, CADENZ_REQUEST_NAME, key, value, ordinal);
}

// A request of a query's seeds and, unless it is null, a filter: made, filled and executed. The absence of seeds is no failure.
// The request is the caller's to release, also after a failure.
uint32_t cadenz_seeded_request(cadenz_query* query, const char* type, const cadenz_filter* filter,
                               velox_lookup_handle* lookup, velox_mdo_handle* result);

// A metadata object's context, or null; a value or a child, or null when there is none.
inline const char* cadenz_mdo_context(velox_mdo_handle mdo) {
  const char* context = nullptr;
  g_cadenz_mdo_interface->mdo_get_context(mdo, &context);
  return context;
}
inline uint32_t cadenz_mdo_value(velox_mdo_handle mdo, const char* key, const char** value) {
  return g_cadenz_mdo_interface->mdo_value_get(mdo, key, 1, value);
}
inline uint32_t cadenz_mdo_child(velox_mdo_handle mdo, const char* key, velox_mdo_handle* child) {
  return g_cadenz_mdo_interface->mdo_child_get(mdo, key, 1, 0, child);
}
