// The one exchange that a station has with the service: what the moment needs is asked for, and the answer becomes the
// station's playlist.
#include "cadenz_service.h"
#include "pask_guard.h"
#include "pask_number.h"
#include "pask_string.h"

// ---- Which request -------------------------------------------------------------------------------------------------------------

namespace {

// An option that a station result reports, and when the two differ.
struct setting {
  const char* option;
  const char* value;
  bool (*differs)(const char* wanted, const char* in_force);
};

bool texts_differ(const char* a, const char* b) { return pask_string_strcmp(a, b) != 0; }
bool booleans_differ(const char* a, const char* b) { return pask_string_atobool(a) != pask_string_atobool(b); }

constexpr setting k_settings[] = {
    {VELOX_CADENZ_OPTION_FOCUS_POPULARITY, "_sdkmgr_val_cadenz_option_focus_popularity", texts_differ},
    {VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, "_sdkmgr_val_cadenz_option_focus_similarity", texts_differ},
    {VELOX_CADENZ_OPTION_STATION_DMCA, "_sdkmgr_val_cadenz_option_dmca", booleans_differ},
};

}  // namespace

// A service that doesn't report a setting can't be out of step with it.
static bool setting_changed(const cadenz_station* station, const setting& row) {
  const char* wanted = nullptr;
  if (pask_stringmap_value_find_ex(station->query->options, row.option, 0, &wanted)) return false;
  if (!station->playlist) return true;
  const char* in_force = nullptr;
  return cadenz_mdo_value(station->playlist, row.value, &in_force) == 0 && row.differs(wanted, in_force);
}

static bool settings_changed(const cadenz_station* station) {
  for (const setting& row : k_settings)
    if (setting_changed(station, row)) return true;
  return false;
}

// The type of request that a station without pending events needs; null when it is in step.
static const char* request_needed(const cadenz_station* station) {
  if (settings_changed(station)) return CADENZ_TYPE_SETTING;
  return station->playlist ? nullptr : CADENZ_TYPE_LOOKAHEAD;
}

// Makes that request, or none.
static uint32_t request_create(cadenz_station* station, velox_lookup_handle* lookup) {
  uint32_t events = 0;
  PASK_TRY(pask_vector2_count(station->events, &events));
  const char* type = events ? CADENZ_TYPE_EVENT : request_needed(station);
  if (!type) return 0;
  PASK_TRY(_cadenz_query_lookup_create(station->query, type, lookup));
  return events ? cadenz_events_send(station, *lookup) : 0;
}

// ---- The answer ----------------------------------------------------------------------------------------------------------------

// Takes an answer that has something to play in place of the old one; *answer is null if it was taken.
static uint32_t answer_take(cadenz_station* station, velox_mdo_handle* answer) {
  const char* code = nullptr;
  PASK_TRY(cadenz_mdo_value(*answer, "_sdkmgr_val_response_code", &code));
  if (pask_string_equal(code, "velox_result_no_matches", 1)) return 0;
  uint32_t albums = 0;
  const uint32_t status = g_cadenz_mdo_interface->mdo_child_count(*answer, CADENZ_CHILD_ALBUM, &albums);
  if (!status && albums) {
    g_cadenz_mdo_interface->mdo_release(station->playlist);
    station->playlist = *answer;
    *answer = nullptr;
  }
  return station->playlist ? status : 0;  // nothing to play at all is told by the caller
}

static uint32_t exchange(cadenz_station* station, velox_lookup_handle* lookup, velox_mdo_handle* answer) {
  PASK_TRY(request_create(station, lookup));
  if (*lookup) {
    PASK_TRY(cadenz_data_add(*lookup, "velox_lookup_data_radio_id", station->station_id, 1));
    PASK_TRY(_cadenz_query_lookup_execute(station->query->user, *lookup, answer));
    PASK_TRY(answer_take(station, answer));
  }
  return station->playlist ? 0 : CADENZ_ERR_NOT_FOUND;
}

uint32_t _cadenz_station_lookup(cadenz_station* station) {
  velox_lookup_handle lookup = nullptr;
  velox_mdo_handle answer = nullptr;
  const uint32_t status = exchange(station, &lookup, &answer);
  g_cadenz_lookup_interface->lookup_release(lookup);
  g_cadenz_mdo_interface->mdo_release(answer);
  return cadenz_report(status);
}

// ---- The playlist --------------------------------------------------------------------------------------------------------------

static uint32_t playlist_give(cadenz_station* station, velox_mdo_handle* playlist) {
  const critsec_hold held(station->lock);
  PASK_TRY(_cadenz_station_lookup(station));
  *playlist = station->playlist;
  g_cadenz_mdo_interface->mdo_addref(station->playlist);
  return 0;
}

uint32_t velox_cadenz_station_generate_playlist(cadenz_station* station, velox_mdo_handle* playlist) {
  static constexpr char OPERATION[] = "velox_cadenz_station_generate_playlist";
  cadenz_trace("velox_cadenz_station_generate_playlist( %p, %p )", station, playlist);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, station, CADENZ_STATION_MAGIC));
  if (!playlist) return cadenz_log_only(OPERATION, CADENZ_ERR_INVALID_ARG);
  return cadenz_end(OPERATION, playlist_give(station, playlist));
}
