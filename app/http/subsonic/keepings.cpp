/* A queue's tracks stand in one text, divided by blanks, which identifiers don't hold. */
#include "http/subsonic/keepings.h"

#include <sstream>

namespace app::http::subsonic {

namespace {

std::map<std::string, int64_t> all_of(database::statement& row) {
  std::map<std::string, int64_t> all;
  while (row.step()) all[row.text(0)] = row.number(1);
  return all;
}

std::vector<std::string> texts_of(database::statement& row) {
  std::vector<std::string> texts;
  while (row.step()) texts.push_back(row.text(0));
  return texts;
}

}  // namespace

void keepings::star(const person& who, const std::string& thing, int64_t now) {
  in_.run("INSERT OR IGNORE INTO star VALUES (?, ?, ?)", who.id, thing, now);
}
void keepings::unstar(const person& who, const std::string& thing) {
  in_.run("DELETE FROM star WHERE listener=? AND thing=?", who.id, thing);
}
std::map<std::string, int64_t> keepings::stars(const person& who) {
  database::statement row(in_, "SELECT thing, since FROM star WHERE listener=?");
  return all_of(row.with(who.id));
}

void keepings::rate(const person& who, const std::string& thing, int64_t stars) {
  if (stars == 0)
    in_.run("DELETE FROM rating WHERE listener=? AND thing=?", who.id, thing);
  else
    in_.run("INSERT OR REPLACE INTO rating VALUES (?, ?, ?)", who.id, thing, stars);
}
std::map<std::string, int64_t> keepings::ratings(const person& who) {
  database::statement row(in_, "SELECT thing, stars FROM rating WHERE listener=?");
  return all_of(row.with(who.id));
}

void keepings::played(const person& who, const std::string& album, int64_t now) {
  in_.run("INSERT INTO play VALUES (?1, ?2, 1, ?3) ON CONFLICT DO UPDATE SET plays=plays+1, last=?3", who.id, album,
          now);
}
std::vector<std::string> keepings::albums_by(const person& who, bool most_played, size_t most) {
  database::statement row(in_, most_played
                                   ? "SELECT album FROM play WHERE listener=? ORDER BY plays DESC, last DESC LIMIT ?"
                                   : "SELECT album FROM play WHERE listener=? ORDER BY last DESC LIMIT ?");
  return texts_of(row.with(who.id, static_cast<int64_t>(most)));
}

std::vector<kept_playlist> keepings::playlists(const person& who) {
  std::vector<kept_playlist> all;
  database::statement row(in_, "SELECT id FROM playlist WHERE listener=? ORDER BY name, id");
  row.with(who.id);
  while (row.step())
    if (std::optional<kept_playlist> one = playlist(who, row.number(0))) all.push_back(std::move(*one));
  return all;
}

std::optional<kept_playlist> keepings::playlist(const person& who, int64_t id) {
  database::statement row(in_, "SELECT name, comment, created, changed FROM playlist WHERE id=? AND listener=?");
  if (!row.with(id, who.id).step()) return std::nullopt;
  kept_playlist found{id, row.text(0), row.text(1), row.number(2), row.number(3), {}};
  database::statement entry(in_, "SELECT track FROM playlist_entry WHERE playlist=? ORDER BY place");
  found.tracks = texts_of(entry.with(id));
  return found;
}

int64_t keepings::put(const person& who, const kept_playlist& list) {
  database::transaction all(in_);
  int64_t id = list.id;
  if (id == 0) {
    in_.run("INSERT INTO playlist(listener, name, comment, created, changed) VALUES (?, ?, ?, ?, ?)", who.id, list.name,
            list.comment, list.created, list.changed);
    id = in_.last_row();
  } else {
    in_.run("UPDATE playlist SET name=?, comment=?, changed=? WHERE id=? AND listener=?", list.name, list.comment,
            list.changed, id, who.id);
    in_.run("DELETE FROM playlist_entry WHERE playlist=?", id);
  }
  for (size_t place = 0; place < list.tracks.size(); ++place)
    in_.run("INSERT INTO playlist_entry VALUES (?, ?, ?)", id, static_cast<int64_t>(place), list.tracks[place]);
  all.commit();
  return id;
}

bool keepings::remove(const person& who, int64_t id) {
  database::transaction all(in_);
  if (in_.run("DELETE FROM playlist WHERE id=? AND listener=?", id, who.id) == 0) return false;
  in_.run("DELETE FROM playlist_entry WHERE playlist=?", id);
  all.commit();
  return true;
}

void keepings::put_queue(const person& who, const play_queue& queue) {
  std::string tracks;
  for (const std::string& one : queue.tracks) tracks += (tracks.empty() ? "" : " ") + one;
  in_.run("INSERT OR REPLACE INTO play_queue VALUES (?, ?, ?, ?, ?, ?)", who.id, queue.current, queue.position,
          queue.changed, queue.changed_by, tracks);
}

std::optional<play_queue> keepings::queue(const person& who) {
  database::statement row(in_,
                          "SELECT current, position, changed, changed_by, tracks FROM play_queue WHERE listener=?");
  if (!row.with(who.id).step()) return std::nullopt;
  play_queue found{row.text(0), row.text(3), row.number(1), row.number(2), {}};
  std::istringstream tracks(row.text(4));
  for (std::string one; tracks >> one;) found.tracks.push_back(one);
  return found;
}

}  // namespace app::http::subsonic
