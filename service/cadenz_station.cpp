// The station object: an identifier, a query of its own for user, callback and options, the latest playlist and the events
// that haven't been reported yet. A station's lock is held while its fields are touched, the query's while a station is made
// of it.
#include <string.h>

#include "cadenz_request.h"
#include "pask_string.h"

// ---- Inside ---------------------------------------------------------------------------------------------------------

// Nobody else knows the station yet, or any more.
PASK_NO_THREAD_SAFETY_ANALYSIS static void _cadenz_station_free(cadenz_station* station) {
  if (!station) return;
  if (station->query) g_cadenz_handlemanager_interface->handle_release(station->query);
  pask_thread_critsec_delete(station->lock);
  pask_string_free(station->station_id);
  g_cadenz_mdo_interface->mdo_release(station->playlist);
  pask_vector2_delete(station->events);
  pask_memory_free(station);
}

// The delete function that the manager's registry calls when the last reference goes.
static void _cadenz_station_handle_delete(void* station) {
  _cadenz_station_free(static_cast<cadenz_station*>(station));
}

// Fills a zeroed record up to its registration. What is there when a step fails is freed by the caller.
PASK_NO_THREAD_SAFETY_ANALYSIS static uint32_t station_fill(cadenz_station* station,
                                                            const cadenz_station_origin& from) {
  station->station_id = pask_string_strdup(from.station_id);
  if (!station->station_id) return CADENZ_ERR_NO_MEMORY;
  PASK_TRY(_cadenz_query_create(from.user, from.callback, from.callback_data, from.options, &station->query));
  PASK_TRY(pask_thread_critsec_create(&station->lock));
  PASK_TRY(pask_vector2_create(&station->events, sizeof(cadenz_event), 0, nullptr, _cadenz_event_release));
  if (from.answer) {
    PASK_TRY(g_cadenz_mdo_interface->mdo_addref(from.answer));
    station->playlist = from.answer;
  }
  return g_cadenz_handlemanager_interface->handle_add(g_cadenz_client_ref, station, station->magic,
                                                      _cadenz_station_handle_delete);
}

uint32_t _cadenz_station_create(const cadenz_station_origin& from, cadenz_station** station) {
  auto* made = static_cast<cadenz_station*>(pask_memory_alloc(sizeof(cadenz_station)));
  if (!made) return cadenz_report(CADENZ_ERR_NO_MEMORY);
  memset(made, 0, sizeof *made);
  made->magic = CADENZ_STATION_MAGIC;
  if (const uint32_t status = station_fill(made, from)) {
    _cadenz_station_free(made);
    return cadenz_report(status);
  }
  PASK_ASSERT(cadenz_sound(made));
  *station = made;
  return 0;
}

// ---- Making ---------------------------------------------------------------------------------------------------------

static uint32_t station_from_answer(const cadenz_query* query, velox_mdo_handle answer,
                                    velox_cadenz_callback_fn callback, void* data, cadenz_station** station) {
  const char* id = nullptr;
  if (cadenz_mdo_value(answer, VELOX_VAL_STATION_ID, &id) || pask_string_isempty(id)) return CADENZ_ERR_NOT_FOUND;
  return _cadenz_station_create({id, answer, query->user, callback, data, query->options}, station);
}

uint32_t velox_cadenz_query_generate_station(cadenz_query* query, cadenz_filter* filter,
                                             velox_cadenz_callback_fn callback, void* data, cadenz_station** station) {
  static constexpr char OPERATION[] = "velox_cadenz_query_generate_station";
  cadenz_trace("velox_cadenz_query_generate_station( %p, %p, %p, %p, %p )", query, filter, callback, data, station);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, query, CADENZ_QUERY_MAGIC));
  if (!station) return cadenz_end_without_errorinfo(OPERATION, CADENZ_ERR_INVALID_ARG);
  uint32_t status = 0;
  {
    const cadenz_hold held(query);
    velox_lookup_handle lookup = nullptr;
    velox_mdo_handle answer = nullptr;
    status = cadenz_seeded_request(query, VELOX_LOOKUP_TYPE_CREATE, filter, &lookup, &answer);
    if (!status) status = station_from_answer(query, answer, callback, data, station);
    g_cadenz_lookup_interface->lookup_release(lookup);
    g_cadenz_mdo_interface->mdo_release(answer);
  }
  return cadenz_end(OPERATION, status);
}

// ---- On a station ---------------------------------------------------------------------------------------------------

uint32_t velox_cadenz_station_id(cadenz_station* station, const char** station_id) {
  static constexpr char OPERATION[] = "velox_cadenz_station_id";
  cadenz_trace("velox_cadenz_station_id( %p, %p )", station, station_id);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, station, CADENZ_STATION_MAGIC));
  if (!station_id) return cadenz_end_without_errorinfo(OPERATION, CADENZ_ERR_INVALID_ARG);
  {
    const cadenz_hold held(station);
    *station_id = station->station_id;
  }
  return cadenz_end(OPERATION, 0);
}

uint32_t velox_cadenz_station_release(cadenz_station* station) {
  cadenz_trace("velox_cadenz_station_release( %p )", station);
  return cadenz_handle_release("velox_cadenz_station_release", station, CADENZ_STATION_MAGIC);
}

uint32_t velox_cadenz_station_option_set(cadenz_station* station, const char* key, const char* value) {
  static constexpr char OPERATION[] = "velox_cadenz_station_option_set";
  cadenz_trace("velox_cadenz_station_option_set( %p, %s, %s )", station, key, value);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, station, CADENZ_STATION_MAGIC));
  if (pask_string_isempty(key)) return cadenz_end(OPERATION, CADENZ_ERR_INVALID_ARG);
  return cadenz_end(OPERATION, cadenz_option_set(station->query, station->lock, VELOX_OPTION_OF_STATION, key, value));
}

uint32_t velox_cadenz_station_option_get(cadenz_station* station, const char* key, const char** value) {
  static constexpr char OPERATION[] = "velox_cadenz_station_option_get";
  cadenz_trace("velox_cadenz_station_option_get( %p, %s, %p )", station, key, value);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, station, CADENZ_STATION_MAGIC));
  if (!key || !value) return cadenz_end_without_errorinfo(OPERATION, CADENZ_ERR_INVALID_ARG);
  return cadenz_end(OPERATION, cadenz_option_get(station->query, station->lock, key, value));
}
