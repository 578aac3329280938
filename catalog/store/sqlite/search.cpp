// Finding by name: the exact names through the index of folded names, the others through the words.
#include <algorithm>

#include "model/text.h"
#include "store/sqlite/sqlite_store.h"
#include "velox_catalog.h"

namespace velox::catalog::sqlite {
namespace {

constexpr size_t k_most_words = 32; /* that a search goes by: a name has no more */

/** What the three kinds differ in. */
struct kind_queries {
  uint32_t kind;
  const char* exact;
  const char* by_words;
};
constexpr kind_queries k_queries[] = {
    {VELOX_CATALOG_TRACKS, "SELECT id, popularity, title FROM track WHERE title_key=? LIMIT ?",
     "SELECT track.id, popularity, title FROM track_words JOIN track ON track.id=track_words.rowid "
     "WHERE track_words MATCH ? LIMIT ?"},
    {VELOX_CATALOG_ALBUMS, "SELECT id, tracks, title FROM album WHERE title_key=? LIMIT ?",
     "SELECT album.id, tracks, title FROM album_words JOIN album ON album.id=album_words.rowid "
     "WHERE album_words MATCH ? LIMIT ?"},
    {VELOX_CATALOG_ARTISTS, "SELECT id, tracks, name FROM artist WHERE name_key=? LIMIT ?",
     "SELECT artist.id, tracks, artist.name FROM artist_words JOIN artist ON artist.id=artist_words.rowid "
     "WHERE artist_words MATCH ? LIMIT ?"},
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

}  // namespace

std::vector<int64_t> sqlite_store::find(uint32_t kind, std::string_view text, uint32_t limit) {
  const auto* queries =
      std::find_if(std::begin(k_queries), std::end(k_queries), [&](const auto& each) { return each.kind == kind; });
  std::vector<match> matches;
  const auto collect = [&](statement& row) {
    while (row.step()) matches.push_back({row.integer(0), row.count(1), std::string(row.text(2))});
  };
  {
    statement row = db_.prepared(queries->exact);
    collect(row.bind(key(text), matches_looked_at(limit)));
  }
  std::vector<std::string> parts = words(text);
  if (!parts.empty()) {
    parts.resize(std::min(parts.size(), k_most_words));
    const std::string wanted = expression(parts);
    statement row = db_.prepared(queries->by_words);
    collect(row.bind(std::string_view(wanted), matches_looked_at(limit)));
  }
  return ranked(matches, text, limit);
}

}  // namespace velox::catalog::sqlite
