// What a request says of its seeds: their kind, identifiers and attributes, read from the objects that a seed leads to. No lock is
// taken here: the callers hold the query's.
#include "cadenz_request.h"
#include "pask_string.h"

namespace {

// The objects that a seed's values are read from; each holds a reference, is `unreferenced` or is null.
struct seed_objects {
  velox_mdo_handle track;
  velox_mdo_handle artist;
  velox_mdo_handle contributor;
  velox_mdo_handle unreferenced;  // the seed, when no reference was to be had: it is read all the same
};

enum seed_slot : uint8_t { SLOT_TUI, SLOT_TUI_TAG, SLOT_ARTIST_ID, SLOT_GENRE, SLOT_ERA, SLOT_MOOD, SLOT_COUNT };

constexpr const char* k_slot_keys[SLOT_COUNT] = {VELOX_LOOKUP_DATA_SEED_TUI,       VELOX_LOOKUP_DATA_SEED_TUI_TAG,
                                                 VELOX_LOOKUP_DATA_SEED_ARTIST_ID, VELOX_LOOKUP_DATA_SEED_GENRE,
                                                 VELOX_LOOKUP_DATA_SEED_ERA,       VELOX_LOOKUP_DATA_SEED_MOOD};

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
  velox_mdo_handle* own = pask_string_equal(context, VELOX_CTX_TRACK, 1)         ? &objects.track
                          : pask_string_equal(context, VELOX_CTX_ARTIST, 1)      ? &objects.artist
                          : pask_string_equal(context, VELOX_CTX_CONTRIBUTOR, 1) ? &objects.contributor
                                                                                 : nullptr;
  if (own) {
    *own = seed;
    if (g_cadenz_mdo_interface->mdo_addref(seed)) objects.unreferenced = seed;
  } else if (pask_string_equal(context, VELOX_CTX_ALBUM, 1)) {
    cadenz_mdo_child(seed, VELOX_CHILD_TRACK, &objects.track);
  }

  if (objects.track) cadenz_mdo_child(objects.track, VELOX_CHILD_ARTIST, &objects.artist);
  if (!objects.artist) cadenz_mdo_child(seed, VELOX_CHILD_ARTIST, &objects.artist);
  velox_mdo_handle contributor = nullptr;
  if (objects.artist && cadenz_mdo_child(objects.artist, VELOX_CHILD_CONTRIBUTOR, &contributor) == 0) {
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
  slot_read(&values, SLOT_TUI, objects.track, VELOX_VAL_TUI);
  slot_read(&values, SLOT_TUI_TAG, objects.track, VELOX_VAL_TUI_TAG);
  slot_read(&values, SLOT_ARTIST_ID, objects.track, VELOX_VAL_ARTIST_ID);
  slot_read(&values, SLOT_ARTIST_ID, seed, VELOX_VAL_ARTIST_ID);
  slot_read(&values, SLOT_GENRE, objects.track, VELOX_VAL_GENRE_ID);
  slot_read(&values, SLOT_GENRE, seed, VELOX_VAL_GENRE_ID);
  slot_read(&values, SLOT_ERA, objects.artist, VELOX_VAL_ERA_ID);
  slot_read(&values, SLOT_ERA, objects.contributor, VELOX_VAL_ERA_ID);
  slot_read(&values, SLOT_MOOD, objects.track, VELOX_VAL_MOOD_ID);
  return values;
}

static const char* seed_kind(const seed_values& values) {
  if (values.has(SLOT_TUI) && values.has(SLOT_TUI_TAG)) return VELOX_LOOKUP_SEED_TRACK;
  if (values.has(SLOT_ARTIST_ID)) return VELOX_LOOKUP_SEED_ARTIST;
  return values.has_any(1u << SLOT_GENRE | 1u << SLOT_ERA | 1u << SLOT_MOOD) ? VELOX_LOOKUP_SEED_ATTRIBUTE : nullptr;
}

static uint32_t seed_values_add(velox_lookup_handle lookup, const seed_values& values, uint32_t ordinal) {
  const char* kind = seed_kind(values);
  if (!kind) return CADENZ_ERR_BAD_SEED;
  PASK_TRY(cadenz_data_add(lookup, VELOX_LOOKUP_DATA_SEED, kind, ordinal));
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
