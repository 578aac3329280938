// The rows of stations. An event is a row, a count of its station, and a change of what is summed up under its subject; all
// in the transaction of the request that told it.
#include "store/sqlite/stations.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "model/text.h"

namespace velox::catalog {
namespace {

/* What digests are of: the same identifier stands for different things in different kinds. */
enum digest_kind : uint64_t { k_of_artist = 1, k_of_song, k_of_tui, k_of_album };

int64_t digest(digest_kind kind, std::string_view identifier, int64_t name_key = 0) {
  const auto made =
      static_cast<int64_t>(hashed(identifier, kind * 0x9e3779b97f4a7c15u + static_cast<uint64_t>(name_key)));
  return made != 0 ? made : 1;
}

/* The columns that an identity is made from, and where they come from. */
#define IDENTITY_COLUMNS "artist.uid, track.title_key, tui, owner.uid, album.title_key"
#define IDENTITY_TABLES                                                                  \
  "track JOIN artist ON artist.id=track.artist_id LEFT JOIN album ON album.id=album_id " \
  "LEFT JOIN artist owner ON owner.id=album.artist_id"

identity identity_in(const statement& row) {
  identity made;
  made.artist = digest(k_of_artist, row.text(0));
  made.song = digest(k_of_song, row.text(0), row.integer(1));
  made.other_song = digest(k_of_tui, row.text(2));
  if (!row.text(3).empty()) {
    made.album_artist = digest(k_of_artist, row.text(3));
    made.album = digest(k_of_album, row.text(3), row.integer(4));
  }
  return made;
}

}  // namespace

std::string fresh_uid() {
  uint64_t chance[2];
  if (getrandom(chance, sizeof chance, 0) != sizeof chance)
    throw failure{VELOX_STANDIN_ERR_CATALOG, std::string("no random number for a station: ") + std::strerror(errno)};
  return "vcs-" + hex(chance[0]) + hex(chance[1], 8);
}

int event_kind_of(std::string_view name) {
  const auto found = std::find(std::begin(k_event_names) + 1, std::end(k_event_names), name);
  return found == std::end(k_event_names) ? 0 : static_cast<int>(found - std::begin(k_event_names));
}

identity identity_of(database& db, int64_t track) {
  statement row = db.prepared("SELECT " IDENTITY_COLUMNS " FROM " IDENTITY_TABLES " WHERE track.id=?");
  return row.bind(track).step() ? identity_in(row) : identity();
}

std::optional<station> station_store::find(std::string_view uid) {
  station found;
  {
    statement row = db_.prepared("SELECT id, name, played+skipped FROM station WHERE uid=?");
    if (!row.bind(uid).step()) return std::nullopt;
    found.id = row.integer(0);
    found.uid = uid;
    found.name = row.text(1);
    found.heard = row.integer(2);
  }
  statement datum = db_.prepared("SELECT key, value, ordinal FROM station_datum WHERE station=? ORDER BY place");
  datum.bind(found.id);
  while (datum.step())
    found.data.push_back(
        {std::string(datum.text(0)), std::string(datum.text(1)), static_cast<uint32_t>(datum.integer(2))});
  statement setting = db_.prepared("SELECT key, value FROM station_setting WHERE station=?");
  setting.bind(found.id);
  while (setting.step()) found.settings.emplace(setting.text(0), setting.text(1));
  return found;
}

void station_store::create(station& made, int64_t now) {
  db_.prepared("INSERT INTO station(uid, name, created, used) VALUES (?1, ?2, ?3, ?3)")
      .bind(std::string_view(made.uid), std::string_view(made.name), now)
      .run();
  made.id = sqlite3_last_insert_rowid(db_.raw());
  statement put = db_.prepared("INSERT INTO station_datum(station, place, key, value, ordinal) VALUES (?, ?, ?, ?, ?)");
  for (size_t place = 0; place < made.data.size(); ++place) {
    const station_datum& each = made.data[place];
    put.bind(made.id, place, std::string_view(each.key), std::string_view(each.value), each.ordinal).run();
  }
  set(made);
}

void station_store::set(const station& of) {
  statement put = db_.prepared("INSERT OR REPLACE INTO station_setting(station, key, value) VALUES (?, ?, ?)");
  for (const auto& [key, value] : of.settings) put.bind(of.id, std::string_view(key), std::string_view(value)).run();
}

void station_store::add(station& to, const told_event& event, int64_t now) {
  const bool of_track = event.kind <= k_track_dislike;
  identity who;
  std::string title, artist;
  if (of_track) {
    who.song = digest(k_of_tui, event.subject);  // for one that isn't in the catalogue: it may come back
    statement row =
        db_.prepared("SELECT " IDENTITY_COLUMNS ", track.title, ifnull(credit, artist.name) FROM " IDENTITY_TABLES
                     " WHERE tui=? ORDER BY tag<>?, track.id LIMIT 1");
    const auto tag = static_cast<int64_t>(std::strtoull(event.tag.c_str(), nullptr, 16));
    if (row.bind(std::string_view(event.subject), tag).step())
      who = identity_in(row), title = row.text(5), artist = row.text(6);
  } else {
    who.artist = digest(k_of_artist, event.subject);
    statement row = db_.prepared("SELECT name FROM artist WHERE uid=?");
    if (row.bind(std::string_view(event.subject)).step()) artist = row.text(0);
  }
  if (event.kind <= k_skipped) ++to.heard;
  db_.prepared(
         "INSERT INTO station_event(station, time, kind, subject, tag, title, artist, artist_key, album_key) "
         "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(to.id, now, event.kind, std::string_view(event.subject), std::string_view(event.tag),
            std::string_view(title), std::string_view(artist), who.artist, who.album)
      .run();
  const int64_t row = sqlite3_last_insert_rowid(db_.raw());
  db_.prepared(
         "UPDATE station SET used=?2, played=played+(?3=1), skipped=skipped+(?3=2), liked=liked+(?3 IN (3, 5)), "
         "disliked=disliked+(?3 IN (4, 6)) WHERE id=?1")
      .bind(to.id, now, event.kind)
      .run();
  sum_up(to.id, of_track ? who.song : who.artist, event.kind, row, to.heard);
}

/** The last of like and dislike counts. What is liked is no longer held to have been skipped. */
void station_store::sum_up(int64_t station, int64_t subject, int kind, int64_t event, int64_t heard) {
  db_.prepared("INSERT OR IGNORE INTO station_verdict(station, subject) VALUES (?, ?)").bind(station, subject).run();
  if (kind <= k_skipped) {
    db_.prepared("UPDATE station_verdict SET last=?3, skips=skips+?4 WHERE station=?1 AND subject=?2")
        .bind(station, subject, heard, kind == k_skipped ? 1 : 0)
        .run();
    return;
  }
  const bool like = kind == k_track_like || kind == k_artist_like;
  db_.prepared(
         "UPDATE station_verdict SET banned=?3, liked=nullif(?4, 0), skips=skips*?3 WHERE station=?1 AND subject=?2")
      .bind(station, subject, like ? 0 : 1, like ? event : 0)
      .run();
}

void station_store::rename(int64_t id, const std::string& name) {
  db_.prepared("UPDATE station SET name=? WHERE id=?").bind(std::string_view(name), id).run();
}

void station_store::remove(int64_t id) {
  for (const char* sql : {"DELETE FROM station_event WHERE station=?", "DELETE FROM station_verdict WHERE station=?",
                          "DELETE FROM station_setting WHERE station=?", "DELETE FROM station_datum WHERE station=?",
                          "DELETE FROM station WHERE id=?"})
    db_.prepared(sql).bind(id).run();
}

verdict station_store::judge(int64_t station, const identity& track) {
  verdict made;
  statement row =
      db_.prepared("SELECT banned, skips, last FROM station_verdict WHERE station=? AND subject IN (?, ?, ?, ?)");
  row.bind(station, track.song, track.other_song, track.artist, track.album_artist);
  while (row.step()) {
    made.banned = made.banned || row.integer(0) != 0;
    made.skips = std::max(made.skips, row.integer(1));
    made.last = std::max(made.last, row.integer(2));
  }
  return made;
}

std::vector<heard_track> station_store::heard(int64_t station, size_t least, int64_t since) {
  std::vector<heard_track> tracks;
  statement row = db_.prepared(
      "SELECT artist_key, album_key, time FROM station_event WHERE station=? AND kind<=2 ORDER BY id DESC");
  row.bind(station);
  while (row.step() && (tracks.size() < least || row.integer(2) >= since))
    tracks.push_back({row.integer(0), row.integer(1), row.integer(2)});
  return tracks;
}

std::vector<told_event> station_store::liked(int64_t station, int64_t most) {
  std::vector<told_event> events;
  statement row = db_.prepared(
      "SELECT kind, event.subject, tag FROM station_verdict verdict JOIN station_event event ON event.id=liked "
      "WHERE verdict.station=? AND liked IS NOT NULL ORDER BY liked DESC LIMIT ?");
  row.bind(station, most);
  while (row.step())
    events.push_back({static_cast<int>(row.integer(0)), std::string(row.text(1)), std::string(row.text(2))});
  return events;
}

}  // namespace velox::catalog
