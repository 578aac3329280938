// The shapes that velox_catalog.h and the readers of seeds know: a track with its artist and title, an album with its tracks,
// an artist with its name and contributor. Objects hold copies, so they outlive the connection.
#include "choice/objects.h"

#include "model/text.h"
#include "store/sqlite/writer.h"

namespace velox::catalog {
namespace {

constexpr int64_t k_tracks_of_album = 500;
constexpr standin::key k_id_keys[] = {"", "_sdkmgr_val_list_genre_id", "_sdkmgr_val_list_mood_id",
                                      "_sdkmgr_val_list_era_id"};
constexpr standin::key k_name_keys[] = {"", VELOX_VAL_GENRE, VELOX_VAL_MOOD, VELOX_VAL_ERA};

/** Identifiers that the catalogue made up itself begin so; others came with the music. */
bool is_external(std::string_view id) { return id.substr(0, 2) != "vc" || id.size() != 20; }

}  // namespace

const attribute_info& attributes::at(int64_t id) {
  const auto [place, fresh] = known_.try_emplace(id);
  attribute_info& info = place->second;
  if (!fresh) return info;
  if (id != k_everything) {
    statement row = db_.prepared("SELECT kind, name FROM attribute WHERE id=?");
    if (!row.bind(id).step()) return info;
    info.kind = static_cast<int>(row.integer(0));
    info.name = row.text(1);
  }
  statement level = db_.prepared("SELECT level, tracks FROM attribute_level WHERE attribute=?");
  level.bind(id);
  while (level.step()) {
    if (const int64_t at = level.integer(0); at >= 0 && at < k_levels) info.levels[at] = level.integer(1);
    info.tracks += level.integer(1);
  }
  return info;
}

int64_t attributes::find(attribute_kind kind, std::string_view name) {
  statement row = db_.prepared("SELECT id FROM attribute WHERE kind=? AND name_key=?");
  return row.bind(static_cast<int>(kind), key(name)).step() ? row.integer(0) : 0;
}

void attributes::refresh() {
  statement row = db_.prepared("PRAGMA data_version");
  const int64_t version = row.step() ? row.integer(0) : -1;
  // The connection's own writes don't change the number: a writing connection keeps nothing.
  if (version != version_ || db_.writable()) known_.clear();
  version_ = version;
}

const object_maker::made_artist& object_maker::artist_of(int64_t id) {
  const auto [place, fresh] = artists_.try_emplace(id);
  made_artist& made = place->second;
  if (!fresh) return made;
  {
    statement row = db_.prepared("SELECT uid, name FROM artist WHERE id=?");
    if (row.bind(id).step()) made.uid = row.text(0), made.name = row.text(1);
  }
  // The genre and the era of most of its tracks stand for the artist.
  int64_t best[4] = {}, tracks[4] = {};
  statement row = db_.prepared("SELECT attribute, tracks FROM artist_attribute WHERE artist=?");
  row.bind(id);
  while (row.step()) {
    const int kind = attrs_.at(row.integer(0)).kind;
    if (row.integer(1) > tracks[kind]) tracks[kind] = row.integer(1), best[kind] = row.integer(0);
  }
  const auto fill = [&](standin::mdo_builder& to) {
    to.value("_sdkmgr_val_artist_id", made.uid);
    for (const int kind : {k_genre, k_era}) {
      if (best[kind] != 0) to.value(k_id_keys[kind], best[kind]);
    }
    to.child("velox_ctx_name!off",
             standin::mdo_builder("velox_ctx_name", 64).value("velox_val_display", made.name).finish());
  };
  made.genre = best[k_genre];
  standin::mdo_builder contributor("velox_ctx_contributor", 128);
  fill(contributor);
  standin::mdo_builder whole("velox_ctx_artist", 128);
  fill(whole);
  whole.value(VELOX_VAL_ARTIST, made.name).child("velox_ctx_contributor!", contributor.finish());
  if (xids_ && is_external(made.uid)) whole.value(VELOX_VAL_XID, made.uid);
  made.whole = whole.finish();
  return made;
}

standin::mdo_ref object_maker::artist(int64_t id) {
  velox_mdo_handle shared = artist_of(id).whole.get();
  velox_standin_mdo_addref(shared);
  return standin::mdo_ref(shared);
}

standin::mdo_ref object_maker::track(int64_t id, const reason* why) {
  statement row = db_.prepared(
      "SELECT track.artist_id, popularity, year, attrs, duration, tag, tui, track.title, credit, path, album.title "
      "FROM "
      "track "
      "LEFT JOIN album ON album.id=album_id WHERE track.id=?");
  standin::mdo_builder made("velox_ctx_track", 512);
  if (!row.bind(id).step()) return made.finish();
  const made_artist& artist = artist_of(row.integer(0));
  const std::string_view title = row.text(7), credit = row.text(8), tui = row.text(6);
  made.value("velox_val_tui", tui)
      .value("velox_val_tui_tag", hex(static_cast<uint64_t>(row.integer(5)), 8))
      .value("_sdkmgr_val_artist_id", artist.uid);
  each_attribute(row.text(3), [&](int64_t each) {
    const attribute_info& info = attrs_.at(each);
    if (info.kind != 0) made.value(k_id_keys[info.kind], each).value(k_name_keys[info.kind], info.name);
  });
  made.value(VELOX_VAL_TITLE, title).value(VELOX_VAL_ARTIST, credit.empty() ? std::string_view(artist.name) : credit);
  if (!row.text(10).empty()) made.value(VELOX_VAL_ALBUM, row.text(10));
  if (row.integer(2) > 0) made.value(VELOX_VAL_YEAR, row.integer(2));
  if (row.integer(4) > 0) made.value(VELOX_VAL_DURATION, row.integer(4));
  made.value(VELOX_VAL_POPULARITY, row.integer(1));
  if (!row.text(9).empty()) made.value(VELOX_VAL_LOCATION, row.text(9));
  if (xids_ && is_external(tui)) made.value(VELOX_VAL_XID, tui);
  if (why) {
    made.value(VELOX_VAL_REASON, why->sentence)
        .value(VELOX_VAL_REASON_KIND, why->kind)
        .value(VELOX_VAL_SCORE, why->score);
    if (why->seed != 0) made.value(VELOX_VAL_REASON_SEED, why->seed);
  }
  made.child("velox_ctx_artist!", artist.whole)
      .child("velox_ctx_title!off",
             standin::mdo_builder("velox_ctx_title", 64).value("velox_val_display", title).finish());
  return made.finish();
}

void object_maker::frame(standin::mdo_builder& album, std::string_view title, int64_t artist_id) {
  const made_artist& artist = artist_of(artist_id);
  album.value(VELOX_VAL_TITLE, title).value(VELOX_VAL_ARTIST, artist.name).value("_sdkmgr_val_artist_id", artist.uid);
  if (artist.genre != 0) album.value(k_id_keys[k_genre], artist.genre);
  album.child("velox_ctx_artist!", artist.whole)
      .child("velox_ctx_title!off",
             standin::mdo_builder("velox_ctx_title", 64).value("velox_val_display", title).finish());
}

standin::mdo_ref object_maker::album(int64_t id, int64_t matching) {
  standin::mdo_builder made("velox_ctx_album");
  statement row = db_.prepared("SELECT title, artist_id FROM album WHERE id=?");
  if (!row.bind(id).step()) return made.finish();
  frame(made, row.text(0), row.integer(1));
  statement tracks = db_.prepared("SELECT id FROM track WHERE album_id=? ORDER BY number, id LIMIT ?");
  tracks.bind(id, k_tracks_of_album);
  while (tracks.step()) made.child("velox_ctx_track!", track(tracks.integer(0)));
  if (matching != 0) made.child("velox_ctx_track!matching", track(matching));
  return made.finish();
}

standin::mdo_ref object_maker::album_of(int64_t id, const std::vector<told_track>& tracks) {
  standin::mdo_builder made("velox_ctx_album");
  {
    statement row = db_.prepared(id != 0 ? "SELECT title, artist_id FROM album WHERE id=?"
                                         : "SELECT title, artist_id FROM track WHERE id=?");
    if (row.bind(id != 0 ? id : tracks.front().id).step()) frame(made, row.text(0), row.integer(1));
  }
  for (const told_track& each : tracks) made.child("velox_ctx_track!", track(each.id, each.why));
  return made.finish();
}

standin::mdo_ref object_maker::lone_album(int64_t id) {
  standin::mdo_builder made("velox_ctx_album");
  statement row = db_.prepared("SELECT title, artist_id FROM track WHERE id=?");
  if (!row.bind(id).step()) return made.finish();
  frame(made, row.text(0), row.integer(1));
  const standin::mdo_ref only = track(id);
  return made.child("velox_ctx_track!", only).child("velox_ctx_track!matching", only).finish();
}

standin::mdo_ref object_maker::artist_as_album(int64_t id) {
  standin::mdo_builder made("velox_ctx_album");
  frame(made, artist_of(id).name, id);
  return made.finish();
}

}  // namespace velox::catalog
