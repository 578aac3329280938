// Seed preprocessing: seeds that carry only names and titles are resolved by one album lookup, and the query's seed list is
// replaced as a whole or not at all. Runs under the query's lock, held by the caller across the exchange.
#include "cadenz_request.h"
#include "pask_format.h"
#include "pask_string.h"

static constexpr char SOURCE[] = "cadenz_preprocess";  // in the log

static bool context_is(const char* context, const char* wanted) { return pask_string_equal(context, wanted, 1) != 0; }

// ---- Names and titles -----------------------------------------------------------------------------------------------

namespace {

// Objects that texts are borrowed from: they are held until the texts have been used.
struct lenders {
  velox_mdo_handle held[4];
  uint32_t count;
};

}  // namespace

// An object's child, or null.
static velox_mdo_handle child_hold(velox_mdo_handle object, const char* child_key, lenders* from) {
  velox_mdo_handle child = nullptr;
  if (cadenz_mdo_child(object, child_key, &child)) return nullptr;
  PASK_ASSERT(from->count < sizeof from->held / sizeof from->held[0]);
  return from->held[from->count++] = child;
}

static void lenders_release(const lenders& from) {
  for (uint32_t i = from.count; i-- > 0;) g_cadenz_mdo_interface->mdo_release(from.held[i]);
}

// A text is null when there is none.
static void display_get(velox_mdo_handle object, const char* child_key, lenders* from, const char** text) {
  *text = nullptr;
  const velox_mdo_handle child = child_hold(object, child_key, from);
  const char* display = nullptr;
  if (child && cadenz_mdo_value(child, VELOX_VAL_DISPLAY, &display) == 0) *text = display;
}

static void _cadenz_preprocess_get_name(velox_mdo_handle object, lenders* from, const char** name) {
  display_get(object, VELOX_CHILD_NAME, from, name);
}

static void _cadenz_preprocess_get_title(velox_mdo_handle object, lenders* from, const char** title) {
  display_get(object, VELOX_CHILD_TITLE, from, title);
}

static void _cadenz_preprocess_get_artist_name(velox_mdo_handle object, lenders* from, const char** name) {
  *name = nullptr;
  if (const velox_mdo_handle artist = child_hold(object, VELOX_CHILD_ARTIST, from))
    _cadenz_preprocess_get_name(artist, from, name);
}

// ---- Sorting: does a seed carry an identifier? ----------------------------------------------------------------------

static uint32_t pair_test(velox_mdo_handle track) {
  const char* value = nullptr;
  PASK_TRY(cadenz_mdo_value(track, VELOX_VAL_TUI, &value));
  return cadenz_mdo_value(track, VELOX_VAL_TUI_TAG, &value);
}

// 0 when the seed is a track, or an album whose first track, with the identifier pair.
static uint32_t track_test(velox_mdo_handle seed) {
  const char* context = nullptr;
  PASK_TRY(g_cadenz_mdo_interface->mdo_get_context(seed, &context));
  if (context_is(context, VELOX_CTX_TRACK)) return pair_test(seed);
  if (!context_is(context, VELOX_CTX_ALBUM)) return CADENZ_INFO_NOT_FOUND;
  velox_mdo_handle track = nullptr;
  PASK_TRY(cadenz_mdo_child(seed, VELOX_CHILD_TRACK, &track));
  const uint32_t status = pair_test(track);
  g_cadenz_mdo_interface->mdo_release(track);
  return status;
}

// 0 when the seed has an artist identifier of its own.
static uint32_t artist_test(velox_mdo_handle seed) {
  const char* context = nullptr;
  PASK_TRY(g_cadenz_mdo_interface->mdo_get_context(seed, &context));
  if (!context_is(context, VELOX_CTX_ARTIST) && !context_is(context, VELOX_CTX_CONTRIBUTOR) &&
      !context_is(context, VELOX_CTX_TRACK) && !context_is(context, VELOX_CTX_ALBUM))
    return CADENZ_INFO_NOT_FOUND;
  const char* value = nullptr;
  return cadenz_mdo_value(seed, VELOX_VAL_ARTIST_ID, &value);
}

// A test that fails for the objects' sake is told to the log and is a "no" like any other.
static bool is_identified(velox_mdo_handle seed) {
  return cadenz_report(track_test(seed), SOURCE) == 0 || cadenz_report(artist_test(seed), SOURCE) == 0;
}

namespace {

// One run's lists and lookup.
struct preprocess_run {
  cadenz_query* query;
  pask_vector_handle seeds;       // the query's, as they are
  pask_vector_handle kept;        // seeds that need no lookup, then the resolved objects
  pask_vector_handle unresolved;  // in the order of the query's list
  velox_lookup_handle lookup;
};

}  // namespace

static uint32_t list_create(pask_vector_handle* list) {
  return pask_vector_create(list, 0, nullptr, cadenz_seed_release);
}

// Adds an object with its reference, which is dropped if there is no room.
static uint32_t list_take(pask_vector_handle list, velox_mdo_handle object) {
  const uint32_t status = cadenz_seed_add(list, object);
  if (status) g_cadenz_mdo_interface->mdo_release(object);
  return status;
}

static uint32_t sort_seed(preprocess_run* run, uint32_t index) {
  velox_mdo_handle seed = nullptr;
  PASK_TRY(cadenz_seed_get(run->seeds, index, &seed));
  PASK_TRY(g_cadenz_mdo_interface->mdo_addref(seed));
  return list_take(is_identified(seed) ? run->kept : run->unresolved, seed);
}

// ---- The lookup -----------------------------------------------------------------------------------------------------

namespace {

struct request_name {
  char text[16];
  explicit request_name(uint32_t index) {
    pask_string_snprintf(text, sizeof text, "CAD_PRE_%d", static_cast<int>(index));
  }
};

// The texts that describe a seed, borrowed from it and its children.
struct seed_texts {
  const char* tui;
  const char* tui_tag;
  const char* album_artist;
  const char* album_title;
  const char* track_artist;
  const char* track_title;
  lenders from;
};

}  // namespace

// An identifier counts only with its tag, and only if it isn't empty.
static void identifier_get(velox_mdo_handle seed, seed_texts* texts) {
  const char* tui = nullptr;
  if (cadenz_mdo_value(seed, VELOX_VAL_TUI, &tui)) return;
  if (cadenz_mdo_value(seed, VELOX_VAL_TUI_TAG, &texts->tui_tag) == 0 && !pask_string_isempty(tui)) texts->tui = tui;
}

static uint32_t seed_texts_get(velox_mdo_handle seed, seed_texts* texts) {
  const char* context = nullptr;
  PASK_TRY(g_cadenz_mdo_interface->mdo_get_context(seed, &context));
  const bool track = context_is(context, VELOX_CTX_TRACK);
  const bool album = context_is(context, VELOX_CTX_ALBUM);
  if (!track && !album) {
    _cadenz_preprocess_get_name(seed, &texts->from, &texts->track_artist);
  } else {
    identifier_get(seed, texts);
    if (texts->tui) return 0;
    _cadenz_preprocess_get_artist_name(seed, &texts->from, track ? &texts->track_artist : &texts->album_artist);
    _cadenz_preprocess_get_title(seed, &texts->from, track ? &texts->track_title : &texts->album_title);
  }
  const bool nothing = pask_string_isempty(texts->album_artist) && pask_string_isempty(texts->album_title) &&
                       pask_string_isempty(texts->track_artist) && pask_string_isempty(texts->track_title);
  return nothing ? CADENZ_ERR_BAD_SEED : 0;
}

static uint32_t data_add(velox_lookup_handle lookup, const request_name& name, const char* key, const char* value) {
  return g_cadenz_lookup_interface->lookup_add_data(lookup, name.text, key, value, 1);
}

static uint32_t data_add_if_any(velox_lookup_handle lookup, const request_name& name, const char* key,
                                const char* value) {
  return pask_string_isempty(value) ? 0 : data_add(lookup, name, key, value);
}

static uint32_t request_data_add(velox_lookup_handle lookup, const request_name& name, const seed_texts& texts) {
  if (texts.tui) {
    PASK_TRY(data_add(lookup, name, VELOX_LOOKUP_DATA_TUI, texts.tui));
    return data_add(lookup, name, VELOX_LOOKUP_DATA_TUI_TAG, texts.tui_tag);
  }
  PASK_TRY(data_add(lookup, name, VELOX_LOOKUP_DATA_RANGE_START, "1"));
  PASK_TRY(data_add(lookup, name, VELOX_LOOKUP_DATA_RANGE_END, "1"));
  PASK_TRY(data_add_if_any(lookup, name, VELOX_LOOKUP_DATA_ALBUM_ARTIST, texts.album_artist));
  PASK_TRY(data_add_if_any(lookup, name, VELOX_LOOKUP_DATA_ALBUM_TITLE, texts.album_title));
  PASK_TRY(data_add_if_any(lookup, name, VELOX_LOOKUP_DATA_TRACK_ARTIST, texts.track_artist));
  return data_add_if_any(lookup, name, VELOX_LOOKUP_DATA_TRACK_TITLE, texts.track_title);
}

static uint32_t request_make(velox_lookup_handle lookup, const request_name& name, velox_mdo_handle seed,
                             seed_texts* texts) {
  PASK_TRY(seed_texts_get(seed, texts));
  PASK_TRY(g_cadenz_lookup_interface->lookup_add_request(lookup, VELOX_LOOKUP_TYPE_ALBUM, name.text, "radio", 1));
  return request_data_add(lookup, name, *texts);
}

static uint32_t request_add(preprocess_run* run, uint32_t index) {
  velox_mdo_handle seed = nullptr;
  PASK_TRY(cadenz_seed_get(run->unresolved, index, &seed));
  seed_texts texts = {};
  const uint32_t status = request_make(run->lookup, request_name(index), seed, &texts);
  lenders_release(texts.from);
  return status;
}

// The matched track of the answer's album, or the album itself where no track matched.
static uint32_t answer_read(velox_mdo_handle answer, velox_mdo_handle* resolved) {
  velox_mdo_handle album = nullptr;
  const uint32_t status = cadenz_mdo_child(answer, VELOX_CHILD_ALBUM, &album);
  velox_mdo_handle track = nullptr;
  const bool matched = !status && cadenz_mdo_child(album, VELOX_CHILD_MATCHING_TRACK, &track) == 0;
  g_cadenz_mdo_interface->mdo_release(answer);
  if (status) return status;
  if (matched) g_cadenz_mdo_interface->mdo_release(album);
  *resolved = matched ? track : album;
  return 0;
}

static uint32_t result_take(preprocess_run* run, uint32_t index) {
  velox_mdo_handle answer = nullptr;
  PASK_TRY(g_cadenz_lookup_interface->lookup_get_result(run->lookup, request_name(index).text, &answer));
  velox_mdo_handle resolved = nullptr;
  PASK_TRY(answer_read(answer, &resolved));
  return list_take(run->kept, resolved);
}

// All requests travel in one lookup: one exchange, however many seeds need it.
static uint32_t resolve(preprocess_run* run, uint32_t count) {
  PASK_TRY(g_cadenz_lookup_interface->lookup_create(g_cadenz_lookup_interface, cadenz_lookup_callback, run->query,
                                                    &run->lookup));
  PASK_TRY(cadenz_options_send_endpoint(run->query, run->lookup));
  for (uint32_t i = 0; i < count; ++i) PASK_TRY(request_add(run, i));
  PASK_TRY(g_cadenz_lookup_interface->lookup_execute(run->lookup, run->query->user, nullptr));
  for (uint32_t i = 0; i < count; ++i) PASK_TRY(result_take(run, i));
  return 0;
}

// ---- The run --------------------------------------------------------------------------------------------------------

static uint32_t run_all(preprocess_run* run, uint32_t seeds) {
  PASK_TRY(list_create(&run->kept));
  PASK_TRY(list_create(&run->unresolved));
  for (uint32_t i = 0; i < seeds; ++i) PASK_TRY(sort_seed(run, i));
  uint32_t unresolved = 0;
  PASK_TRY(pask_vector_count(run->unresolved, &unresolved));
  return unresolved ? resolve(run, unresolved) : 0;
}

uint32_t cadenz_preprocess_seeds(cadenz_query* query) {
  uint32_t seeds = 0;
  if (const uint32_t status = pask_vector_count(query->seeds, &seeds)) return cadenz_report(status, SOURCE);
  if (seeds == 0) return cadenz_report(CADENZ_ERR_NO_SEEDS, SOURCE);
  preprocess_run run = {query, query->seeds, nullptr, nullptr, nullptr};
  const uint32_t status = run_all(&run, seeds);
  if (run.lookup) g_cadenz_lookup_interface->lookup_release(run.lookup);
  if (!status) {  // the list that isn't the query's any more is the one to delete
    const pask_vector_handle old = query->seeds;
    query->seeds = run.kept;
    run.kept = old;
  }
  pask_vector_delete(run.kept);
  pask_vector_delete(run.unresolved);
  return cadenz_report(status, SOURCE);
}
