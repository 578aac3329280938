// A request: a lookup made of a query's options, seeds and filter, and how metadata objects are read for it. Nothing here takes
// a lock: the callers hold the query's or the station's.
#pragma once

#include "cadenz_objects.h"

// The name of a lookup's one request; only the lookup that resolves seeds has requests of other names.
constexpr char CADENZ_REQUEST_NAME[] = "cadenzreq1";

// ---- The lookup, from its making to its answer (cadenz_lookup.cpp) --------------------------------------------------

uint32_t _cadenz_query_lookup_create(cadenz_query* query, const char* type, velox_lookup_handle* lookup);
uint32_t _cadenz_query_lookup_execute(velox_user_handle user, velox_lookup_handle lookup, velox_mdo_handle* result);
void cadenz_lookup_callback(void* data, const velox_progress* progress, uint8_t* abort);

// A request of a query's seeds and, unless it is null, a filter: made, filled and executed. The absence of seeds is no failure.
// The lookup is the caller's to release, also after a failure.
uint32_t cadenz_seeded_request(cadenz_query* query, const char* type, const cadenz_filter* filter,
                               velox_lookup_handle* lookup, velox_mdo_handle* result) PASK_REQUIRES(query->lock);

// ---- What goes into it ----------------------------------------------------------------------------------------------

// Puts identified objects in the place of seeds that carry only names: all of them, or the seeds stay (cadenz_preprocess.cpp).
uint32_t cadenz_preprocess_seeds(cadenz_query* query) PASK_REQUIRES(query->lock);
uint32_t _cadenz_query_lookup_add_seeds(cadenz_query* query, velox_lookup_handle lookup) PASK_REQUIRES(query->lock);
uint32_t _cadenz_query_lookup_add_filter(cadenz_query* query, velox_lookup_handle lookup, const cadenz_filter* filter)
    PASK_REQUIRES(query->lock);

// Gives a lookup the options that are set: all that a request of its type carries, or those of the lookup as a whole. Whether
// one differs from what the playlist reports of it; with no playlist, whether one is set (cadenz_options.cpp).
uint32_t cadenz_options_send(const cadenz_query* query, const char* type, velox_lookup_handle lookup);
uint32_t cadenz_options_send_endpoint(const cadenz_query* query, velox_lookup_handle lookup);
bool cadenz_settings_changed(const cadenz_query* query, velox_mdo_handle playlist);

// Adds a value to the one request of a lookup.
inline uint32_t cadenz_data_add(velox_lookup_handle lookup, const char* key, const char* value, uint32_t ordinal) {
  return g_cadenz_lookup_interface->lookup_add_data(lookup, CADENZ_REQUEST_NAME, key, value, ordinal);
}

// ---- Metadata objects -----------------------------------------------------------------------------------------------

// An object's context, or null; its first value or child of a key, non-zero when there is none.
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
