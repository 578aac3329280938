// Windows into the index of attributes. A large attribute is sampled at places that the request's digest picks: always the
// same for one request, others for the next, and never more rows than the quota.
#include "choice/candidates.h"

#include <algorithm>
#include <cmath>

#include "model/text.h"
#include "store/sqlite/writer.h"

namespace velox::catalog {
namespace {

constexpr uint32_t k_run_length = 8; /* neighbours taken at each place: their rows lie together */

/** How much of a level is wanted. */
double preference(int level, int focus) {
  if (focus < 0) return 1 + level * 0.5;
  const double distance = (level * 200 + 100 - focus) / 220.0;
  return std::exp(-distance * distance) + 0.02;
}

}  // namespace

pool::pool(connection& from, const wish& asked, progress& run) : from_(from), asked_(asked), run_(run) {
  statement row = from_.db->prepared("SELECT ifnull(max(id), 0) FROM track");
  if (row.step()) last_track_ = row.integer(0);
  seen_.reserve(4096);
  for (const seed& each : asked.seeds) {
    if (!asked.radio) seen_.insert(each.track);
  }
}

bool pool::passes(const candidate& track, std::string_view path) const {
  const int64_t* first = attrs_.data() + track.attrs_from;
  const int64_t* last = first + track.attrs_count;
  for (const int kind : {k_genre, k_mood, k_era}) {
    if (asked_.filtered[kind] &&
        std::find_first_of(first, last, asked_.filter[kind].begin(), asked_.filter[kind].end()) == last)
      return false;
  }
  const place& where = asked_.where;
  if (!where.set) return true;
  if (where.genre != 0) return std::find(first, last, where.genre) != last;
  if (where.artist != 0) return track.artist == where.artist;
  return !where.path.empty() && path.substr(0, where.path.size()) == where.path;
}

bool pool::take(int64_t id) {
  if (!seen_.insert(id).second) return false;
  run_.looked(1);
  statement row = from_.db->prepared(
      "SELECT artist_id, ifnull(album_id, 0), title_key, popularity, year, attrs, path FROM track WHERE id=?");
  if (!row.bind(id).step()) return false;
  candidate track{id,
                  row.integer(0),
                  row.integer(1),
                  row.integer(2),
                  static_cast<int>(row.integer(3)),
                  static_cast<int>(row.integer(4)),
                  static_cast<uint32_t>(attrs_.size()),
                  0};
  each_attribute(row.text(5), [&](int64_t attribute) { attrs_.push_back(attribute); });
  track.attrs_count = static_cast<uint32_t>(attrs_.size()) - track.attrs_from;
  if (!passes(track, asked_.where.path.empty() ? std::string_view() : row.text(6))) {
    attrs_.resize(track.attrs_from);
    return false;
  }
  tracks_.push_back(track);
  return true;
}

void pool::take_level(int64_t attribute, int level, uint32_t quota, int64_t there) {
  statement row = from_.db->prepared(
      "SELECT track FROM track_attribute WHERE attribute=? AND level=? AND track>=? ORDER BY track LIMIT ?");
  if (there <= quota) {
    row.bind(attribute, level, 0, there);
    while (row.step()) take(row.integer(0));
    return;
  }
  const uint32_t runs = (quota + k_run_length - 1) / k_run_length;
  const double stride = static_cast<double>(last_track_) / runs;
  uint64_t chance = hashed(std::to_string(attribute * k_levels + level), asked_.digest);
  for (uint32_t i = 0; i < runs; ++i) {
    chance = chance * 6364136223846793005u + 1442695040888963407u;
    const double at = (i + static_cast<double>(chance >> 40) / (1 << 24)) * stride;
    row.bind(attribute, level, static_cast<int64_t>(at), k_run_length);
    while (row.step()) take(row.integer(0));
    row.rewind();
  }
}

void pool::take_attribute(int64_t id, uint32_t quota) {
  const attribute_info& info = from_.attrs.at(id);
  double wanted = 0;
  for (int level = 0; level < k_levels; ++level)
    wanted += preference(level, asked_.popularity) * static_cast<double>(info.levels[level]);
  for (int level = k_levels; level-- > 0;) {
    const int64_t there = info.levels[level];
    if (there <= 0) continue;
    const double share = preference(level, asked_.popularity) * static_cast<double>(there) / wanted;
    const auto rows = static_cast<uint32_t>(std::ceil(share * quota));
    take_level(id, level, info.tracks <= quota ? static_cast<uint32_t>(there) : rows, there);
  }
}

void pool::take_artist(int64_t id, uint32_t quota) {
  statement row = from_.db->prepared("SELECT id FROM track WHERE artist_id=? ORDER BY popularity DESC, id LIMIT ?");
  row.bind(id, quota);
  while (row.step()) take(row.integer(0));
}

void pool::take_album(int64_t id, uint32_t quota) {
  statement row = from_.db->prepared("SELECT id FROM track WHERE album_id=? ORDER BY number, id LIMIT ?");
  row.bind(id, quota);
  while (row.step()) take(row.integer(0));
}

void pool::take_popular(uint32_t quota) {
  const attribute_info& everything = from_.attrs.at(k_everything);
  for (int level = k_levels; level-- > 0 && quota > 0;) {
    const auto rows = static_cast<uint32_t>(std::min<int64_t>(quota, everything.levels[level]));
    if (rows > 0) take_level(k_everything, level, rows, everything.levels[level]);
    quota -= rows;
  }
}

/** Calls `each` with the tracks of the smallest set that the filters name, up to a limit, until it gives false. */
template <class Each>
void pool::each_of_smallest_filter(int64_t limit, Each each) {
  const place& where = asked_.where;
  const auto through = [&](statement& row) {
    while (row.step()) {
      if (!each(row.integer(0))) return;
    }
  };
  if (where.artist != 0) {
    statement row = from_.db->prepared("SELECT id FROM track WHERE artist_id=? ORDER BY popularity DESC, id LIMIT ?");
    return through(row.bind(where.artist, limit));
  }
  if (!where.path.empty()) {
    // U+10FFFF follows every character that a path continues with.
    const std::string to = where.path + "\xf4\x8f\xbf\xbf";
    statement row = from_.db->prepared("SELECT id FROM track WHERE path>=? AND path<? LIMIT ?");
    return through(row.bind(std::string_view(where.path), std::string_view(to), limit));
  }
  std::vector<int64_t> smallest;
  int64_t fewest = INT64_MAX;
  const auto consider = [&](const std::vector<int64_t>& ids) {
    int64_t tracks = 0;
    for (const int64_t id : ids) tracks += from_.attrs.at(id).tracks;
    if (tracks < fewest) fewest = tracks, smallest = ids;
  };
  if (where.genre != 0) consider({where.genre});
  for (const int kind : {k_genre, k_mood, k_era}) {
    if (asked_.filtered[kind]) consider(asked_.filter[kind]);
  }
  for (const int64_t id : smallest) {
    statement row =
        from_.db->prepared("SELECT track FROM track_attribute WHERE attribute=? ORDER BY level DESC, track LIMIT ?");
    through(row.bind(id, limit));
  }
}

void pool::take_filtered(uint32_t quota) {
  const place& where = asked_.where;
  if (where.artist != 0 || !where.path.empty()) {
    uint32_t rows = 0;
    each_of_smallest_filter(quota, [&](int64_t id) { return take(id), ++rows < quota; });
    exhausted_ = rows < quota;
    return;
  }
  // Each filtered kind takes its part: one that is rare is then there as a whole.
  std::vector<int64_t> ids;
  if (where.genre != 0) ids.push_back(where.genre);
  for (const auto& filter : asked_.filter) ids.insert(ids.end(), filter.begin(), filter.end());
  exhausted_ = where.set && where.genre == 0;
  for (const int kind : {k_genre, k_mood, k_era}) {
    int64_t tracks = 0;
    for (const int64_t id : asked_.filter[kind]) tracks += from_.attrs.at(id).tracks;
    if (asked_.filtered[kind] && tracks == 0) exhausted_ = true;
  }
  if (exhausted_ || ids.empty()) return;
  const auto each = std::max<uint32_t>(quota / static_cast<uint32_t>(ids.size()), 16);
  for (const int64_t id : ids) take_attribute(id, each);
}

void pool::take_all_filtered(uint32_t wanted) {
  uint32_t got = 0;
  each_of_smallest_filter(INT64_MAX, [&](int64_t id) {
    got += take(id);
    return got < wanted;
  });
}

}  // namespace velox::catalog
