// Stations: what each was made from, its settings, every event, and sums of the events by song and artist, so that no history
// is ever read whole. An event is a row, a count of its station, and a change of what is summed up under its subject; all in
// the transaction of the request that told it.
#include <algorithm>
#include <unordered_set>

#include "model/identity.h"
#include "store/sqlite/sqlite_store.h"

namespace velox::catalog::sqlite {
namespace {

constexpr int64_t k_events_that_avoid = 100; /* the latest of a station, in which skips and dislikes are looked for */
constexpr size_t k_most_avoided = 12;
constexpr float k_weight_of_skip = 0.4f; /* against a dislike */

/* The columns that an identity is made from, and where they come from. */
#define IDENTITY_COLUMNS "artist.uid, track.title_key, tui, owner.uid, album.title_key"
#define IDENTITY_TABLES                                                                  \
  "track JOIN artist ON artist.id=track.artist_id LEFT JOIN album ON album.id=album_id " \
  "LEFT JOIN artist owner ON owner.id=album.artist_id"

identity identity_in(const statement& row) {
  return identity_of(row.text(0), row.integer(1), row.text(2), row.text(3), row.integer(4));
}

event_kind kind_in(const statement& row, int column) {
  return static_cast<event_kind>(row.within(column, k_played, k_artist_dislike));
}

void keep_settings(connection& db, int64_t station, const std::map<std::string, std::string>& settings) {
  statement put = db.prepared("INSERT OR REPLACE INTO station_setting(station, key, value) VALUES (?, ?, ?)");
  for (const auto& [key, value] : settings) put.bind(station, std::string_view(key), std::string_view(value)).run();
}

/** What an event is about, as the catalogue has it now. */
struct event_subject {
  int64_t key = 0; /* the song's identity or the artist's */
  identity who;
  std::string title, artist;
};

event_subject subject_of(connection& db, const told_event& event) {
  event_subject found;
  if (!is_of_track(event.kind)) {
    found.key = found.who.artist = identity_of_artist(event.subject);
    statement row = db.prepared("SELECT name FROM artist WHERE uid=?");
    if (row.bind(std::string_view(event.subject)).step()) found.artist = row.text(0);
    return found;
  }
  found.who.song = identity_of_tui(event.subject);  // for one that isn't in the catalogue: it may come back
  statement row =
      db.prepared("SELECT " IDENTITY_COLUMNS ", track.title, ifnull(credit, artist.name) FROM " IDENTITY_TABLES
                  " WHERE tui=? ORDER BY tag<>?, track.id LIMIT 1");
  if (row.bind(std::string_view(event.subject), static_cast<int64_t>(parse_tag(event.tag))).step())
    found.who = identity_in(row), found.title = row.text(5), found.artist = row.text(6);
  found.key = found.who.song;
  return found;
}

/** The last of like and dislike counts. What is liked is no longer held to have been skipped. */
void sum_up(connection& db, int64_t station, int64_t subject, event_kind kind, int64_t event, int64_t heard) {
  db.prepared("INSERT OR IGNORE INTO station_verdict(station, subject) VALUES (?, ?)").bind(station, subject).run();
  if (is_heard(kind)) {
    db.prepared("UPDATE station_verdict SET last=?3, skips=skips+?4 WHERE station=?1 AND subject=?2")
        .bind(station, subject, heard, kind == k_skipped ? 1 : 0)
        .run();
    return;
  }
  db.prepared(
        "UPDATE station_verdict SET banned=?3, liked=nullif(?4, 0), skips=skips*?3 WHERE station=?1 AND subject=?2")
      .bind(station, subject, is_like(kind) ? 0 : 1, is_like(kind) ? event : 0)
      .run();
}

void tell(connection& db, station& to, const told_event& event, int64_t now) {
  const event_subject about = subject_of(db, event);
  if (is_heard(event.kind)) ++to.heard;
  db.prepared(
        "INSERT INTO station_event(station, time, kind, subject, tag, title, artist, artist_key, album_key) "
        "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(to.id, now, static_cast<int>(event.kind), std::string_view(event.subject), std::string_view(event.tag),
            std::string_view(about.title), std::string_view(about.artist), about.who.artist, about.who.album)
      .run();
  const int64_t row = db.last_row();
  db.prepared(
        "UPDATE station SET used=?2, played=played+(?3=1), skipped=skipped+(?3=2), liked=liked+(?3 IN (3, 5)), "
        "disliked=disliked+(?3 IN (4, 6)) WHERE id=?1")
      .bind(to.id, now, static_cast<int>(event.kind))
      .run();
  sum_up(db, to.id, about.key, event.kind, row, to.heard);
}

std::optional<station> find_station(connection& db, std::string_view uid) {
  station found;
  {
    statement row = db.prepared("SELECT id, name, played, skipped FROM station WHERE uid=?");
    if (!row.bind(uid).step()) return std::nullopt;
    found.id = row.integer(0);
    found.uid = uid;
    found.name = row.text(1);
    found.heard = row.count(2) + row.count(3);
  }
  statement datum = db.prepared("SELECT key, value, ordinal FROM station_datum WHERE station=? ORDER BY place");
  datum.bind(found.id);
  while (datum.step())
    found.data.push_back({std::string(datum.text(0)), std::string(datum.text(1)),
                          static_cast<uint32_t>(datum.within(2, 0, UINT32_MAX))});
  statement setting = db.prepared("SELECT key, value FROM station_setting WHERE station=?");
  setting.bind(found.id);
  while (setting.step()) found.settings.emplace(setting.text(0), setting.text(1));
  return found;
}

std::vector<told_event> likes_of(connection& db, int64_t station) {
  std::vector<told_event> events;
  statement row = db.prepared(
      "SELECT kind, event.subject, tag FROM station_verdict verdict JOIN station_event event ON event.id=liked "
      "WHERE verdict.station=? AND liked IS NOT NULL ORDER BY liked DESC LIMIT ?");
  row.bind(station, k_likes_that_draw);
  while (row.step()) events.push_back({kind_in(row, 0), std::string(row.text(1)), std::string(row.text(2))});
  return events;
}

/** What was disliked or skipped lately, unless something else happened to it since. */
std::vector<avoided_track> avoided_on(connection& db, int64_t station) {
  std::vector<avoided_track> tracks;
  std::unordered_set<std::string> met;
  statement row =
      db.prepared("SELECT kind, subject, tag FROM station_event WHERE station=? AND kind<=4 ORDER BY id DESC LIMIT ?");
  statement track = db.prepared("SELECT id FROM track WHERE tui=? ORDER BY tag<>?, id LIMIT 1");
  row.bind(station, k_events_that_avoid);
  while (row.step() && tracks.size() < k_most_avoided) {
    const event_kind kind = kind_in(row, 0);
    if (!met.emplace(row.text(1)).second || (kind != k_skipped && kind != k_track_dislike)) continue;
    track.bind(row.text(1), static_cast<int64_t>(parse_tag(row.text(2))));
    if (track.step()) tracks.push_back({track.integer(0), kind == k_skipped ? k_weight_of_skip : 1.0f});
    track.rewind();
  }
  return tracks;
}

/** The latest tracks heard: so many, and more back to a time. */
std::vector<heard_track> heard_on(connection& db, int64_t station, int64_t since) {
  std::vector<heard_track> tracks;
  statement row =
      db.prepared("SELECT artist_key, album_key, time FROM station_event WHERE station=? AND kind<=2 ORDER BY id DESC");
  row.bind(station);
  while (row.step() && (tracks.size() < k_heard_lately || row.integer(2) >= since))
    tracks.push_back({row.integer(0), row.integer(1), row.integer(2)});
  return tracks;
}

/** Reads what a station holds against tracks. */
class verdict_reader {
 public:
  verdict_reader(connection& db, int64_t station)
      : row_(db.prepared("SELECT banned, skips, last FROM station_verdict WHERE station=? AND subject=?")),
        station_(station) {}
  void add_to(memory& of) {
    add(read(of.who.song), of);
    if (of.who.same_tui != of.who.song) add(read(of.who.same_tui), of);
    add(of_artist(of.who.artist), of);
    if (of.who.album_artist != 0 && of.who.album_artist != of.who.artist) add(of_artist(of.who.album_artist), of);
  }

 private:
  struct verdict {
    bool banned = false;
    int64_t skips = 0, last = 0;
  };
  verdict read(int64_t subject) {
    verdict found;
    row_.bind(station_, subject);
    if (row_.step()) found = {row_.integer(0) != 0, row_.count(1), row_.count(2)};
    row_.rewind();
    return found;
  }
  const verdict& of_artist(int64_t artist) {  // of whom there are many tracks
    const auto [place, fresh] = artists_.try_emplace(artist);
    if (fresh) place->second = read(artist);
    return place->second;
  }
  static void add(const verdict& is, memory& to) {
    to.banned = to.banned || is.banned;
    to.skips = std::max(to.skips, is.skips);
    to.last = std::max(to.last, is.last);
  }
  statement row_;
  const int64_t station_;
  std::unordered_map<int64_t, verdict> artists_;
};

std::vector<velox_standin_item> items_of(const station& of) {
  std::vector<velox_standin_item> items;
  for (const station_datum& each : of.data) items.push_back({each.key.c_str(), each.value.c_str(), each.ordinal});
  return items;
}

}  // namespace

void sqlite_store::create(station& made, int64_t now) {
  db_.prepared("INSERT INTO station(uid, name, created, used) VALUES (?1, ?2, ?3, ?3)")
      .bind(std::string_view(made.uid), std::string_view(made.name), now)
      .run();
  made.id = db_.last_row();
  statement put = db_.prepared("INSERT INTO station_datum(station, place, key, value, ordinal) VALUES (?, ?, ?, ?, ?)");
  for (size_t place = 0; place < made.data.size(); ++place) {
    const station_datum& each = made.data[place];
    put.bind(made.id, place, std::string_view(each.key), std::string_view(each.value), each.ordinal).run();
  }
  keep_settings(db_, made.id, made.settings);
}

std::optional<station_opening> sqlite_store::visit(const station_visit& by) {
  std::optional<station> found = find_station(db_, by.uid);
  if (!found) return std::nullopt;
  station_opening opening{.of = std::move(*found), .likes = {}, .avoided = {}, .heard = {}, .from = {}};
  station& of = opening.of;
  for (const auto& [key, value] : by.settings) of.settings[key] = value;
  if (by.keeps_settings) keep_settings(db_, of.id, by.settings);
  for (const told_event& each : by.events) tell(db_, of, each, by.now);

  opening.likes = likes_of(db_, of.id);
  opening.avoided = avoided_on(db_, of.id);
  if (of.heard > 0)
    opening.heard = heard_on(db_, of.id, of.keeps_radio_rule() ? by.now - k_radio_rule_seconds : INT64_MAX);
  const std::vector<velox_standin_item> items = items_of(of);
  references named = references_of(seeds_in(items), of.setting(VELOX_LOOKUP_OPTION_CATALOG_FILTER));
  for (const told_event& each : opening.likes) named.seeds.push_back(reference_of(each));
  opening.from = resolve(named);
  return opening;
}

memories sqlite_store::remember(int64_t station, std::span<const int64_t> tracks) {
  memories made;
  made.reserve(tracks.size());
  statement about = db_.prepared("SELECT " IDENTITY_COLUMNS " FROM " IDENTITY_TABLES " WHERE track.id=?");
  verdict_reader verdicts(db_, station);
  for (const int64_t track : tracks) {
    memory& each = made[track];
    about.bind(track);
    if (about.step()) each.who = identity_in(about);
    about.rewind();
    if (station != 0) verdicts.add_to(each);
  }
  return made;
}

std::vector<station_summary> sqlite_store::stations() {
  std::vector<station_summary> all;
  statement row = db_.prepared(
      "SELECT uid, name, created, used, played, skipped, liked, disliked FROM station ORDER BY used DESC, id DESC");
  const auto number = [&](int column) { return static_cast<uint64_t>(row.count(column)); };
  while (row.step())
    all.push_back({std::string(row.text(0)), std::string(row.text(1)), number(2), number(3), number(4), number(5),
                   number(6), number(7)});
  return all;
}

bool sqlite_store::past_of(std::string_view uid, const std::function<bool(const past_event&)>& each) {
  statement found = db_.prepared("SELECT id FROM station WHERE uid=?");
  if (!found.bind(uid).step()) return false;
  statement row = db_.prepared("SELECT kind, title, artist, time FROM station_event WHERE station=? ORDER BY id");
  row.bind(found.integer(0));
  while (row.step()) {
    if (!each(
            {kind_in(row, 0), std::string(row.text(1)), std::string(row.text(2)), static_cast<uint64_t>(row.count(3))}))
      break;
  }
  return true;
}

bool sqlite_store::rename(std::string_view uid, const std::string& name) {
  statement row = db_.prepared("UPDATE station SET name=? WHERE uid=? RETURNING id");
  return row.bind(std::string_view(name), uid).step();
}

bool sqlite_store::remove(std::string_view uid) {
  int64_t id = 0;
  {
    statement row = db_.prepared("SELECT id FROM station WHERE uid=?");
    if (!row.bind(uid).step()) return false;
    id = row.integer(0);
  }
  for (const char* sql : {"DELETE FROM station_event WHERE station=?", "DELETE FROM station_verdict WHERE station=?",
                          "DELETE FROM station_setting WHERE station=?", "DELETE FROM station_datum WHERE station=?",
                          "DELETE FROM station WHERE id=?"})
    db_.prepared(sql).bind(id).run();
  return true;
}

}  // namespace velox::catalog::sqlite
