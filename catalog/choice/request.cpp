// Reading a recommendation request: options with their defaults, seeds found again by their identifiers, the filter told
// from the seeds.
#include "choice/request.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>

#include "model/text.h"
#include "store/sqlite/writer.h"

namespace velox::catalog {
namespace {

constexpr uint32_t k_most_results = 500;
constexpr size_t k_most_seeds = 32;
constexpr int64_t k_profile_rows = 24;
constexpr int64_t k_tell_every_ns = 20'000'000;
constexpr int k_steps_between_looks = 2000;

constexpr const char* k_kind_key = "velox_lookup_data_radio_seed";
constexpr const char* k_tui_key = "velox_lookup_data_radio_seed_track_tui";
constexpr const char* k_tag_key = "velox_lookup_data_radio_seed_track_tui_tag";
constexpr const char* k_artist_key = "velox_lookup_data_radio_seed_artist_id";
struct attribute_key {
  const char* key;
  attribute_kind kind;
};
constexpr attribute_key k_attribute_keys[] = {{"velox_lookup_data_radio_seed_attribute_genre", k_genre},
                                              {"velox_lookup_data_radio_seed_attribute_era", k_era},
                                              {"velox_lookup_data_radio_seed_attrbute_mood", k_mood}};

int64_t now_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

/** The data of an ordinal, the seed's own part and the filter's. */
struct part {
  std::map<std::string_view, const char*> own;
  std::vector<velox_standin_item> filter;
};

std::map<uint32_t, part> parts_of(const velox_standin_request& request) {
  std::map<uint32_t, part> parts;
  std::map<uint32_t, bool> ended;
  for (uint32_t i = 0; i < request.data_count; ++i) {
    const velox_standin_item& item = request.data[i];
    if (!item.key || !item.value) continue;
    part& to = parts[item.ordinal];
    if (!ended[item.ordinal] && to.own.emplace(item.key, item.value).second) continue;
    ended[item.ordinal] = true;
    to.filter.push_back(item);
  }
  return parts;
}

void add_to_filter(connection& from, wish& to, const char* key, const char* value) {
  for (const attribute_key& each : k_attribute_keys) {
    if (std::strcmp(key, each.key) != 0) continue;
    to.filtered[each.kind] = true;
    uint64_t id = 0;
    std::vector<int64_t>& ids = to.filter[each.kind];
    if (!number(value, INT32_MAX, &id) || from.attrs.at(static_cast<int64_t>(id)).kind != each.kind) return;
    if (std::find(ids.begin(), ids.end(), static_cast<int64_t>(id)) == ids.end())
      ids.push_back(static_cast<int64_t>(id));
  }
}

void add_attribute(connection& from, seed& to, int64_t id, float weight) {
  const int kind = from.attrs.at(id).kind;
  if (kind == k_era) {
    if (to.eras.empty() && to.year == 0) to.year = std::atoi(from.attrs.at(id).name.c_str()) + 5;
    to.eras.push_back(id);
  } else if (kind != 0) {
    to.profile.push_back({id, weight});
  }
}

/** What most of an artist's tracks have. */
void add_artist_profile(connection& from, seed& to) {
  statement row = from.db->prepared(
      "SELECT attribute, tracks FROM artist_attribute WHERE artist=?1 ORDER BY tracks DESC, attribute LIMIT ?2");
  row.bind(to.artist, k_profile_rows);
  float most = 0;
  while (row.step()) {
    const auto tracks = static_cast<float>(row.integer(1));
    most = std::max(most, tracks);
    add_attribute(from, to, row.integer(0), std::sqrt(tracks / most));
  }
}

bool find_track(connection& from, seed& to, const char* tui, const char* tag) {
  if (!tui || !*tui) return false;
  const auto wanted = static_cast<int64_t>(tag ? std::strtoull(tag, nullptr, 16) : 0);
  statement row = from.db->prepared(
      "SELECT track.id, artist_id, ifnull(album_id, 0), title_key, year, attrs, title, name FROM track "
      "JOIN artist ON artist.id=artist_id WHERE tui=? ORDER BY tag<>?, track.id LIMIT 1");
  if (!row.bind(std::string_view(tui), wanted).step()) return false;
  to.track = row.integer(0);
  to.artist = row.integer(1);
  to.album = row.integer(2);
  to.title_key = row.integer(3);
  to.year = static_cast<int>(row.integer(4));
  each_attribute(row.text(5), [&](int64_t id) { add_attribute(from, to, id, 1); });
  to.artist_name = row.text(7);
  to.label = "\"" + std::string(row.text(6)) + "\"";
  return true;
}

bool find_artist(connection& from, seed& to, const char* uid) {
  if (!uid || !*uid) return false;
  statement row = from.db->prepared("SELECT id, name FROM artist WHERE uid=?");
  if (!row.bind(std::string_view(uid)).step()) return false;
  to.artist = row.integer(0);
  to.label = to.artist_name = row.text(1);
  return true;
}

seed read_seed(connection& from, uint32_t ordinal, const part& data) {
  seed made;
  made.ordinal = ordinal;
  const auto value = [&](const char* key) {
    const auto found = data.own.find(key);
    return found == data.own.end() ? nullptr : found->second;
  };
  if (!seed_of_track(from, value(k_tui_key), value(k_tag_key), &made)) seed_of_artist(from, value(k_artist_key), &made);
  if (!made.profile.empty()) return made;
  for (const attribute_key& each : k_attribute_keys) {
    uint64_t id = 0;
    const char* text = value(each.key);
    if (text && number(text, INT32_MAX, &id) && from.attrs.at(static_cast<int64_t>(id)).kind == each.kind)
      add_attribute(from, made, static_cast<int64_t>(id), 1);
  }
  return made;
}

/** "genre:Dream Pop", "artist:Aurora Lane", "path:/music/live", or a text that is tried as each in this order. */
place read_place(connection& from, const char* text) {
  place made;
  made.set = true;
  std::string_view name = text;
  const auto named = [&](std::string_view prefix) {
    const bool there = name.substr(0, prefix.size()) == prefix;
    if (there) name.remove_prefix(prefix.size());
    return there;
  };
  const bool genre = named("genre:"), artist = !genre && named("artist:"), path = !genre && !artist && named("path:");
  const bool bare = !genre && !artist && !path;
  while (!path && !name.empty() && name.front() == ' ') name.remove_prefix(1);
  if (genre || bare) made.genre = from.attrs.find(k_genre, name);
  if (artist || (bare && made.genre == 0)) {
    statement row = from.db->prepared("SELECT id FROM artist WHERE name_key=? ORDER BY tracks DESC, id LIMIT 1");
    if (row.bind(key(name)).step()) made.artist = row.integer(0);
  }
  if (path || (bare && made.genre == 0 && made.artist == 0 && !name.empty() && name[0] == '/')) made.path = name;
  return made;
}

template <class Integer>
void read_number(const velox_standin_request& request, const char* key, uint64_t limit, Integer* value) {
  const char* text = option_of(request, key);
  uint64_t read = 0;
  if (text && number(text, UINT64_MAX, &read)) *value = static_cast<Integer>(std::min(read, limit));
}

}  // namespace

progress::progress(velox_standin_run* run, sqlite3* db) : run_(run), db_(db), last_ns_(now_ns()) {
  sqlite3_progress_handler(
      db_, k_steps_between_looks, [](void* self) { return static_cast<progress*>(self)->tell_now_and_then() ? 0 : 1; },
      this);
}

progress::~progress() { sqlite3_progress_handler(db_, 0, nullptr, nullptr); }

bool progress::tell_now_and_then() {
  const int64_t now = now_ns();
  if (status_ != 0) return false;
  if (now - last_ns_ < k_tell_every_ns) return true;
  last_ns_ = now;
  status_ = velox_standin_run_progress(run_, 20, 10, std::exchange(looked_, 0), nullptr);
  return status_ == 0;
}

void progress::looked(uint32_t tracks) {
  looked_ += tracks;
  tell_now_and_then();
  check();
}

void progress::gave(uint32_t tracks) {
  if (status_ == 0) status_ = velox_standin_run_progress(run_, 20, 10, std::exchange(looked_, 0), nullptr);
  if (status_ == 0) status_ = velox_standin_run_progress(run_, 20, 11, tracks, nullptr);
  check();
}

const char* option_of(const velox_standin_request& request, const char* key) {
  for (uint32_t i = request.option_count; i-- > 0;) {
    if (request.options[i].key && std::strcmp(request.options[i].key, key) == 0) return request.options[i].value;
  }
  return nullptr;
}

bool seed_of_track(connection& from, const char* tui, const char* tag, seed* made) {
  if (!find_track(from, *made, tui, tag)) return false;
  if (made->profile.empty()) add_artist_profile(from, *made);
  return true;
}

bool seed_of_artist(connection& from, const char* uid, seed* made) {
  if (!find_artist(from, *made, uid)) return false;
  if (made->profile.empty()) add_artist_profile(from, *made);
  return true;
}

wish read_wish(connection& from, const velox_standin_request& request) {
  wish made;
  const std::map<uint32_t, part> parts = parts_of(request);
  for (const auto& [ordinal, data] : parts) {
    if (made.seeds.size() < k_most_seeds) made.seeds.push_back(read_seed(from, ordinal, data));
    for (const velox_standin_item& item : data.filter) add_to_filter(from, made, item.key, item.value);
  }
  if (parts.size() == 1) {
    const part& only = parts.begin()->second;
    const auto kind = only.own.find(k_kind_key);
    made.attributes_only = kind != only.own.end() && std::strcmp(kind->second, "ATTRIBUTE") == 0;
    if (made.attributes_only) {
      for (const auto& [key, value] : only.own) add_to_filter(from, made, key.data(), value);
      seed& wanted = made.seeds.front();
      wanted.profile.clear(), wanted.eras.clear();
      for (const auto& ids : made.filter) {
        for (const int64_t id : ids) add_attribute(from, wanted, id, 1);
      }
      if (wanted.eras.size() > 1) wanted.year = 0;
    }
  }
  read_number(request, "velox_lookup_option_return_count", k_most_results, &made.count);
  if (made.count == 0) made.count = wish().count;
  read_number(request, "velox_lookup_option_focus_popularity", 1000, &made.popularity);
  read_number(request, "velox_lookup_option_focus_similarity", 1000, &made.similarity);
  if (const char* text = option_of(request, "velox_lookup_option_catalog_filter"); text && *text)
    made.where = read_place(from, text);
  if (made.where.artist != 0) made.per_artist = 0;
  read_number(request, "velox_lookup_option_max_tracks_per_artist", UINT32_MAX, &made.per_artist);
  if (const char* text = option_of(request, "velox_lookup_option_rotation"))
    made.rotate = std::strcmp(text, "NONE") != 0;
  made.xids = option_of(request, "velox_lookup_option_xids") != nullptr;
  const auto mix = [&](const velox_standin_item& item) {
    made.digest = hashed(item.key ? item.key : "", made.digest);
    made.digest = hashed(item.value ? item.value : "", made.digest + item.ordinal);
  };
  std::for_each(request.options, request.options + request.option_count, mix);
  std::for_each(request.data, request.data + request.data_count, mix);
  return made;
}

}  // namespace velox::catalog
