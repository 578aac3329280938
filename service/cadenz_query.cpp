// The query object: a user, a callback, options and up to six seeds. Its lock is held while options or seeds are touched.
#include <string.h>

#include "cadenz_objects.h"
#include "pask_string.h"

// ---- Inside ---------------------------------------------------------------------------------------------------------

void cadenz_seed_release(uintptr_t seed) {
  g_cadenz_mdo_interface->mdo_release(reinterpret_cast<velox_mdo_handle>(seed));
}

// Nobody else knows the query any more.
PASK_NO_THREAD_SAFETY_ANALYSIS void _cadenz_query_free(cadenz_query* query) {
  if (!query) return;
  g_cadenz_userinfo_interface->user_release(query->user);
  pask_thread_critsec_delete(query->lock);
  pask_stringmap_delete(query->options);
  pask_vector_delete(query->seeds);
  pask_memory_free(query);
}

// The delete function that the manager's registry calls when the last reference goes.
static void _cadenz_query_handle_delete(void* query) { _cadenz_query_free(static_cast<cadenz_query*>(query)); }

// Fills a zeroed record up to its registration. What is there when a step fails is freed by the caller.
static uint32_t query_fill(cadenz_query* query, pask_stringmap_handle options_to_copy) {
  g_cadenz_userinfo_interface->user_addref(query->user);
  PASK_TRY(pask_thread_critsec_create(&query->lock));
  PASK_TRY(options_to_copy ? pask_stringmap_copy(options_to_copy, &query->options)
                           : pask_stringmap_create(&query->options, PASK_HASHTABLE_THREADSAFE));
  PASK_TRY(pask_vector_create(&query->seeds, 0, nullptr, cadenz_seed_release));
  return g_cadenz_handlemanager_interface->handle_add(g_cadenz_client_ref, query, query->magic,
                                                      _cadenz_query_handle_delete);
}

uint32_t _cadenz_query_create(velox_user_handle user, velox_cadenz_callback_fn callback, void* data,
                              pask_stringmap_handle options_to_copy, cadenz_query** query) {
  auto* made = static_cast<cadenz_query*>(pask_memory_alloc(sizeof(cadenz_query)));
  if (!made) return cadenz_report(CADENZ_ERR_NO_MEMORY);
  memset(made, 0, sizeof *made);
  made->magic = CADENZ_QUERY_MAGIC;
  made->user = user;
  made->callback = callback;
  made->callback_data = data;
  if (const uint32_t status = query_fill(made, options_to_copy)) {
    _cadenz_query_free(made);
    return cadenz_report(status);
  }
  PASK_ASSERT(cadenz_sound(made));
  *query = made;
  return 0;
}

static uint32_t seed_take(cadenz_query* query, velox_mdo_handle seed) PASK_REQUIRES(query->lock) {
  uint32_t count = 0;
  PASK_TRY(pask_vector_count(query->seeds, &count));
  if (count >= VELOX_CADENZ_MAX_SEEDS) return CADENZ_ERR_TOO_MANY_SEEDS;
  PASK_TRY(g_cadenz_mdo_interface->mdo_addref(seed));
  const uint32_t status = cadenz_seed_add(query->seeds, seed);
  if (status) g_cadenz_mdo_interface->mdo_release(seed);
  return status;
}

// ---- Exported -------------------------------------------------------------------------------------------------------

uint32_t velox_cadenz_query_create(velox_user_handle user, velox_cadenz_callback_fn callback, void* data,
                                   cadenz_query** query) {
  static constexpr char OPERATION[] = "velox_cadenz_query_create";
  cadenz_trace("velox_cadenz_query_create( %p, %p, %p, %p )", user, callback, data, query);
  PASK_TRY(cadenz_ready(OPERATION));
  if (!query) return cadenz_end(OPERATION, CADENZ_ERR_INVALID_ARG, "Missing [out] parameter p_cadenz_query_handle.");
  if (!user) return cadenz_end(OPERATION, CADENZ_ERR_INVALID_ARG);
  if (const uint32_t status = g_cadenz_handlemanager_interface->handle_validate_user(user))
    return cadenz_end(OPERATION, status);
  return cadenz_end(OPERATION, _cadenz_query_create(user, callback, data, nullptr, query));
}

uint32_t velox_cadenz_query_release(cadenz_query* query) {
  cadenz_trace("velox_cadenz_query_release( %p )", query);
  return cadenz_handle_release("velox_cadenz_query_release", query, CADENZ_QUERY_MAGIC);
}

uint32_t velox_cadenz_query_option_set(cadenz_query* query, const char* key, const char* value) {
  static constexpr char OPERATION[] = "velox_cadenz_query_option_set";
  cadenz_trace("velox_cadenz_query_option_set( %p, %s, %s )", query, key, value);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, query, CADENZ_QUERY_MAGIC));
  if (pask_string_isempty(key)) return cadenz_end(OPERATION, CADENZ_ERR_INVALID_ARG);
  return cadenz_end(OPERATION, cadenz_option_set(query, query->lock, VELOX_OPTION_OF_QUERY, key, value));
}

uint32_t velox_cadenz_query_option_get(cadenz_query* query, const char* key, const char** value) {
  static constexpr char OPERATION[] = "velox_cadenz_query_option_get";
  cadenz_trace("velox_cadenz_query_option_get( %p, %s, %p )", query, key, value);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, query, CADENZ_QUERY_MAGIC));
  if (!key || !value) return cadenz_end_without_errorinfo(OPERATION, CADENZ_ERR_INVALID_ARG);
  return cadenz_end(OPERATION, cadenz_option_get(query, query->lock, key, value));
}

uint32_t velox_cadenz_query_set_mdo(cadenz_query* query, velox_mdo_handle seed) {
  static constexpr char OPERATION[] = "velox_cadenz_query_set_mdo";
  cadenz_trace("velox_cadenz_query_set_mdo( %p, %p )", query, seed);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, query, CADENZ_QUERY_MAGIC));
  uint32_t status = 0;
  {
    const cadenz_hold held(query);
    status = cadenz_report(seed_take(query, seed));
  }
  return cadenz_end(OPERATION, status);
}
