// The one road into the catalogue's tables. Counts are gathered in memory and written at the transaction's end, since the
// tracks of one transaction mostly share their artist, album and genres.
#include "store/sqlite/writer.h"

#include <algorithm>

#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr uint32_t k_changes_per_transaction = 50000;
constexpr auto k_transaction_time = std::chrono::seconds(1);
constexpr size_t k_remembered = 200000;
constexpr size_t k_attributes_per_kind = 8;

/** The artist in front of "feat. somebody": guests don't make another artist. */
std::string leading_artist(const std::string& name) {
  std::string lower = name;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  size_t end = name.size();
  for (const char* mark : {" feat. ", " feat ", " ft. ", " featuring ", " (feat. ", " (ft. ", " (featuring "})
    end = std::min(end, lower.find(mark));
  return end == 0 ? name : name.substr(0, end);
}

}  // namespace

void writer::begin() {
  if (running_) return;
  running_.emplace(db_, true);
  began_ = std::chrono::steady_clock::now();
  changes_ = 0;
  // Another writer may have dropped what was remembered between two transactions.
  artists_.clear();
  albums_.clear();
}

bool writer::breathe() {
  if (!running_) return false;
  if (changes_ < k_changes_per_transaction && std::chrono::steady_clock::now() - began_ < k_transaction_time)
    return false;
  commit();
  return true;
}

void writer::commit() {
  if (!running_) return;
  flush_counts();
  running_->commit();
  running_.reset();
}

int64_t writer::source(const std::string& path, bool invented) {
  begin();
  statement put = db_.prepared(
      "INSERT INTO source(path, invented, tracks) VALUES (?1, ?2, 0) "
      "ON CONFLICT(path) DO UPDATE SET invented=?2 RETURNING id");
  put.bind(std::string_view(path), invented ? 1 : 0);
  put.step();
  return put.integer(0);
}

int64_t writer::artist(const std::string& name, const std::string& uid) {
  if (artists_.size() > k_remembered) artists_.clear();
  const std::string known = uid.empty() ? folded(name) : "\n" + uid;
  if (const auto it = artists_.find(known); it != artists_.end()) return it->second;
  int64_t id = 0;
  if (!uid.empty()) {
    statement find = db_.prepared("SELECT id FROM artist WHERE uid=?");
    if (find.bind(std::string_view(uid)).step()) id = find.integer(0);
  }
  const int64_t name_key = key(name);
  const std::string derived = "vca-" + hex(static_cast<uint64_t>(name_key));
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
    id = sqlite3_last_insert_rowid(db_.raw());
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
  if (albums_.size() > k_remembered) albums_.clear();
  int64_t& id = albums_[{title_key, owner}];
  if (id != 0) return id;
  statement find = db_.prepared("SELECT id FROM album WHERE title_key=? AND artist_id=?");
  if (find.bind(title_key, owner).step()) return id = find.integer(0);
  statement add = db_.prepared("INSERT INTO album(artist_id, title, title_key, tracks) VALUES (?, ?, ?, 0)");
  add.bind(owner, std::string_view(track.album), title_key).run();
  id = sqlite3_last_insert_rowid(db_.raw());
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
  return id = sqlite3_last_insert_rowid(db_.raw());
}

void writer::count(int64_t artist, int64_t album, int64_t source, int64_t popularity, std::string_view attrs,
                   int64_t amount) {
  artist_counts_[artist] += amount;
  if (album != 0) album_counts_[album] += amount;
  if (source != 0) source_counts_[source] += amount;
  total_tracks_ += amount;
  const int level = level_of(popularity);
  level_counts_[{k_everything, level}] += amount;
  each_attribute(attrs, [&](int64_t id) {
    level_counts_[{id, level}] += amount;
    profile_counts_[{artist, id}] += amount;
  });
}

int64_t writer::put(const song& track, int64_t replaced) {
  begin();
  if (replaced != 0) remove(replaced);
  ++changes_;
  const std::string leading = leading_artist(track.artist);
  const int64_t artist_id = artist(leading, track.artist_id);
  const int64_t album_id = album(track, artist_id);
  std::string attrs;
  std::vector<int64_t> ids;
  const auto add = [&](attribute_kind kind, const std::string& name) {
    const int64_t id = attribute(kind, name);
    if (std::find(ids.begin(), ids.end(), id) != ids.end()) return;
    ids.push_back(id);
    if (!attrs.empty()) attrs += ' ';
    attrs += std::to_string(id);
  };
  for (size_t i = 0; i < std::min(track.genres.size(), k_attributes_per_kind); ++i) add(k_genre, track.genres[i]);
  for (size_t i = 0; i < std::min(track.moods.size(), k_attributes_per_kind); ++i) add(k_mood, track.moods[i]);
  if (track.year > 0) add(k_era, std::to_string(track.year / 10 * 10) + "s");

  const std::string name = name_of(artist_id);
  const int64_t title_key = key(track.title);
  const std::string tui =
      track.tui.empty()
          ? "vct-" + hex(hashed(folded(leading) + "\n" + folded(track.title) + "\n" + folded(track.album)))
          : track.tui;
  const uint64_t tag = hashed(track.album + "\n" + track.path, static_cast<uint64_t>(title_key)) & 0xffffffffu;
  const bool credited = track.artist != name;
  const auto optional = [](const std::string& text, bool there) {
    return there ? std::string_view(text) : std::string_view(nullptr, 0);
  };
  statement insert = db_.prepared(
      "INSERT INTO track(id, artist_id, album_id, popularity, year, attrs, title_key, source, size, stamp, number, "
      "duration,"
      " tag, tui, title, credit, path, digest) "
      "VALUES (nullif(?,0), ?, nullif(?,0), ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insert.bind(replaced, artist_id, album_id, track.popularity, track.year, std::string_view(attrs), title_key,
              track.source, track.size, track.stamp, track.number, track.duration, tag, std::string_view(tui),
              std::string_view(track.title), optional(track.artist, credited),
              optional(track.path, !track.path.empty()), track.digest);
  insert.run();
  const int64_t id = replaced != 0 ? replaced : sqlite3_last_insert_rowid(db_.raw());
  const std::string title_words = folded(track.title), by_words = folded(credited ? track.artist : name);
  db_.prepared("INSERT INTO track_words(rowid, name, by) VALUES (?, ?, ?)")
      .bind(id, std::string_view(title_words), std::string_view(by_words))
      .run();
  statement place = db_.prepared("INSERT INTO track_attribute(attribute, level, track) VALUES (?, ?, ?)");
  const int level = level_of(track.popularity);
  place.bind(k_everything, level, id).run();
  for (const int64_t each : ids) place.bind(each, level, id).run();
  count(artist_id, album_id, track.source, track.popularity, attrs, 1);
  return id;
}

void writer::remove(int64_t id) {
  begin();
  ++changes_;
  statement row = db_.prepared(
      "SELECT artist_id, ifnull(album_id, 0), source, popularity, attrs, title, ifnull(credit, name) FROM track "
      "JOIN artist ON artist.id=artist_id WHERE track.id=?");
  if (!row.bind(id).step()) return;
  const int64_t popularity = row.integer(3);
  count(row.integer(0), row.integer(1), row.integer(2), popularity, row.text(4), -1);
  statement drop = db_.prepared("DELETE FROM track_attribute WHERE attribute=? AND level=? AND track=?");
  drop.bind(k_everything, level_of(popularity), id).run();
  each_attribute(row.text(4), [&](int64_t each) { drop.bind(each, level_of(popularity), id).run(); });
  const std::string title_words = folded(row.text(5)), by_words = folded(row.text(6));
  db_.prepared("INSERT INTO track_words(track_words, rowid, name, by) VALUES ('delete', ?, ?, ?)")
      .bind(id, std::string_view(title_words), std::string_view(by_words))
      .run();
  db_.prepared("DELETE FROM track WHERE id=?").bind(id).run();
}

void writer::put_duplicate(const song& file, int64_t track) {
  begin();
  ++changes_;
  db_.prepared("INSERT OR REPLACE INTO duplicate(path, size, stamp, track) VALUES (?, ?, ?, ?)")
      .bind(std::string_view(file.path), file.size, file.stamp, track)
      .run();
}

void writer::remove_duplicate(int64_t duplicate) {
  begin();
  ++changes_;
  db_.prepared("DELETE FROM duplicate WHERE id=?").bind(duplicate).run();
}

void writer::hand_duplicates(int64_t from, int64_t to) {
  begin();
  db_.prepared("UPDATE duplicate SET track=? WHERE track=?").bind(to, from).run();
}

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
  std::vector<std::tuple<int64_t, int64_t, std::string>> dropped;
  for (const auto& [id, amount] : album_counts_) {
    statement update = db_.prepared("UPDATE album SET tracks=tracks+? WHERE id=? RETURNING tracks, artist_id, title");
    if (!update.bind(amount, id).step() || update.integer(0) != 0) continue;
    artist_counts_[update.integer(1)] += 0;
    dropped.emplace_back(id, update.integer(1), update.text(2));
  }
  for (const auto& [id, owner, title] : dropped) drop_album(id, title, owner);
  for (const auto& [id, amount] : artist_counts_) {
    bool unused = false;
    {
      statement update = db_.prepared("UPDATE artist SET tracks=tracks+? WHERE id=? RETURNING tracks");
      unused = update.bind(amount, id).step() && update.integer(0) == 0;
    }
    if (!unused) continue;
    statement albums = db_.prepared("SELECT 1 FROM album WHERE artist_id=? LIMIT 1");
    unused = !albums.bind(id).step();
    if (unused) drop_artist(id);
  }
  for (const auto& [id, amount] : source_counts_)
    db_.prepared("UPDATE source SET tracks=tracks+? WHERE id=?").bind(amount, id).run();
  for (const auto& [where, amount] : level_counts_)
    db_.prepared("INSERT INTO attribute_level VALUES (?1, ?2, ?3) ON CONFLICT DO UPDATE SET tracks=tracks+?3")
        .bind(where.first, where.second, amount)
        .run();
  for (const auto& [where, amount] : profile_counts_) {
    if (amount == 0) continue;
    bool unused = false;
    {
      statement put = db_.prepared(
          "INSERT INTO artist_attribute VALUES (?1, ?2, ?3) ON CONFLICT DO UPDATE SET tracks=tracks+?3 RETURNING "
          "tracks");
      unused = put.bind(where.first, where.second, amount).step() && put.integer(0) == 0;
    }
    if (unused)
      db_.prepared("DELETE FROM artist_attribute WHERE artist=? AND attribute=?").bind(where.first, where.second).run();
  }
  const std::pair<const char*, int64_t> totals[] = {
      {"tracks", total_tracks_}, {"albums", total_albums_}, {"artists", total_artists_}};
  for (const auto& [name, amount] : totals)
    db_.prepared("UPDATE total SET amount=amount+? WHERE name=?").bind(amount, std::string_view(name)).run();
  artist_counts_.clear(), album_counts_.clear(), source_counts_.clear(), level_counts_.clear(), profile_counts_.clear();
  total_tracks_ = total_albums_ = total_artists_ = 0;
}

}  // namespace velox::catalog
