// Browsing: each kind of list is a walk along an index from its beginning, so that a page costs what lies in front of it and on it; at
// random, single rows are met by their numbers. What an index can't give in order, the albums of a genre or of some years, is
// gathered from the tracks of their windows, a bounded number of them.
#include <algorithm>
#include <random>
#include <unordered_set>

#include "model/identity.h"
#include "model/text.h"
#include "store/sqlite/sqlite_store.h"
#include "velox_catalog.h"

namespace velox::catalog::sqlite {
namespace {

constexpr size_t k_most_gathered = 20'000; /* tracks that a list of some years or of a genre is made from */
constexpr int k_tries_at_random = 4;       /* for each that is wanted: two may hit the same */

/** The ids in a statement's rows. */
std::vector<int64_t> all_of(statement& row) {
  std::vector<int64_t> ids;
  while (row.step()) ids.push_back(row.integer(0));
  return ids;
}

void cut_to_page(std::vector<int64_t>& ids, const browsing& page) {
  ids.erase(ids.begin(), ids.begin() + static_cast<ptrdiff_t>(std::min<size_t>(page.offset, ids.size())));
  ids.resize(std::min<size_t>(page.limit, ids.size()));
}

class browser {
 public:
  browser(connection& db, const browsing& asked) : db_(db), asked_(asked) {}

  std::vector<int64_t> page() {
    if (!asked_.track.empty()) return one_track();
    if (asked_.album) return of_album();
    if (!asked_.artist.empty()) return of_artist();
    if (asked_.list != k_no_attribute) return of_element();
    if (asked_.order == VELOX_CATALOG_RANDOM) return at_random();
    if (asked_.first_year != 0 || asked_.last_year != 0) return of_years();
    return of_everything();
  }

 private:
  bool wants(uint32_t kind) const { return asked_.kind == kind; }

  int64_t first(const char* sql, const auto&... values) {
    statement row = db_.prepared(sql);
    return row.bind(values...).step() ? row.integer(0) : 0;
  }

  std::vector<int64_t> rows(const char* sql, const auto&... values) {
    statement row = db_.prepared(sql);
    return all_of(row.bind(values..., asked_.limit, asked_.offset));
  }

  static std::vector<int64_t> only(int64_t id) { return id != 0 ? std::vector<int64_t>{id} : std::vector<int64_t>(); }

  // ---- By identifiers ---------------------------------------------------------------------------------------------------------

  std::vector<int64_t> one_track() {
    if (!wants(VELOX_CATALOG_TRACKS)) return {};
    return only(first("SELECT id FROM track WHERE tui=? ORDER BY tag<>?, id LIMIT 1", std::string_view(asked_.track),
                      static_cast<int64_t>(parse_tag(asked_.track_tag))));
  }

  int64_t artist_by(const std::string& uid) {
    return first("SELECT id FROM artist WHERE uid=?", std::string_view(uid));
  }

  std::vector<int64_t> of_album() {
    const int64_t album = first("SELECT id FROM album WHERE title_key=? AND artist_id=?", asked_.album->title_key,
                                artist_by(asked_.album->artist_uid));
    if (wants(VELOX_CATALOG_ALBUMS)) return only(album);
    if (!wants(VELOX_CATALOG_TRACKS)) return {};
    return rows("SELECT id FROM track WHERE album_id=? ORDER BY number, id LIMIT ? OFFSET ?", album);
  }

  std::vector<int64_t> of_artist() {
    const int64_t artist = artist_by(asked_.artist);
    if (wants(VELOX_CATALOG_ARTISTS)) return only(artist);
    if (wants(VELOX_CATALOG_TRACKS))
      return rows("SELECT id FROM track WHERE artist_id=? ORDER BY popularity DESC, id LIMIT ? OFFSET ?", artist);
    return rows("SELECT id FROM album WHERE artist_id=? ORDER BY title COLLATE NOCASE, id LIMIT ? OFFSET ?", artist);
  }

  // ---- Everything -------------------------------------------------------------------------------------------------------------

  std::vector<int64_t> of_everything() {
    switch (asked_.kind) {
      case VELOX_CATALOG_ARTISTS:
        if (asked_.order == VELOX_CATALOG_NEWEST)
          return rows("SELECT id FROM artist ORDER BY id DESC LIMIT ? OFFSET ?");
        return rows("SELECT id FROM artist ORDER BY name COLLATE NOCASE, id LIMIT ? OFFSET ?");
      case VELOX_CATALOG_ALBUMS:
        if (asked_.order == VELOX_CATALOG_NEWEST) return rows("SELECT id FROM album ORDER BY id DESC LIMIT ? OFFSET ?");
        if (asked_.order == VELOX_CATALOG_BY_ARTIST)
          return rows(
              "SELECT b.id FROM artist a INDEXED BY artist_by_name CROSS JOIN album b ON b.artist_id=a.id "
              "ORDER BY a.name COLLATE NOCASE, a.id, b.id LIMIT ? OFFSET ?");
        return rows("SELECT id FROM album ORDER BY title COLLATE NOCASE, id LIMIT ? OFFSET ?");
      default:
        if (asked_.order == VELOX_CATALOG_NEWEST) return rows("SELECT id FROM track ORDER BY id DESC LIMIT ? OFFSET ?");
        return rows("SELECT id FROM track ORDER BY id LIMIT ? OFFSET ?");
    }
  }

  std::vector<int64_t> at_random() {
    const bool tracks = wants(VELOX_CATALOG_TRACKS), albums = wants(VELOX_CATALOG_ALBUMS);
    const char* last = tracks   ? "SELECT ifnull(max(id), 0) FROM track"
                       : albums ? "SELECT ifnull(max(id), 0) FROM album"
                                : "SELECT ifnull(max(id), 0) FROM artist";
    const char* next = tracks   ? "SELECT id FROM track WHERE id>=? ORDER BY id LIMIT 1"
                       : albums ? "SELECT id FROM album WHERE id>=? ORDER BY id LIMIT 1"
                                : "SELECT id FROM artist WHERE id>=? ORDER BY id LIMIT 1";
    return drawn(first(last), [&](int64_t from) { return first(next, from); });
  }

  /** Different ids that `next` gives for numbers up to `last`. */
  template <class Next>
  std::vector<int64_t> drawn(int64_t last, Next next) {
    std::mt19937_64 random(asked_.random_seed);
    std::vector<int64_t> ids;
    std::unordered_set<int64_t> met;
    const size_t wanted = size_t{asked_.offset} + asked_.limit;
    for (size_t tries = wanted * k_tries_at_random; last > 0 && tries > 0 && ids.size() < wanted; --tries) {
      // Not the library's distribution, which is another on another machine.
      const int64_t id = next(1 + static_cast<int64_t>(random() % static_cast<uint64_t>(last)));
      if (id != 0 && met.insert(id).second) ids.push_back(id);
    }
    // Who asks for nearly all there are gets them all: what wasn't hit follows in order.
    for (int64_t id = next(1); id != 0 && ids.size() < wanted; id = next(id + 1))
      if (met.insert(id).second) ids.push_back(id);
    cut_to_page(ids, asked_);
    return ids;
  }

  // ---- Of an element of a list, and of years ----------------------------------------------------------------------------------

  int64_t attribute_named(attribute_kind kind, std::string_view name) {
    return first("SELECT id FROM attribute WHERE kind=? AND name_key=?", static_cast<int>(kind), key(name));
  }

  std::vector<int64_t> of_element() {
    const int64_t attribute = attribute_named(asked_.list, asked_.element);
    if (attribute == 0) return {};
    if (wants(VELOX_CATALOG_ARTISTS))
      return rows("SELECT artist FROM artist_attribute WHERE attribute=? ORDER BY artist LIMIT ? OFFSET ?", attribute);
    gather(attribute, 0, 9999);
    if (asked_.order == VELOX_CATALOG_RANDOM) mix();
    return gathered();
  }

  std::vector<int64_t> of_years() {
    if (wants(VELOX_CATALOG_ARTISTS)) return {};
    const auto [from, to] = std::minmax(asked_.first_year, asked_.last_year);
    for (int decade = from / 10 * 10; decade <= to && found_.size() < k_most_gathered; decade += 10) {
      const int64_t era = attribute_named(k_era, std::to_string(decade) + "s");
      if (era != 0) gather(era, from, to);
    }
    const bool backwards = asked_.first_year > asked_.last_year;
    std::stable_sort(found_.begin(), found_.end(), [&](const auto& one, const auto& other) {
      return backwards ? one.year > other.year : one.year < other.year;
    });
    return gathered();
  }

  /** Tracks of an attribute and of years, most popular first, or the albums that they belong to. */
  void gather(int64_t attribute, int from, int to) {
    statement row = db_.prepared(
        "SELECT t.id, ifnull(t.album_id, 0), t.year FROM track_attribute a CROSS JOIN track t ON t.id=a.track "
        "WHERE a.attribute=? AND a.level=? ORDER BY a.track LIMIT ?");
    for (int level = k_levels - 1; level >= 0; --level) {
      row.rewind();
      row.bind(attribute, level, k_most_gathered);
      while (row.step() && found_.size() < k_most_gathered) {
        const int year = static_cast<int>(row.within(2, 0, 9999));
        const int64_t id = row.integer(wants(VELOX_CATALOG_ALBUMS) ? 1 : 0);
        if (id != 0 && year >= from && year <= to && met_.insert(id).second) found_.push_back({id, year});
      }
    }
  }

  void mix() {
    std::mt19937_64 random(asked_.random_seed);
    for (size_t i = found_.size(); i > 1; --i) std::swap(found_[i - 1], found_[random() % i]);
  }

  std::vector<int64_t> gathered() {
    std::vector<int64_t> ids;
    for (const gathered_row& each : found_) ids.push_back(each.id);
    cut_to_page(ids, asked_);
    return ids;
  }

  struct gathered_row {
    int64_t id;
    int year;
  };
  connection& db_;
  const browsing& asked_;
  std::vector<gathered_row> found_;
  std::unordered_set<int64_t> met_;
};

}  // namespace

std::vector<int64_t> sqlite_store::browse(const browsing& asked) { return browser(db_, asked).page(); }

std::vector<chart_cell> sqlite_store::chart() {
  std::vector<chart_cell> cells;
  statement row = db_.prepared(
      "SELECT ifnull(name, ''), decade, tracks FROM chart LEFT JOIN attribute ON attribute.id=genre WHERE tracks>0 "
      "ORDER BY genre, decade");
  while (row.step())
    cells.push_back({std::string(row.text(0)), static_cast<int>(row.within(1, 0, 9990)), row.count(2)});
  return cells;
}

void sqlite_store::enter_place(const std::string& path) {
  db_.prepared("INSERT OR IGNORE INTO place(path) VALUES (?)").bind(std::string_view(path)).run();
}

std::vector<std::string> sqlite_store::places() {
  std::vector<std::string> paths;
  statement row = db_.prepared("SELECT path FROM place ORDER BY path");
  while (row.step()) paths.emplace_back(row.text(0));
  return paths;
}

}  // namespace velox::catalog::sqlite
