// Reopening a station, and the one exchange that a station has with the service: what the moment needs is asked for, and the
// answer becomes the station's playlist. No lock is taken here: the callers hold the station's, unless nobody else knows it.
#include "cadenz_request.h"
#include "pask_string.h"

// ---- Which request --------------------------------------------------------------------------------------------------

// The type of request that a station without pending events needs; null when it is in step.
static const char* request_needed(const cadenz_station* station) PASK_REQUIRES(station->lock) {
  if (cadenz_settings_changed(station->query, station->playlist)) return VELOX_LOOKUP_TYPE_SETTING;
  return station->playlist ? nullptr : VELOX_LOOKUP_TYPE_LOOKAHEAD;
}

// Makes that request, or none.
static uint32_t request_create(cadenz_station* station, velox_lookup_handle* lookup) PASK_REQUIRES(station->lock) {
  uint32_t events = 0;
  PASK_TRY(pask_vector2_count(station->events, &events));
  const char* type = events ? VELOX_LOOKUP_TYPE_EVENT : request_needed(station);
  if (!type) return 0;
  PASK_TRY(_cadenz_query_lookup_create(station->query, type, lookup));
  return events ? cadenz_events_send(station, *lookup) : 0;
}

// ---- The answer -----------------------------------------------------------------------------------------------------

// Lets go of an answer that isn't taken, before its lookup goes.
static void answer_drop(velox_mdo_handle* answer) {
  g_cadenz_mdo_interface->mdo_release(*answer);
  *answer = nullptr;
}

// Takes an answer that has something to play in place of the old one, or drops it.
static uint32_t answer_take(cadenz_station* station, velox_mdo_handle* answer) PASK_REQUIRES(station->lock) {
  const char* code = nullptr;
  PASK_TRY(cadenz_mdo_value(*answer, VELOX_VAL_RESPONSE_CODE, &code));
  uint32_t albums = 0, status = 0;
  if (!pask_string_equal(code, VELOX_RESULT_NO_MATCHES, 1))
    status = g_cadenz_mdo_interface->mdo_child_count(*answer, VELOX_CHILD_ALBUM, &albums);
  if (status || albums == 0) {
    answer_drop(answer);
    return station->playlist ? status : 0;  // nothing to play at all is told by the caller
  }
  g_cadenz_mdo_interface->mdo_release(station->playlist);
  station->playlist = *answer;
  *answer = nullptr;
  return 0;
}

static uint32_t exchange(cadenz_station* station, velox_lookup_handle* lookup, velox_mdo_handle* answer)
    PASK_REQUIRES(station->lock) {
  PASK_TRY(request_create(station, lookup));
  if (*lookup) {
    PASK_TRY(cadenz_data_add(*lookup, VELOX_LOOKUP_DATA_STATION_ID, station->station_id, 1));
    PASK_TRY(_cadenz_query_lookup_execute(station->query->user, *lookup, answer));
    PASK_TRY(answer_take(station, answer));
  }
  return station->playlist ? 0 : CADENZ_ERR_NOT_FOUND;
}

uint32_t _cadenz_station_lookup(cadenz_station* station) {
  velox_lookup_handle lookup = nullptr;
  velox_mdo_handle answer = nullptr;
  PASK_ASSERT(cadenz_sound(station));
  const uint32_t status = exchange(station, &lookup, &answer);
  PASK_ASSERT(cadenz_sound(station) && (status || station->playlist));
  g_cadenz_lookup_interface->lookup_release(lookup);
  g_cadenz_mdo_interface->mdo_release(answer);
  return cadenz_report(status);
}

// ---- Reopening ------------------------------------------------------------------------------------------------------

// Nobody else knows the station yet, so it goes without its lock.
PASK_NO_THREAD_SAFETY_ANALYSIS static uint32_t first_lookup(cadenz_station* station) {
  return _cadenz_station_lookup(station);
}

uint32_t velox_cadenz_station_lookup(const char* station_id, velox_user_handle user, velox_cadenz_callback_fn callback,
                                     void* data, cadenz_station** station) {
  static constexpr char OPERATION[] = "velox_cadenz_station_lookup";
  cadenz_trace("velox_cadenz_station_lookup( %s, %p, %p, %p, %p )", station_id, user, callback, data, station);
  PASK_TRY(cadenz_ready(OPERATION));
  if (pask_string_isempty(station_id) || !station)
    return cadenz_end_without_errorinfo(OPERATION, CADENZ_ERR_INVALID_ARG);
  cadenz_station* made = nullptr;
  uint32_t status = _cadenz_station_create({station_id, nullptr, user, callback, data, nullptr}, &made);
  if (status) return cadenz_end(OPERATION, status);
  status = first_lookup(made);
  if (status)
    g_cadenz_handlemanager_interface->handle_release(made);
  else
    *station = made;
  return cadenz_end(OPERATION, status);
}
