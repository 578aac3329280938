// Options with their defaults, seeds with what they are like, the filter told from the seeds.
#include "choice/request.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr uint32_t k_most_results = 1000;

void add_attribute(const store& from, seed& to, int64_t id, float weight) {
  const attribute_info& info = from.attribute(id);
  if (info.kind == k_era) {
    if (to.eras.empty() && to.year == 0) to.year = std::atoi(info.name.c_str()) + 5;
    to.eras.push_back(id);
  } else if (info.kind != k_no_attribute) {
    to.profile.push_back({id, weight});
  }
}

void add_to_filter(const store& from, track_filter& to, std::string_view key, const char* value) {
  const named_attribute named = attribute_in(key, value);
  if (named.kind == k_no_attribute) return;
  to.set[named.kind] = true;
  std::vector<int64_t>& ids = to.any_of[named.kind];
  if (from.attribute(named.id).kind != named.kind) return;
  if (std::find(ids.begin(), ids.end(), named.id) == ids.end()) ids.push_back(named.id);
}

/** A seed of a request: what the catalogue knows of it, or else the attributes that the request gives it. */
seed seed_of(const store& from, const seed_data& data, const seed_record& record) {
  seed made = make_seed(from, record);
  made.ordinal = data.ordinal;
  if (!made.profile.empty()) return made;
  for (const char* key : {VELOX_LOOKUP_DATA_SEED_GENRE, VELOX_LOOKUP_DATA_SEED_ERA, VELOX_LOOKUP_DATA_SEED_MOOD}) {
    const named_attribute named = attribute_in(key, data.value(key));
    if (named.id != 0 && from.attribute(named.id).kind == named.kind) add_attribute(from, made, named.id, 1);
  }
  return made;
}

/** Where a lone seed of attributes is all that is asked for, it narrows, and is like what it lets through. */
void narrow_by_attributes(const store& from, const seed_data& only, request& to) {
  const char* kind = only.value(VELOX_LOOKUP_DATA_SEED);
  to.attributes_only = kind && std::strcmp(kind, "ATTRIBUTE") == 0;
  if (!to.attributes_only) return;
  for (const auto& [key, value] : only.own) add_to_filter(from, to.filter, key, value);
  seed& wanted = to.seeds.front();
  wanted.profile.clear(), wanted.eras.clear();
  for (const auto& ids : to.filter.any_of) {
    for (const int64_t id : ids) add_attribute(from, wanted, id, 1);
  }
  if (wanted.eras.size() > 1) wanted.year = 0;
}

void set_place(const char* text, const resolved& found, track_filter& to) {
  if (!text || !*text) return;
  to.placed = true;
  to.genre = found.genre;
  if (to.genre == 0) to.artist = found.artist;
  if (to.genre == 0 && to.artist == 0) to.path = place_in(text).path;
}

template <class Integer>
void read_number(const request_items& items, const char* key, uint64_t limit, Integer* value) {
  const char* text = value_of(items.options, key);
  uint64_t read = 0;
  if (text && number(text, UINT64_MAX, &read)) *value = static_cast<Integer>(std::min(read, limit));
}

void read_options(const request_items& items, request& to) {
  read_number(items, VELOX_LOOKUP_OPTION_RETURN_COUNT, k_most_results, &to.count);
  if (to.count == 0) to.count = request().count;
  read_number(items, VELOX_LOOKUP_OPTION_FOCUS_POPULARITY, 1000, &to.popularity);
  read_number(items, VELOX_LOOKUP_OPTION_FOCUS_SIMILARITY, 1000, &to.similarity);
  if (to.filter.artist != 0) to.per_artist = 0;
  read_number(items, VELOX_LOOKUP_OPTION_MAX_TRACKS_PER_ARTIST, UINT32_MAX, &to.per_artist);
  if (const char* text = value_of(items.options, VELOX_LOOKUP_OPTION_ROTATION))
    to.rotate = std::strcmp(text, "NONE") != 0;
  to.xids = value_of(items.options, VELOX_LOOKUP_OPTION_XIDS) != nullptr;
  to.sonic = value_of(items.options, VELOX_LOOKUP_OPTION_SONIC) != nullptr;
}

uint64_t fingerprint_of(const request_items& items) {
  uint64_t made = 0;
  const auto mix = [&](const velox_standin_item& item) {
    made = hashed(item.key ? item.key : "", made);
    made = hashed(item.value ? item.value : "", made + item.ordinal);
  };
  std::for_each(items.options.begin(), items.options.end(), mix);
  std::for_each(items.data.begin(), items.data.end(), mix);
  return made;
}

}  // namespace

seed make_seed(const store& from, const seed_record& record) {
  seed made;
  made.track = record.track;
  made.artist = record.artist;
  made.album = record.album;
  made.title_key = record.title_key;
  made.year = record.year;
  made.sounds = record.sounds;
  made.artist_name = record.artist_name;
  made.label = record.track != 0 ? "\"" + record.title + "\"" : record.artist_name;
  for (const int64_t id : record.attributes) add_attribute(from, made, id, 1);
  float most = 0;
  for (const auto& [id, tracks] : record.artist_attributes) {
    most = std::max(most, static_cast<float>(tracks));
    add_attribute(from, made, id, std::sqrt(static_cast<float>(tracks) / most));
  }
  return made;
}

request make_request(const store& from, const request_items& items, const resolved& found) {
  request made;
  const std::vector<seed_data> seeds = seeds_in(items.data);
  for (size_t i = 0; i < seeds.size(); ++i) {
    if (i < k_most_seeds) made.seeds.push_back(seed_of(from, seeds[i], found.seeds[i]));
    for (const velox_standin_item& item : seeds[i].filter) add_to_filter(from, made.filter, item.key, item.value);
  }
  if (seeds.size() == 1) narrow_by_attributes(from, seeds.front(), made);
  set_place(value_of(items.options, VELOX_LOOKUP_OPTION_CATALOG_FILTER), found, made.filter);
  read_options(items, made);
  made.fingerprint = fingerprint_of(items);
  made.last_track = found.last_track;
  return made;
}

request read_request(store& from, const request_items& items) {
  const char* place = value_of(items.options, VELOX_LOOKUP_OPTION_CATALOG_FILTER);
  return make_request(from, items, from.resolve(references_of(seeds_in(items.data), place)));
}

}  // namespace velox::catalog
