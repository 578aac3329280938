// Changes of a batch, in its order; counts are gathered in memory and written at its end.
#include "store/sqlite/writer.h"

#include <algorithm>

#include "model/identity.h"
#include "model/text.h"
#include "store/sqlite/attributes_text.h"
#include "store/sqlite/sqlite_store.h"

namespace velox::catalog::sqlite {

void writer::apply(std::span<const change> batch) {
  db_.execute("BEGIN IMMEDIATE");
  try {
    for (const change& each : batch) apply_one(each);
    flush_counts();
    db_.execute("COMMIT");
  } catch (...) {
    db_.roll_back();
    forget();
    throw;
  }
  forget();
}

void writer::apply_one(const change& what) {
  int64_t put_here = 0;
  switch (what.of) {
    case change::put_track:
      put_here = put(what.what, number_of(what.id));
      break;
    case change::remove_track:
      retire_sound(db_, what.id);
      remove(what.id);
      break;
    case change::put_duplicate:
      put_duplicate(what.what, number_of(what.id));
      break;
    case change::remove_duplicate:
      db_.prepared("DELETE FROM duplicate WHERE id=?").bind(what.id).run();
      break;
    case change::hand_duplicates:
      db_.prepared("UPDATE duplicate SET track=? WHERE track=?").bind(number_of(what.to), number_of(what.id)).run();
  }
  put_.push_back(put_here);
}

/** The number of a track, also of one that this batch has put. */
int64_t writer::number_of(int64_t named) const { return named >= 0 ? named : put_.at(static_cast<size_t>(-1 - named)); }

/** What must not outlive the batch: another writer may drop an artist or album, and a batch that failed has put nothing. */
void writer::forget() {
  put_.clear(), artists_.clear(), albums_.clear(), attributes_.clear();
  artist_counts_.clear(), album_counts_.clear(), source_counts_.clear(), level_counts_.clear(), profile_counts_.clear();
  chart_counts_.clear(), genres_.clear();
  total_tracks_ = total_albums_ = total_artists_ = 0;
}

// ---- Names --------------------------------------------------------------------------------------------------------------------

int64_t writer::artist(const std::string& name, const std::string& uid) {
  const std::string known = uid.empty() ? folded(name) : "\n" + uid;
  if (const auto it = artists_.find(known); it != artists_.end()) return it->second;
  int64_t id = 0;
  if (!uid.empty()) {
    statement find = db_.prepared("SELECT id FROM artist WHERE uid=?");
    if (find.bind(std::string_view(uid)).step()) id = find.integer(0);
  }
  const int64_t name_key = key(name);
  const std::string derived = derived_artist_uid(name_key);
  if (id == 0) {
    // By name: any of it when no identifier is given, else the one that has none yet and takes it now.
    statement find = db_.prepared("SELECT id FROM artist WHERE name_key=?1 AND (?2='' OR uid=?3) ORDER BY id LIMIT 1");
    if (find.bind(name_key, std::string_view(uid), std::string_view(derived)).step()) id = find.integer(0);
    if (id != 0 && !uid.empty())
      db_.prepared("UPDATE artist SET uid=? WHERE id=?").bind(std::string_view(uid), id).run();
  }
  if (id == 0) {
    statement add = db_.prepared("INSERT INTO artist(uid, name, name_key, tracks) VALUES (?, ?, ?, 0)");
    add.bind(std::string_view(uid.empty() ? derived : uid), std::string_view(name), name_key).run();
    id = db_.last_row();
    db_.prepared("INSERT INTO artist_words(rowid, name, by) VALUES (?, ?, '')")
        .bind(id, std::string_view(folded(name)))
        .run();
    ++total_artists_;
    artist_counts_[id] += 0;
  }
  return artists_[known] = id;
}

int64_t writer::album(const song& track, int64_t track_artist) {
  if (track.album.empty()) return 0;
  const bool other = !track.album_artist.empty() && track.album_artist != track.artist;
  const int64_t owner = other ? artist(leading_artist(track.album_artist), {}) : track_artist;
  const int64_t title_key = key(track.album);
  int64_t& id = albums_[{title_key, owner}];
  if (id != 0) return id;
  statement find = db_.prepared("SELECT id FROM album WHERE title_key=? AND artist_id=?");
  if (find.bind(title_key, owner).step()) return id = find.integer(0);
  statement add = db_.prepared("INSERT INTO album(artist_id, title, title_key, tracks) VALUES (?, ?, ?, 0)");
  add.bind(owner, std::string_view(track.album), title_key).run();
  id = db_.last_row();
  const std::string by = folded(name_of(owner));
  db_.prepared("INSERT INTO album_words(rowid, name, by) VALUES (?, ?, ?)")
      .bind(id, std::string_view(folded(track.album)), std::string_view(by))
      .run();
  ++total_albums_;
  album_counts_[id] += 0;
  artist_counts_[owner] += 0;
  return id;
}

std::string writer::name_of(int64_t artist) {
  statement row = db_.prepared("SELECT name FROM artist WHERE id=?");
  return std::string(row.bind(artist).step() ? row.text(0) : std::string_view());
}

int64_t writer::attribute(attribute_kind kind, const std::string& name) {
  const int64_t name_key = key(name);
  int64_t& id = attributes_[{kind, name_key}];
  if (id != 0) return id;
  statement find = db_.prepared("SELECT id FROM attribute WHERE kind=? AND name_key=?");
  if (find.bind(static_cast<int>(kind), name_key).step()) return id = find.integer(0);
  db_.prepared("INSERT INTO attribute(kind, name_key, name) VALUES (?, ?, ?)")
      .bind(static_cast<int>(kind), name_key, std::string_view(name))
      .run();
  return id = db_.last_row();
}

/** Genres first, the leading one in front, then moods and the era; each once. */
std::vector<int64_t> writer::attributes_of(const song& track) {
  std::vector<int64_t> ids;
  const auto add = [&](attribute_kind kind, const std::string& name) {
    const int64_t id = attribute(kind, name);
    if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
  };
  for (size_t i = 0; i < std::min(track.genres.size(), k_attributes_per_kind); ++i) add(k_genre, track.genres[i]);
  for (size_t i = 0; i < std::min(track.moods.size(), k_attributes_per_kind); ++i) add(k_mood, track.moods[i]);
  if (track.year > 0) add(k_era, std::to_string(track.year / 10 * 10) + "s");
  return ids;
}

// ---- Tracks -------------------------------------------------------------------------------------------------------------------

/** The first of a track's attributes, if it is a genre; else 0. */
int64_t writer::leading_genre(std::span<const int64_t> attributes) {
  if (attributes.empty()) return 0;
  const int64_t id = attributes.front();
  const auto [place, fresh] = genres_.try_emplace(id);
  if (fresh) {
    statement row = db_.prepared("SELECT kind FROM attribute WHERE id=?");
    place->second = row.bind(id).step() && row.integer(0) == k_genre;
  }
  return place->second ? id : 0;
}

void writer::count(const counted& of, int64_t amount) {
  artist_counts_[of.artist] += amount;
  if (of.album != 0) album_counts_[of.album] += amount;
  if (of.source != 0) source_counts_[of.source] += amount;
  total_tracks_ += amount;
  const int level = level_of(of.popularity);
  level_counts_[{k_everything, level}] += amount;
  for (const int64_t id : of.attributes) {
    level_counts_[{id, level}] += amount;
    profile_counts_[{of.artist, id}] += amount;
  }
  chart_counts_[{leading_genre(of.attributes), of.year / 10 * 10}] += amount;
}

/** The track of an audio file; 0: none. */
int64_t writer::track_at(const std::string& path) {
  statement row = db_.prepared("SELECT id FROM track WHERE path=? AND source=0 LIMIT 1");
  return row.bind(std::string_view(path)).step() ? row.integer(0) : 0;
}

/** Makes way for a track of an audio file, since another scan of the same folder may have been first: a path is one track's or
 *  one duplicate's. Gives the track to replace. */
int64_t writer::clear_path(const std::string& path, int64_t replaced) {
  db_.prepared("DELETE FROM duplicate WHERE path=?").bind(std::string_view(path)).run();
  return replaced != 0 ? replaced : track_at(path);
}

int64_t writer::put(const song& track, int64_t replaced) {
  if (track.source == 0) replaced = clear_path(track.path, replaced);
  if (replaced != 0) remove(replaced);
  const int64_t artist_id = artist(leading_artist(track.artist), track.artist_id);
  const int64_t album_id = album(track, artist_id);
  const std::vector<int64_t> ids = attributes_of(track);
  const std::string attrs = attributes_text(ids), name = name_of(artist_id);
  const std::string tui = track.tui.empty() ? derived_tui(track) : track.tui;
  const bool credited = track.artist != name;
  const auto optional = [](const std::string& text, bool there) {
    return there ? std::string_view(text) : std::string_view(nullptr, 0);
  };
  statement insert = db_.prepared(
      "INSERT INTO track(id, artist_id, album_id, popularity, year, attrs, title_key, source, size, stamp, number, "
      "duration, tag, tui, title, credit, path, digest) "
      "VALUES (nullif(?,0), ?, nullif(?,0), ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(replaced, artist_id, album_id, track.popularity, track.year, std::string_view(attrs), key(track.title),
              track.source, track.size, track.stamp, track.number, track.duration, tag_of(track), std::string_view(tui),
              std::string_view(track.title), optional(track.artist, credited),
              optional(track.path, !track.path.empty()), track.digest);
  insert.run();
  const int64_t id = replaced != 0 ? replaced : db_.last_row();
  const std::string title_words = folded(track.title), by_words = folded(credited ? track.artist : name);
  db_.prepared("INSERT INTO track_words(rowid, name, by) VALUES (?, ?, ?)")
      .bind(id, std::string_view(title_words), std::string_view(by_words))
      .run();
  statement place = db_.prepared("INSERT INTO track_attribute(attribute, level, track) VALUES (?, ?, ?)");
  const int level = level_of(track.popularity);
  place.bind(k_everything, level, id).run();
  for (const int64_t each : ids) place.bind(each, level, id).run();
  count({artist_id, album_id, track.source, track.popularity, track.year, ids}, 1);
  if (replaced != 0) retire_changed_sound(db_, id);
  return id;
}

void writer::remove(int64_t id) {
  statement row = db_.prepared(
      "SELECT artist_id, ifnull(album_id, 0), source, popularity, title, ifnull(credit, name), attrs, year FROM track "
      "JOIN artist ON artist.id=artist_id WHERE track.id=?");
  if (!row.bind(id).step()) return;
  std::vector<int64_t> ids;
  each_attribute(row, 6, [&](int64_t each) { ids.push_back(each); });
  const int64_t popularity = row.within(3, 0, k_most_popular);
  const int level = level_of(popularity);
  count({row.integer(0), row.integer(1), row.integer(2), popularity, row.integer(7), ids}, -1);
  statement drop = db_.prepared("DELETE FROM track_attribute WHERE attribute=? AND level=? AND track=?");
  drop.bind(k_everything, level, id).run();
  for (const int64_t each : ids) drop.bind(each, level, id).run();
  const std::string title_words = folded(row.text(4)), by_words = folded(row.text(5));
  db_.prepared("INSERT INTO track_words(track_words, rowid, name, by) VALUES ('delete', ?, ?, ?)")
      .bind(id, std::string_view(title_words), std::string_view(by_words))
      .run();
  db_.prepared("DELETE FROM track WHERE id=?").bind(id).run();
}

void writer::put_duplicate(const song& file, int64_t track) {
  if (track_at(file.path) != 0) return;
  db_.prepared("INSERT OR REPLACE INTO duplicate(path, size, stamp, track) VALUES (?, ?, ?, ?)")
      .bind(std::string_view(file.path), file.size, file.stamp, track)
      .run();
}

// ---- Counts -------------------------------------------------------------------------------------------------------------------

void writer::drop_artist(int64_t id) {
  const std::string name = folded(name_of(id));
  db_.prepared("INSERT INTO artist_words(artist_words, rowid, name, by) VALUES ('delete', ?, ?, '')")
      .bind(id, std::string_view(name))
      .run();
  db_.prepared("DELETE FROM artist WHERE id=?").bind(id).run();
  --total_artists_;
}

void writer::drop_album(int64_t id, const std::string& title, int64_t artist) {
  const std::string name = folded(title), by = folded(name_of(artist));
  db_.prepared("INSERT INTO album_words(album_words, rowid, name, by) VALUES ('delete', ?, ?, ?)")
      .bind(id, std::string_view(name), std::string_view(by))
      .run();
  db_.prepared("DELETE FROM album WHERE id=?").bind(id).run();
  --total_albums_;
}

/** Writes the counts, and drops albums, then artists, that nothing names any more. Attributes stay: their numbers are
 *  promised to be stable. */
void writer::flush_counts() {
  flush_albums();
  flush_artists();
  for (const auto& [id, amount] : source_counts_)
    db_.prepared("UPDATE source SET tracks=tracks+? WHERE id=?").bind(amount, id).run();
  flush_attributes();
  for (const auto& [where, amount] : chart_counts_)
    db_.prepared("INSERT INTO chart VALUES (?1, ?2, ?3) ON CONFLICT DO UPDATE SET tracks=tracks+?3")
        .bind(where.first, where.second, amount)
        .run();
  const std::pair<std::string_view, int64_t> totals[] = {
      {"tracks", total_tracks_}, {"albums", total_albums_}, {"artists", total_artists_}};
  for (const auto& [name, amount] : totals)
    db_.prepared("UPDATE total SET amount=amount+? WHERE name=?").bind(amount, name).run();
}

void writer::flush_albums() {
  std::vector<std::tuple<int64_t, int64_t, std::string>> dropped;
  for (const auto& [id, amount] : album_counts_) {
    statement update = db_.prepared("UPDATE album SET tracks=tracks+? WHERE id=? RETURNING tracks, artist_id, title");
    if (!update.bind(amount, id).step() || update.count(0) != 0) continue;
    artist_counts_[update.integer(1)] += 0;
    dropped.emplace_back(id, update.integer(1), update.text(2));
  }
  for (const auto& [id, owner, title] : dropped) drop_album(id, title, owner);
}

void writer::flush_artists() {
  for (const auto& [id, amount] : artist_counts_) {
    bool unused = false;
    {
      statement update = db_.prepared("UPDATE artist SET tracks=tracks+? WHERE id=? RETURNING tracks");
      unused = update.bind(amount, id).step() && update.count(0) == 0;
    }
    if (!unused) continue;
    statement albums = db_.prepared("SELECT 1 FROM album WHERE artist_id=? LIMIT 1");
    unused = !albums.bind(id).step();
    if (unused) drop_artist(id);
  }
}

void writer::flush_attributes() {
  for (const auto& [where, amount] : level_counts_)
    db_.prepared("INSERT INTO attribute_level VALUES (?1, ?2, ?3) ON CONFLICT DO UPDATE SET tracks=tracks+?3")
        .bind(where.first, where.second, amount)
        .run();
  for (const auto& [where, amount] : profile_counts_) {
    if (amount == 0) continue;
    bool unused = false;
    {
      statement put = db_.prepared(
          "INSERT INTO artist_attribute VALUES (?1, ?2, ?3) ON CONFLICT DO UPDATE SET tracks=tracks+?3 "
          "RETURNING tracks");
      unused = put.bind(where.first, where.second, amount).step() && put.count(0) == 0;
    }
    if (unused)
      db_.prepared("DELETE FROM artist_attribute WHERE artist=? AND attribute=?").bind(where.first, where.second).run();
  }
}

}  // namespace velox::catalog::sqlite
