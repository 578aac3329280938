// Turns a query and a filter into one lookup with one request. No lock is taken here: the callers hold the query's.
#include "cadenz_service.h"
#include "pask_number.h"
#include "pask_string.h"

// ---- Options -------------------------------------------------------------------------------------------------------------

namespace {

enum request_kind : uint8_t {
  KIND_RECOMMEND = 1,
  KIND_CREATE = 2,
  KIND_OTHER = 4,  // events, settings, lookahead of a station
  KIND_ANY = 7,
};

enum option_scope : uint8_t { WHOLE_LOOKUP, ONE_REQUEST };

enum option_form : uint8_t {
  AS_GIVEN,  // a null value included
  IF_TRUE,   // "1"; a false value sends nothing
  ROTATION,  // "RADIO" or "NONE"
  ALWAYS,    // "1", with every request of its kinds
};

struct option_rule {
  const char* option;  // of the query
  const char* key;     // of the lookup
  option_form form;
  option_scope scope;
  uint8_t kinds;
};

// In the order of the calls.
constexpr option_rule k_options[] = {
    {VELOX_QUERYOPT_SERVICE_URL, CADENZ_LOOKUP_SERVICE_URL, AS_GIVEN, WHOLE_LOOKUP, KIND_ANY},
    {VELOX_QUERYOPT_NETWORK_INTF, CADENZ_LOOKUP_NETWORK_INTF, AS_GIVEN, WHOLE_LOOKUP, KIND_ANY},
    {VELOX_CADENZ_OPTION_ENABLE_XIDS, "velox_lookup_option_xids", IF_TRUE, ONE_REQUEST, KIND_ANY},
    {VELOX_CADENZ_OPTION_ENABLE_CONTENT, "velox_lookup_option_content", IF_TRUE, ONE_REQUEST, KIND_ANY},
    {VELOX_CADENZ_OPTION_ENABLE_SONIC, "velox_lookup_option_sonic", IF_TRUE, ONE_REQUEST, KIND_ANY},
    {nullptr, "velox_lookup_option_return_settings", ALWAYS, ONE_REQUEST, KIND_OTHER},
    {VELOX_CADENZ_OPTION_RETURN_COUNT, "velox_lookup_option_return_count", AS_GIVEN, ONE_REQUEST, KIND_ANY},
    {VELOX_CADENZ_OPTION_FOCUS_POPULARITY, "velox_lookup_option_focus_popularity", AS_GIVEN, ONE_REQUEST, KIND_ANY},
    {VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, "velox_lookup_option_focus_similarity", AS_GIVEN, ONE_REQUEST, KIND_ANY},
    {VELOX_CADENZ_OPTION_CATALOG_FILTER, "velox_lookup_option_catalog_filter", AS_GIVEN, ONE_REQUEST, KIND_ANY},
    {VELOX_CADENZ_OPTION_MAX_TRACKS_PER_ARTIST, "velox_lookup_option_max_tracks_per_artist", AS_GIVEN, ONE_REQUEST,
     KIND_RECOMMEND},
    {VELOX_CADENZ_OPTION_ROTATION_RADIO, "velox_lookup_option_rotation", ROTATION, ONE_REQUEST, KIND_RECOMMEND},
    {VELOX_CADENZ_OPTION_STATION_DMCA, "velox_lookup_option_dmca", AS_GIVEN, ONE_REQUEST, KIND_CREATE | KIND_OTHER},
};

request_kind kind_of(const char* type) {
  if (pask_string_equal(type, CADENZ_TYPE_RECOMMEND, 1)) return KIND_RECOMMEND;
  return pask_string_equal(type, CADENZ_TYPE_CREATE, 1) ? KIND_CREATE : KIND_OTHER;
}

}  // namespace

static uint32_t option_send(velox_lookup_handle lookup, const option_rule& rule, const char* text) {
  return rule.scope == WHOLE_LOOKUP
             ? g_cadenz_lookup_interface->lookup_option_set(lookup, rule.key, text)
             : g_cadenz_lookup_interface->lookup_request_option_set(lookup, CADENZ_REQUEST_NAME, rule.key, text);
}

static const char* option_text(const option_rule& rule, const char* value) {
  if (rule.form == AS_GIVEN) return value;
  if (rule.form == ROTATION) return pask_string_atobool(value) ? "RADIO" : "NONE";
  return "1";
}

// Sends what the rule says of the query's option; an option that isn't set sends nothing.
static uint32_t option_apply(const cadenz_query* query, velox_lookup_handle lookup, const option_rule& rule) {
  if (rule.form == ALWAYS) return option_send(lookup, rule, "1");
  const char* value = nullptr;
  if (const uint32_t status = pask_stringmap_value_find_ex(query->options, rule.option, 0, &value))
    return status_failed(status) ? status : 0;
  return rule.form == IF_TRUE && !pask_string_atobool(value) ? 0 : option_send(lookup, rule, option_text(rule, value));
}

uint32_t cadenz_lookup_endpoint(const cadenz_query* query, velox_lookup_handle lookup) {
  for (const option_rule& rule : k_options)
    if (rule.scope == WHOLE_LOOKUP) PASK_TRY(option_apply(query, lookup, rule));
  return 0;
}

static uint32_t lookup_prepare(const cadenz_query* query, const char* type, velox_lookup_handle lookup) {
  PASK_TRY(g_cadenz_lookup_interface->lookup_add_request(lookup, type, CADENZ_REQUEST_NAME, "radio", 1));
  const request_kind kind = kind_of(type);
  for (const option_rule& rule : k_options)
    if (rule.kinds & kind) PASK_TRY(option_apply(query, lookup, rule));
  return 0;
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

// ---- Seeds -----------------------------------------------------------------------------------------------------------------

#define KEY_KIND  "velox_lookup_data_radio_seed"
#define KEY_GENRE "velox_lookup_data_radio_seed_attribute_genre"
#define KEY_ERA   "velox_lookup_data_radio_seed_attribute_era"
#define KEY_MOOD  "velox_lookup_data_radio_seed_attrbute_mood"

namespace {

// The objects that a seed's values are read from; each holds a reference, is `unreferenced` or is null.
struct seed_objects {
  velox_mdo_handle track;
  velox_mdo_handle artist;
  velox_mdo_handle contributor;
  velox_mdo_handle unreferenced;  // the seed, when no reference was to be had: it is read all the same
};

enum seed_slot : uint8_t { SLOT_TUI, SLOT_TUI_TAG, SLOT_ARTIST_ID, SLOT_GENRE, SLOT_ERA, SLOT_MOOD, SLOT_COUNT };

constexpr const char* k_slot_keys[SLOT_COUNT] = {"velox_lookup_data_radio_seed_track_tui",
                                                 "velox_lookup_data_radio_seed_track_tui_tag",
                                                 "velox_lookup_data_radio_seed_artist_id",
                                                 KEY_GENRE,
                                                 KEY_ERA,
                                                 KEY_MOOD};

struct seed_values {
  const char* text[SLOT_COUNT];
  uint32_t filled;  // a bit for each slot whose read succeeded, an empty text included

  bool has(seed_slot slot) const { return (filled >> slot & 1) != 0; }
  bool has_any(uint32_t slots) const { return (filled & slots) != 0; }
};

}  // namespace

static void seed_object_release(const seed_objects& objects, velox_mdo_handle object) {
  g_cadenz_mdo_interface->mdo_release(object == objects.unreferenced ? nullptr : object);
}

static seed_objects seed_objects_get(velox_mdo_handle seed) {
  seed_objects objects = {};
  const char* context = cadenz_mdo_context(seed);
  velox_mdo_handle* own = pask_string_equal(context, CADENZ_CTX_TRACK, 1)         ? &objects.track
                          : pask_string_equal(context, CADENZ_CTX_ARTIST, 1)      ? &objects.artist
                          : pask_string_equal(context, CADENZ_CTX_CONTRIBUTOR, 1) ? &objects.contributor
                                                                                  : nullptr;
  if (own) {
    *own = seed;
    if (g_cadenz_mdo_interface->mdo_addref(seed)) objects.unreferenced = seed;
  } else if (pask_string_equal(context, CADENZ_CTX_ALBUM, 1)) {
    cadenz_mdo_child(seed, CADENZ_CHILD_TRACK, &objects.track);
  }

  if (objects.track) cadenz_mdo_child(objects.track, CADENZ_CHILD_ARTIST, &objects.artist);
  if (!objects.artist) cadenz_mdo_child(seed, CADENZ_CHILD_ARTIST, &objects.artist);
  velox_mdo_handle contributor = nullptr;
  if (objects.artist && cadenz_mdo_child(objects.artist, CADENZ_CHILD_CONTRIBUTOR, &contributor) == 0) {
    if (objects.contributor) seed_object_release(objects, objects.contributor);
    objects.contributor = contributor;
  }
  return objects;
}

static void seed_objects_release(const seed_objects& objects) {
  seed_object_release(objects, objects.track);
  seed_object_release(objects, objects.artist);
  seed_object_release(objects, objects.contributor);
}

// Fills a slot from an object, unless it is filled already or the object isn't there.
static void slot_read(seed_values* values, seed_slot slot, velox_mdo_handle object, const char* key) {
  if (values->has(slot) || !object) return;
  if (cadenz_mdo_value(object, key, &values->text[slot]) == 0) values->filled |= 1u << slot;
}

static seed_values seed_values_read(velox_mdo_handle seed, const seed_objects& objects) {
  seed_values values = {};
  slot_read(&values, SLOT_TUI, objects.track, CADENZ_VAL_TUI);
  slot_read(&values, SLOT_TUI_TAG, objects.track, CADENZ_VAL_TUI_TAG);
  slot_read(&values, SLOT_ARTIST_ID, objects.track, CADENZ_VAL_ARTIST_ID);
  slot_read(&values, SLOT_ARTIST_ID, seed, CADENZ_VAL_ARTIST_ID);
  slot_read(&values, SLOT_GENRE, objects.track, "_sdkmgr_val_list_genre_id");
  slot_read(&values, SLOT_GENRE, seed, "_sdkmgr_val_list_genre_id");
  slot_read(&values, SLOT_ERA, objects.artist, "_sdkmgr_val_list_era_id");
  slot_read(&values, SLOT_ERA, objects.contributor, "_sdkmgr_val_list_era_id");
  slot_read(&values, SLOT_MOOD, objects.track, "_sdkmgr_val_list_mood_id");
  return values;
}

static const char* seed_kind(const seed_values& values) {
  if (values.has(SLOT_TUI) && values.has(SLOT_TUI_TAG)) return "TRACK";
  if (values.has(SLOT_ARTIST_ID)) return "ARTIST";
  return values.has_any(1u << SLOT_GENRE | 1u << SLOT_ERA | 1u << SLOT_MOOD) ? "ATTRIBUTE" : nullptr;
}

static uint32_t seed_values_add(velox_lookup_handle lookup, const seed_values& values, uint32_t ordinal) {
  const char* kind = seed_kind(values);
  if (!kind) return CADENZ_ERR_BAD_SEED;
  PASK_TRY(cadenz_data_add(lookup, KEY_KIND, kind, ordinal));
  for (uint32_t slot = 0; slot < SLOT_COUNT; ++slot)
    if (values.has(static_cast<seed_slot>(slot)))
      PASK_TRY(cadenz_data_add(lookup, k_slot_keys[slot], values.text[slot], ordinal));
  return 0;
}

static uint32_t seed_add(velox_lookup_handle lookup, velox_mdo_handle seed, uint32_t ordinal) {
  const seed_objects objects = seed_objects_get(seed);
  const uint32_t status = seed_values_add(lookup, seed_values_read(seed, objects), ordinal);
  seed_objects_release(objects);
  return status;
}

uint32_t _cadenz_query_lookup_add_seeds(cadenz_query* query, velox_lookup_handle lookup) {
  uint32_t count = 0;
  if (const uint32_t status = pask_vector_count(query->seeds, &count)) return cadenz_report(status);
  if (count == 0) return cadenz_report(CADENZ_ERR_NO_SEEDS);
  uint32_t unread = 0;  // of the last seed only: one before it that can't be fetched is passed over
  for (uint32_t ordinal = 1; ordinal <= count; ++ordinal) {
    velox_mdo_handle seed = nullptr;
    unread = cadenz_seed_get(query->seeds, ordinal - 1, &seed);
    if (unread) continue;
    if (const uint32_t status = seed_add(lookup, seed, ordinal)) return cadenz_report(status);
  }
  return cadenz_report(unread);
}

// ---- Filter ------------------------------------------------------------------------------------------------------------------

static const char* filter_data_key(const char* list_type) {
  if (pask_string_equal(list_type, CADENZ_LIST_MOODS, 0)) return KEY_MOOD;
  if (pask_string_equal(list_type, CADENZ_LIST_GENRES, 0)) return KEY_GENRE;
  return pask_string_equal(list_type, CADENZ_LIST_ERAS, 0) ? KEY_ERA : nullptr;
}

static uint32_t filter_value_add(uint32_t ordinal, pask_stringmap_handle values, uint32_t index,
                                 velox_lookup_handle lookup) {
  const char* list_type = nullptr;
  const char* value = nullptr;
  PASK_TRY(pask_stringmap_value_get(values, index, &list_type, &value));
  const char* key = filter_data_key(list_type);
  if (!key) return 0;
  if (index == 0) PASK_TRY(cadenz_data_add(lookup, KEY_KIND, "ATTRIBUTE", ordinal));
  return cadenz_data_add(lookup, key, value, ordinal);
}

static uint32_t _cadenz_query_lookup_add_filter_to_seed(uint32_t ordinal, pask_stringmap_handle values,
                                                        velox_lookup_handle lookup) {
  uint32_t count = 0;
  if (const uint32_t status = pask_stringmap_count(values, &count)) return cadenz_report(status);
  for (uint32_t i = 0; i < count; ++i)
    if (const uint32_t status = filter_value_add(ordinal, values, i, lookup)) return cadenz_report(status);
  return 0;
}

uint32_t _cadenz_query_lookup_add_filter(cadenz_query* query, velox_lookup_handle lookup, const cadenz_filter* filter) {
  if (!query || !lookup || !filter) return cadenz_report(CADENZ_ERR_BAD_RECORD);
  uint32_t values = 0;
  if (const uint32_t status = pask_stringmap_count(filter->values, &values)) return cadenz_report(status);
  if (values == 0) return cadenz_report(CADENZ_ERR_NO_SEEDS);
  uint32_t seeds = 0;
  if (const uint32_t status = pask_vector_count(query->seeds, &seeds)) return cadenz_report(status);
  const uint32_t ordinals = seeds ? seeds : 1;
  uint32_t last = 0;
  for (uint32_t ordinal = 1; ordinal <= ordinals; ++ordinal)
    last = _cadenz_query_lookup_add_filter_to_seed(ordinal, filter->values, lookup);
  return cadenz_report(last);
}
