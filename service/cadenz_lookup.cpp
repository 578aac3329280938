// A lookup with one request, from its making to its answer, and the callback of every lookup of the service. No lock is taken
// here: the callers hold the query's.
#include "cadenz_request.h"

static uint32_t lookup_prepare(const cadenz_query* query, const char* type, velox_lookup_handle lookup) {
  PASK_TRY(g_cadenz_lookup_interface->lookup_add_request(lookup, type, CADENZ_REQUEST_NAME, "radio", 1));
  return cadenz_options_send(query, type, lookup);
}

uint32_t _cadenz_query_lookup_create(cadenz_query* query, const char* type, velox_lookup_handle* lookup) {
  velox_lookup_handle made = nullptr;
  uint32_t status =
      g_cadenz_lookup_interface->lookup_create(g_cadenz_lookup_interface, cadenz_lookup_callback, query, &made);
  if (!status) status = lookup_prepare(query, type, made);
  if (status) {
    g_cadenz_lookup_interface->lookup_release(made);
    return cadenz_report(status);
  }
  *lookup = made;
  return 0;
}

uint32_t _cadenz_query_lookup_execute(velox_user_handle user, velox_lookup_handle lookup, velox_mdo_handle* result) {
  velox_mdo_handle answer = nullptr;
  uint32_t status = g_cadenz_lookup_interface->lookup_execute(lookup, user, nullptr);
  if (!status) status = g_cadenz_lookup_interface->lookup_get_result(lookup, CADENZ_REQUEST_NAME, &answer);
  if (status) return cadenz_report(status);
  *result = answer;
  return 0;
}

uint32_t cadenz_seeded_request(cadenz_query* query, const char* type, const cadenz_filter* filter,
                               velox_lookup_handle* lookup, velox_mdo_handle* result) {
  PASK_TRY(_cadenz_query_lookup_create(query, type, lookup));
  const uint32_t status = _cadenz_query_lookup_add_seeds(query, *lookup);
  if (status && !cadenz_is_no_seeds(status)) return status;
  if (filter) _cadenz_query_lookup_add_filter(query, *lookup, filter);
  return _cadenz_query_lookup_execute(query->user, *lookup, result);
}

// Takes in a progress record; the result is what the application is told, or 0 for a record that it never hears of.
static uint32_t progress_take(cadenz_query* query, const velox_progress* progress) {
  static constexpr uint32_t KIND_COUNTED = 20;
  const uint32_t amount = progress->kind == KIND_COUNTED ? progress->count : 0;
  switch (progress->state) {
    case 8:
      return VELOX_CADENZ_STATUS_BEGIN;
    case 10:
      query->progress_total_1 += amount;
      return VELOX_CADENZ_STATUS_PROGRESS_1;
    case 11:
      query->progress_total_2 += amount;
      return VELOX_CADENZ_STATUS_PROGRESS_2;
    case 12:
      return VELOX_CADENZ_STATUS_END;
    case 14:
      g_cadenz_errorinfo_interface->errorinfo_set(progress->count, progress->count, nullptr, progress->message);
      return VELOX_CADENZ_STATUS_ERROR;
    default:
      return 0;
  }
}

void cadenz_lookup_callback(void* data, const velox_progress* progress, uint8_t* abort) {
  auto* query = static_cast<cadenz_query*>(data);
  const uint32_t told = progress_take(query, progress);
  if (told && query->callback)
    query->callback(query->callback_data, told, 0, query->progress_total_1, query->progress_total_2, abort);
  if (abort && *abort == 1 && pask_log_enabled(PKG_CADENZ, PASK_LOG_TRACE))
    g_pask_log_callback(__LINE__, "velox_cadenz", PASK_LOG_TRACE, CADENZ_PACKAGE_WORD,
                        "Provided callback aborted the Cadenz lookup request.");
}
