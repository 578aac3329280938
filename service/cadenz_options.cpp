// The options of queries and stations, all from one table: which keys there are and whose, how a request gets them, and which of
// them a station's answer reports. No lock is taken in a request: the callers hold the query's or the station's.
#include "cadenz_request.h"
#include "pask_number.h"
#include "pask_string.h"

namespace {

struct option_row : velox_option {
  uint32_t key_length;  // most keys are told apart by it
};

constexpr uint32_t length_of(const char* text) { return text ? static_cast<uint32_t>(__builtin_strlen(text)) : 0; }

#define OPTION_ROW(key, owners, request_key, requests, form, reported, name, help) \
  {{key, owners, request_key, requests, form, reported, name, help}, length_of(key)},

constexpr option_row k_options[] = {VELOX_OPTIONS(OPTION_ROW)};

}  // namespace

// ---- On a query or station ------------------------------------------------------------------------------------------

static bool option_known(uint8_t owner, const char* key) {
  const uint32_t length = pask_string_bytelen_nonull(key);
  for (const option_row& row : k_options)
    if (row.key && row.key_length == length && pask_string_equal(key, row.key, 1)) return (row.owners & owner) != 0;
  return false;
}

uint32_t cadenz_option_set(const cadenz_query* query, pask_critsec_handle lock, uint8_t owner, const char* key,
                           const char* value) {
  const critsec_hold held(lock);
  PASK_ASSERT(cadenz_sound(query));
  return option_known(owner, key) ? pask_stringmap_value_add(query->options, key, value) : CADENZ_ERR_INVALID_ARG;
}

uint32_t cadenz_option_get(const cadenz_query* query, pask_critsec_handle lock, const char* key, const char** value) {
  const critsec_hold held(lock);
  PASK_ASSERT(cadenz_sound(query));
  return pask_stringmap_value_find_ex(query->options, key, 0, value);
}

// ---- In a request ---------------------------------------------------------------------------------------------------

static uint8_t kind_of(const char* type) {
  if (pask_string_equal(type, VELOX_LOOKUP_TYPE_RECOMMEND, 1)) return VELOX_OPTION_FOR_RECOMMEND;
  return pask_string_equal(type, VELOX_LOOKUP_TYPE_CREATE, 1) ? VELOX_OPTION_FOR_CREATE : VELOX_OPTION_FOR_STATION;
}

static uint32_t option_send(velox_lookup_handle lookup, const option_row& row, const char* text) {
  return row.requests & VELOX_OPTION_FOR_LOOKUP
             ? g_cadenz_lookup_interface->lookup_option_set(lookup, row.request_key, text)
             : g_cadenz_lookup_interface->lookup_request_option_set(lookup, CADENZ_REQUEST_NAME, row.request_key, text);
}

// What is sent for a value; a false flag sends nothing, which is told by `sent`.
static const char* option_text(const option_row& row, const char* value, bool* sent) {
  *sent = true;
  switch (row.form) {
    case VELOX_OPTION_FLAG:
      *sent = pask_string_atobool(value) != 0;
      return "1";
    case VELOX_OPTION_ROTATION:
      return pask_string_atobool(value) ? VELOX_LOOKUP_ROTATION_RADIO : VELOX_LOOKUP_ROTATION_NONE;
    default:
      return value;
  }
}

// Sends what the row says of the query's option; an option that isn't set sends nothing.
static uint32_t option_apply(const cadenz_query* query, velox_lookup_handle lookup, const option_row& row) {
  if (row.form == VELOX_OPTION_ALWAYS) return option_send(lookup, row, "1");
  const char* value = nullptr;
  if (const uint32_t status = pask_stringmap_value_find_ex(query->options, row.key, 0, &value))
    return status_failed(status) ? status : 0;
  bool sent = false;
  const char* text = option_text(row, value, &sent);
  return sent ? option_send(lookup, row, text) : 0;
}

static uint32_t options_apply(const cadenz_query* query, velox_lookup_handle lookup, uint8_t requests) {
  for (const option_row& row : k_options)
    if (row.requests & requests) PASK_TRY(option_apply(query, lookup, row));
  return 0;
}

uint32_t cadenz_options_send_endpoint(const cadenz_query* query, velox_lookup_handle lookup) {
  return options_apply(query, lookup, VELOX_OPTION_FOR_LOOKUP);
}

uint32_t cadenz_options_send(const cadenz_query* query, const char* type, velox_lookup_handle lookup) {
  return options_apply(query, lookup, static_cast<uint8_t>(VELOX_OPTION_FOR_LOOKUP | kind_of(type)));
}

// ---- Against a station's answer -------------------------------------------------------------------------------------

static bool values_differ(const option_row& row, const char* wanted, const char* in_force) {
  if (row.form == VELOX_OPTION_BOOLEAN) return pask_string_atobool(wanted) != pask_string_atobool(in_force);
  return pask_string_strcmp(wanted, in_force) != 0;
}

// A service that doesn't report a setting can't be out of step with it.
static bool setting_changed(const cadenz_query* query, velox_mdo_handle playlist, const option_row& row) {
  const char* wanted = nullptr;
  if (pask_stringmap_value_find_ex(query->options, row.key, 0, &wanted)) return false;
  if (!playlist) return true;
  const char* in_force = nullptr;
  return cadenz_mdo_value(playlist, row.reported, &in_force) == 0 && values_differ(row, wanted, in_force);
}

bool cadenz_settings_changed(const cadenz_query* query, velox_mdo_handle playlist) {
  for (const option_row& row : k_options)
    if (row.reported && setting_changed(query, playlist, row)) return true;
  return false;
}
