// What tracks sound like, and the lists of what is near to what. A sound that goes leaves its lists behind until those who name it
// have been seen to.
#include "model/sound.h"

#include "store/sqlite/sounds_blob.h"
#include "store/sqlite/sqlite_store.h"

namespace velox::catalog::sqlite {
namespace {

/* What tells whether a file is still the one that was listened to. */
#define CONTENT_OF_TRACK "ifnull(t.digest, t.stamp + t.size)"

void add_to_total(connection& db, const char* name, int64_t amount) {
  db.prepared("UPDATE total SET amount=amount+? WHERE name=?").bind(amount, std::string_view(name)).run();
}

void set_total(connection& db, const char* name, int64_t amount) {
  db.prepared("UPDATE total SET amount=? WHERE name=?").bind(amount, std::string_view(name)).run();
}

int64_t count_of(statement row) { return row.step() ? row.count(0) : 0; }

void insert_sound(connection& db, int64_t track, int64_t content, const velox_sound& is) {
  db.prepared(
        "INSERT INTO sound(track, content, method, tempo, loudness, energy, brightness, key, minor) "
        "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(track, content, is.method, is.tempo, is.loudness, is.energy, is.brightness, is.key, is.minor)
      .run();
  const int64_t id = db.last_row();
  if (id > UINT32_MAX) throw failure{VELOX_STANDIN_ERR_CATALOG, "the catalogue has no numbers left for sounds"};
  db.prepared("INSERT INTO sound_record(id, record) VALUES (?, ?)").bind(id, bytes_of(is)).run();
  add_to_total(db, "sounds", 1);
}

}  // namespace

void retire_sound(connection& db, int64_t track) {
  int64_t id = 0;
  bool placed = false, heard = false;
  {
    statement row = db.prepared("SELECT id, placed, why IS NULL FROM sound WHERE track=?");
    if (!row.bind(track).step()) return;
    id = row.integer(0), placed = row.integer(1) != 0, heard = row.integer(2) != 0;
  }
  for (int layer = 0; placed && layer <= k_most_layers; ++layer) {
    db.prepared("INSERT OR REPLACE INTO sound_gone SELECT id, layer, nearest FROM sound_list WHERE layer=? AND id=?")
        .bind(layer, id)
        .run();
    db.prepared("DELETE FROM sound_list WHERE layer=? AND id=?").bind(layer, id).run();
  }
  db.prepared("DELETE FROM sound WHERE id=?").bind(id).run();
  db.prepared("DELETE FROM sound_record WHERE id=?").bind(id).run();
  if (heard) add_to_total(db, "sounds", -1);
}

void retire_changed_sound(connection& db, int64_t track) {
  bool changed = false;
  {
    statement row =
        db.prepared("SELECT content<>" CONTENT_OF_TRACK " FROM sound JOIN track t ON t.id=track WHERE t.id=?");
    changed = row.bind(track).step() && row.integer(0) != 0;
  }
  if (changed) retire_sound(db, track);
}

std::vector<unheard_file> sqlite_store::unheard(uint32_t method, int64_t after, uint32_t limit) {
  std::vector<unheard_file> files;
  statement row =
      db_.prepared("SELECT t.id, " CONTENT_OF_TRACK
                   ", path FROM track t LEFT JOIN sound s ON s.track=t.id WHERE t.id>?2 AND source=0 AND path IS "
                   "NOT NULL AND (s.id IS NULL OR s.method<?1) ORDER BY t.id LIMIT ?3");
  row.bind(method, after, limit);
  while (row.step()) files.push_back({row.integer(0), row.integer(1), std::string(row.text(2))});
  return files;
}

void sqlite_store::put_sound(int64_t track, int64_t content, const velox_sound* sound, std::string_view why) {
  view all(*this, true);
  {
    statement row = db_.prepared("SELECT " CONTENT_OF_TRACK " FROM track t WHERE id=? AND source=0");
    if (!row.bind(track).step() || row.integer(0) != content) return;
  }
  retire_sound(db_, track);
  if (sound) {
    insert_sound(db_, track, content, *sound);
  } else {
    db_.prepared("INSERT INTO sound(track, content, method, why) VALUES (?, ?, ?, ?)")
        .bind(track, content, VELOX_SOUND_METHOD, why)
        .run();
  }
  all.commit();
}

sound_counts sqlite_store::count_sounds(uint32_t method) {
  statement row = db_.prepared(
      "SELECT count(s.id IS NOT NULL AND why IS NULL OR NULL), count(source=0 AND path IS NOT NULL AND (s.id IS NULL "
      "OR "
      "s.method<?) OR NULL), count(why), count(source=0 AND duration BETWEEN 1 AND (SELECT amount FROM total WHERE "
      "name='shortest')-1 OR NULL) FROM track t LEFT JOIN sound s ON s.track=t.id");
  row.bind(method).step();
  const auto count = [&](int column) { return static_cast<uint64_t>(row.count(column)); };
  return {count(0), count(1), count(2), count(3)};
}

void sqlite_store::set_shortest(int64_t seconds) { set_total(db_, "shortest", seconds); }

sound_census sqlite_store::sounds_there() {
  const auto total = [&](std::string_view name) {
    statement row = db_.prepared("SELECT amount FROM total WHERE name=?");
    return row.bind(name).step() ? row.count(0) : 0;
  };
  sound_census there{.sounds = total("sounds"), .settled = total("settled"), .settled_last = total("settled_last")};
  there.unplaced = count_of(db_.prepared("SELECT count(*) FROM sound WHERE placed=0 AND why IS NULL"));
  there.gone = count_of(db_.prepared("SELECT count(DISTINCT id) FROM sound_gone"));
  statement row = db_.prepared("SELECT ifnull(max(layer), 0) FROM sound_list");
  if (row.step()) there.top = static_cast<int>(row.within(0, 0, k_most_layers));
  return there;
}

std::vector<int64_t> sqlite_store::sound_numbers(bool unplaced, int64_t after, uint32_t limit) {
  std::vector<int64_t> ids;
  statement row = unplaced
                      ? db_.prepared("SELECT id FROM sound WHERE placed=0 AND why IS NULL AND id>? ORDER BY id LIMIT ?")
                      : db_.prepared("SELECT id FROM sound_record WHERE id>? ORDER BY id LIMIT ?");
  row.bind(after, limit);
  while (row.step()) ids.push_back(row.integer(0));
  return ids;
}

std::vector<kept_sound> sqlite_store::sounds(std::span<const int64_t> ids) {
  std::vector<kept_sound> found;
  found.reserve(ids.size());
  statement row = db_.prepared("SELECT scale, record FROM sound_record WHERE id=?");
  for (const int64_t id : ids) {
    if (row.bind(id).step()) {
      found.push_back({id, plain_in<velox_sound>(row, 1), plain_in<sound_scale>(row, 0)});
      if (!is_sound(found.back().record)) row.damaged(1);
    }
    row.rewind();
  }
  return found;
}

std::vector<sound_list> sqlite_store::sound_lists(int layer, std::span<const int64_t> ids) {
  std::vector<sound_list> found;
  statement row = db_.prepared("SELECT nearest FROM sound_list WHERE layer=? AND id=?");
  for (const int64_t id : ids) {
    if (row.bind(layer, id).step()) found.push_back({layer, id, list_in(row, 0)});
    row.rewind();
  }
  return found;
}

std::vector<int64_t> sqlite_store::sounds_on(int layer, uint32_t limit) {
  std::vector<int64_t> ids;
  statement row = db_.prepared("SELECT id FROM sound_list WHERE layer=? LIMIT ?");
  row.bind(layer, limit);
  while (row.step()) ids.push_back(row.integer(0));
  return ids;
}

std::vector<sound_list> sqlite_store::gone_sounds(uint32_t limit) {
  std::vector<sound_list> gone;
  statement row = db_.prepared("SELECT layer, id, nearest FROM sound_gone ORDER BY id, layer DESC LIMIT ?");
  row.bind(limit);
  while (row.step())
    gone.push_back({static_cast<int>(row.within(0, 0, k_most_layers)), row.integer(1), list_in(row, 2)});
  return gone;
}

std::optional<track_sound> sqlite_store::sound_of(int64_t track) {
  track_sound found;
  {
    statement row = db_.prepared(
        "SELECT r.record, l.nearest FROM sound s JOIN sound_record r ON r.id=s.id LEFT JOIN sound_list l ON l.id=s.id "
        "AND "
        "layer=0 WHERE s.track=?");
    if (!row.bind(track).step()) return std::nullopt;
    found.record = plain_in<velox_sound>(row, 0);
    if (!is_sound(found.record)) row.damaged(0);
    found.nearest = list_in(row, 1);
  }
  statement row = db_.prepared("SELECT track FROM sound WHERE id=?");
  for (near_sound& each : found.nearest) {
    each.id = row.bind(each.id).step() ? row.integer(0) : 0;
    row.rewind();
  }
  std::erase_if(found.nearest, [](const near_sound& each) { return each.id == 0; });
  return found;
}

void sqlite_store::place(const sound_placing& what) {
  view all(*this, true);
  if (what.anew_last != 0) {
    db_.execute("UPDATE sound SET placed=0 WHERE placed=1; DELETE FROM sound_list; DELETE FROM sound_gone");
    set_total(db_, "settled", static_cast<int64_t>(what.placed.size()));
    set_total(db_, "settled_last", what.anew_last);
  }
  for (const auto& [id, scale] : what.placed) {
    db_.prepared("UPDATE sound_record SET scale=? WHERE id=?").bind(bytes_of(scale), id).run();
    db_.prepared("UPDATE sound SET placed=1 WHERE id=?").bind(id).run();
  }
  for (const sound_list& each : what.lists) {
    const std::vector<packed_near> list = packed(each.nearest);
    db_.prepared("INSERT OR REPLACE INTO sound_list SELECT ?, id, ? FROM sound WHERE id=?")
        .bind(each.layer, std::as_bytes(std::span(list)), each.id)
        .run();
  }
  for (const int64_t id : what.seen_to) db_.prepared("DELETE FROM sound_gone WHERE id=?").bind(id).run();
  all.commit();
}

}  // namespace velox::catalog::sqlite
