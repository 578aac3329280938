// Listening events: recorded on a station, sent all together with its next exchange. Recording takes the
// station's lock; whoever sends holds it.
#include "cadenz_request.h"
#include "pask_string.h"

namespace {

struct event_value {
  const char* value;  // of the subject
  const char* data;   // of the request
};

struct event_kind {
  const char* name;     // in the request
  const char* context;  // of the subject
  event_value values[2];
};

constexpr event_kind track_event(const char* name) {
  return {name,
          VELOX_CTX_TRACK,
          {{VELOX_VAL_TUI, VELOX_LOOKUP_DATA_EVENT_TUI}, {VELOX_VAL_TUI_TAG, VELOX_LOOKUP_DATA_EVENT_TUI_TAG}}};
}
constexpr event_kind artist_event(const char* name) {
  return {name, VELOX_CTX_ARTIST, {{VELOX_VAL_ARTIST_ID, VELOX_LOOKUP_DATA_EVENT_ARTIST_ID}, {}}};
}

// By event number, from 1.
constexpr event_kind k_kinds[] = {
    track_event(VELOX_LOOKUP_EVENT_TRACK_PLAYED), track_event(VELOX_LOOKUP_EVENT_TRACK_SKIPPED),
    track_event(VELOX_LOOKUP_EVENT_TRACK_LIKE),   track_event(VELOX_LOOKUP_EVENT_TRACK_DISLIKE),
    artist_event(VELOX_LOOKUP_EVENT_ARTIST_LIKE), artist_event(VELOX_LOOKUP_EVENT_ARTIST_DISLIKE),
};

const event_kind* kind_find(uint32_t number) {
  return number >= 1 && number <= VELOX_CADENZ_EVENT_ARTIST_DISLIKE ? &k_kinds[number - 1] : nullptr;
}

}  // namespace

// ---- Recording ------------------------------------------------------------------------------------------------------

void _cadenz_event_release(void* event) {
  if (event) g_cadenz_mdo_interface->mdo_release(static_cast<cadenz_event*>(event)->subject);
}

static uint32_t event_record(cadenz_station* station, const cadenz_event& event) {
  if (!event.subject) return CADENZ_ERR_INVALID_ARG;
  PASK_TRY(g_cadenz_handlemanager_interface->handle_validate_mdo(event.subject));
  const char* context = nullptr;
  PASK_TRY(g_cadenz_mdo_interface->mdo_get_context(event.subject, &context));
  const event_kind* kind = kind_find(event.kind);
  if (!kind || !pask_string_equal(context, kind->context, 0)) return CADENZ_ERR_INVALID_ARG;
  const cadenz_hold held(station);
  PASK_TRY(pask_vector2_add(station->events, &event, sizeof event, nullptr));
  g_cadenz_mdo_interface->mdo_addref(event.subject);
  return 0;
}

uint32_t velox_cadenz_station_event(cadenz_station* station, uint32_t event, velox_mdo_handle subject) {
  static constexpr char OPERATION[] = "velox_cadenz_station_event";
  cadenz_trace("velox_cadenz_station_event( %p, %u, %p )", station, event, subject);
  PASK_TRY(cadenz_ready(OPERATION));
  PASK_TRY(cadenz_handle_check(OPERATION, station, CADENZ_STATION_MAGIC));
  return cadenz_end(OPERATION, event_record(station, {event, subject}));
}

// ---- Sending --------------------------------------------------------------------------------------------------------

// All of a subject's values are read before the first is added. The event is a copy: a table that records another one moves those
// that are pending.
static uint32_t event_send(cadenz_event event, velox_lookup_handle lookup, uint32_t ordinal) {
  const event_kind* kind = kind_find(event.kind);
  if (!kind) return CADENZ_ERR_BAD_EVENT;
  PASK_TRY(cadenz_data_add(lookup, VELOX_LOOKUP_DATA_EVENT, kind->name, ordinal));
  const char* texts[2] = {};
  for (uint32_t i = 0; i < 2 && kind->values[i].value; ++i)
    PASK_TRY(cadenz_mdo_value(event.subject, kind->values[i].value, &texts[i]));
  for (uint32_t i = 0; i < 2 && kind->values[i].value; ++i)
    PASK_TRY(cadenz_data_add(lookup, kind->values[i].data, texts[i], ordinal));
  return 0;
}

static uint32_t events_add(pask_vector2_handle events, velox_lookup_handle lookup) {
  uint32_t count = 0;
  PASK_TRY(pask_vector2_count(events, &count));
  for (uint32_t i = 0; i < count; ++i) {
    void* event = nullptr;
    PASK_TRY(pask_vector2_getindex(events, i, &event));
    PASK_TRY(event_send(*static_cast<const cadenz_event*>(event), lookup, i + 1));
  }
  return 0;
}

uint32_t cadenz_events_send(cadenz_station* station, velox_lookup_handle lookup) {
  const uint32_t status = events_add(station->events, lookup);
  pask_vector2_clear(station->events);
  return status;
}
