// Seeds that carry names instead of identifiers: exact names first, then names that hold all the words.
#include "choice/album_lookup.h"

#include <cstdlib>
#include <cstring>

#include "model/text.h"
#include "store/sqlite/search.h"

namespace velox::catalog {
namespace {

constexpr uint32_t k_words_finds = 20;

struct texts {
  std::string_view tui, tag, album_artist, album_title, track_artist, track_title;
};

texts read(const velox_standin_request& request) {
  texts made;
  const std::pair<const char*, std::string_view*> keys[] = {
      {"velox_lookup_data_tui", &made.tui},
      {"velox_lookup_data_tui_tag", &made.tag},
      {"velox_lookup_data_album_artist", &made.album_artist},
      {"velox_lookup_data_album_title", &made.album_title},
      {"velox_lookup_data_track_artist", &made.track_artist},
      {"velox_lookup_data_track_title", &made.track_title},
  };
  for (uint32_t i = 0; i < request.data_count; ++i) {
    const velox_standin_item& item = request.data[i];
    for (const auto& [key, text] : keys) {
      if (item.key && item.value && std::strcmp(item.key, key) == 0) *text = item.value;
    }
  }
  return made;
}

int64_t by_tui(database& db, std::string_view tui, std::string_view tag) {
  const auto wanted = static_cast<int64_t>(std::strtoull(std::string(tag).c_str(), nullptr, 16));
  statement row = db.prepared("SELECT id FROM track WHERE tui=? ORDER BY tag<>?, id LIMIT 1");
  return row.bind(tui, wanted).step() ? row.integer(0) : 0;
}

int64_t by_artist(database& db, std::string_view name) {
  {
    statement row = db.prepared("SELECT id FROM artist WHERE name_key=? ORDER BY tracks DESC, id LIMIT 1");
    if (row.bind(key(name)).step()) return row.integer(0);
  }
  const std::vector<int64_t> found = search(db, name, VELOX_CATALOG_ARTISTS, 1);
  return found.empty() ? 0 : found[0];
}

/** The track or album of a title: by its artist where one is given. */
struct titled {
  const char* exact_of_artist;
  const char* exact;
  const char* artist_of;
  uint32_t kind;
};
constexpr titled k_track = {
    "SELECT id FROM track WHERE title_key=? AND artist_id=? ORDER BY popularity DESC, id LIMIT 1",
    "SELECT id FROM track WHERE title_key=? LIMIT 1", "SELECT artist_id FROM track WHERE id=?", VELOX_CATALOG_TRACKS};
constexpr titled k_album = {"SELECT id FROM album WHERE title_key=? AND artist_id=? ORDER BY id LIMIT 1",
                            "SELECT id FROM album WHERE title_key=? LIMIT 1", "SELECT artist_id FROM album WHERE id=?",
                            VELOX_CATALOG_ALBUMS};

int64_t by_title(database& db, const titled& what, std::string_view title, std::string_view artist_name) {
  if (title.empty()) return 0;
  const int64_t artist = artist_name.empty() ? 0 : by_artist(db, artist_name);
  if (!artist_name.empty() && artist == 0) return 0;
  {
    statement row = db.prepared(artist != 0 ? what.exact_of_artist : what.exact);
    row.bind(key(title));
    if (artist != 0) row.bind(artist);
    if (row.step()) return row.integer(0);
  }
  const std::string text = artist != 0 ? std::string(title) + " " + std::string(artist_name) : std::string(title);
  for (const int64_t id : search(db, text, what.kind, k_words_finds)) {
    statement row = db.prepared(what.artist_of);
    if (artist == 0 || (row.bind(id).step() && row.integer(0) == artist)) return id;
  }
  return 0;
}

int64_t album_of(database& db, int64_t track) {
  statement row = db.prepared("SELECT ifnull(album_id, 0) FROM track WHERE id=?");
  return row.bind(track).step() ? row.integer(0) : 0;
}

}  // namespace

standin::mdo_ref look_up_album(connection& from, const velox_standin_request& request, progress& run) {
  database& db = *from.db;
  const texts asked = read(request);
  const bool identified = !asked.tui.empty();
  const int64_t track =
      identified ? by_tui(db, asked.tui, asked.tag) : by_title(db, k_track, asked.track_title, asked.track_artist);
  const int64_t album = track != 0   ? album_of(db, track)
                        : identified ? 0
                                     : by_title(db, k_album, asked.album_title, asked.album_artist);
  run.looked(1);
  object_maker make(db, from.attrs);
  standin::mdo_builder answer("velox_ctx_response");
  if (track != 0) {
    answer.child("velox_ctx_album!", album != 0 ? make.album(album, track) : make.lone_album(track));
  } else if (album != 0) {
    answer.child("velox_ctx_album!", make.album(album));
  } else {
    const bool untitled = asked.track_title.empty() && asked.album_title.empty();
    const std::string_view name = asked.track_artist.empty() ? asked.album_artist : asked.track_artist;
    const int64_t artist = untitled && !identified && !name.empty() ? by_artist(db, name) : 0;
    if (artist == 0) return {};
    answer.child("velox_ctx_album!", make.artist_as_album(artist));
  }
  run.gave(1);
  return answer.finish();
}

}  // namespace velox::catalog
