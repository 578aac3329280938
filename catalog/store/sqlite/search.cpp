// Finding by name: the exact names through the index of folded names, the others through the words. A search looks at a
// bounded number of finds, so that one common word costs the same in every catalogue.
#include "store/sqlite/search.h"

#include <algorithm>
#include <tuple>

#include "model/text.h"

namespace velox::catalog {
namespace {

/** What the three kinds differ in. */
struct kind_queries {
  uint32_t kind;
  const char* exact;
  const char* by_words;
};
constexpr kind_queries k_kinds[] = {
    {VELOX_CATALOG_TRACKS, "SELECT id, popularity, title FROM track WHERE title_key=? LIMIT ?",
     "SELECT track.id, popularity, title FROM track_words JOIN track ON track.id=track_words.rowid WHERE track_words "
     "MATCH ? "
     "LIMIT ?"},
    {VELOX_CATALOG_ALBUMS, "SELECT id, tracks, title FROM album WHERE title_key=? LIMIT ?",
     "SELECT album.id, tracks, title FROM album_words JOIN album ON album.id=album_words.rowid WHERE album_words MATCH "
     "? "
     "LIMIT ?"},
    {VELOX_CATALOG_ARTISTS, "SELECT id, tracks, name FROM artist WHERE name_key=? LIMIT ?",
     "SELECT artist.id, tracks, artist.name FROM artist_words JOIN artist ON artist.id=artist_words.rowid WHERE "
     "artist_words "
     "MATCH ? "
     "LIMIT ?"},
};

/** Every word in the name or the artist's name, and one at least in the name. */
std::string expression(const std::vector<std::string>& words) {
  std::string all, any;
  for (const std::string& word : words) {
    const std::string term = "\"" + word + "\" *";
    if (!all.empty()) all += " AND ", any += " OR ";
    all += term;
    any += term;
  }
  return "(" + all + ") AND name : (" + any + ")";
}

struct find {
  int nearness; /* 0: the name, 1: begins with the text, 2: holds its words, 3: the artist's name holds some */
  int64_t weight, id;
  bool operator<(const find& other) const {
    return std::tie(nearness, other.weight, id) < std::tie(other.nearness, weight, other.id);
  }
};

int nearness_of(const std::string& name, const std::string& wanted, const std::vector<std::string>& words) {
  if (name == wanted) return 0;
  if (name.compare(0, wanted.size(), wanted) == 0) return 1;
  const std::string spaced = " " + name;
  const bool whole = std::all_of(words.begin(), words.end(),
                                 [&](const std::string& word) { return spaced.find(" " + word) != std::string::npos; });
  return whole ? 2 : 3;
}

}  // namespace

std::vector<int64_t> search(database& db, std::string_view text, uint32_t kind, uint32_t limit) {
  const auto* queries =
      std::find_if(std::begin(k_kinds), std::end(k_kinds), [&](const auto& q) { return q.kind == kind; });
  const std::string wanted = folded(text);
  const std::vector<std::string> parts = words(text);
  const int64_t looked_at = std::max<int64_t>(2000, int64_t{limit} * 4);
  std::vector<find> finds;
  const auto collect = [&](statement& row) {
    while (row.step())
      finds.push_back({nearness_of(folded(row.text(2)), wanted, parts), row.integer(1), row.integer(0)});
  };
  {
    statement row = db.prepared(queries->exact);
    collect(row.bind(key(text), looked_at));
  }
  if (!parts.empty()) {
    const std::string match = expression(parts);
    statement row = db.prepared(queries->by_words);
    collect(row.bind(std::string_view(match), looked_at));
  }
  std::sort(finds.begin(), finds.end());
  std::vector<int64_t> result;
  for (const find& each : finds) {
    if (result.size() >= limit) break;
    if (std::find(result.begin(), result.end(), each.id) == result.end()) result.push_back(each.id);
  }
  return result;
}

}  // namespace velox::catalog
