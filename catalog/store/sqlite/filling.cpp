// What a scan asks about the files and lines that the catalogue knows, and its changes.
#include "model/text.h"
#include "store/sqlite/sqlite_store.h"

namespace velox::catalog::sqlite {

int64_t sqlite_store::enter_source(const std::string& path, bool invented) {
  statement put = db_.prepared(
      "INSERT INTO source(path, invented, tracks) VALUES (?1, ?2, 0) "
      "ON CONFLICT(path) DO UPDATE SET invented=?2 RETURNING id");
  put.bind(std::string_view(path), invented ? 1 : 0);
  put.step();
  const int64_t id = put.integer(0);
  while (put.step()) continue;
  return id;
}

std::vector<known_line> sqlite_store::lines_of(int64_t source) {
  std::vector<known_line> lines;
  statement row = db_.prepared("SELECT stamp, id, tui FROM track WHERE source=? AND source<>0");
  row.bind(source);
  while (row.step()) lines.push_back({row.integer(0), row.integer(1), hashed(row.text(2))});
  return lines;
}

std::vector<known_file> sqlite_store::files_at(const std::string& path, bool folder) {
  // '0' follows '/': the range holds all that begins with "path/".
  const std::string from = folder ? path + "/" : path;
  const std::string to = folder ? path + "0" : path + std::string("\0", 1);
  std::vector<known_file> files;
  const auto read = [&](const char* sql, bool duplicate) {
    statement row = db_.prepared(sql);
    row.bind(std::string_view(from), std::string_view(to));
    while (row.step())
      files.push_back({hashed(row.text(1)), row.integer(0), row.integer(2), row.integer(3), duplicate});
  };
  read("SELECT id, path, size, stamp FROM track WHERE path>=? AND path<? AND source=0", false);
  read("SELECT id, path, size, stamp FROM duplicate WHERE path>=? AND path<?", true);
  return files;
}

std::vector<std::string> sqlite_store::paths_of(std::span<const known_file> files) {
  std::vector<std::string> paths;
  for (const known_file& each : files) {
    statement row =
        db_.prepared(each.duplicate ? "SELECT path FROM duplicate WHERE id=?" : "SELECT path FROM track WHERE id=?");
    paths.emplace_back(row.bind(each.id).step() ? row.text(0) : std::string_view());
  }
  return paths;
}

std::vector<track_of_content> sqlite_store::tracks_of(std::span<const content> contents) {
  std::vector<track_of_content> tracks;
  for (const content& each : contents) {
    statement row = db_.prepared("SELECT id, path FROM track WHERE digest=? AND size=? AND source=0");
    if (row.bind(each.digest, each.size).step()) {
      tracks.push_back({row.integer(0), std::string(row.text(1))});
    } else {
      tracks.push_back({0, {}});
    }
  }
  return tracks;
}

std::vector<duplicate> sqlite_store::duplicates_of(std::span<const int64_t> tracks) {
  std::vector<duplicate> found;
  for (const int64_t track : tracks) {
    statement row = db_.prepared("SELECT id, size, stamp, path FROM duplicate WHERE track=? ORDER BY path");
    row.bind(track);
    while (row.step())
      found.push_back({row.integer(0), track, row.integer(1), row.integer(2), std::string(row.text(3))});
  }
  return found;
}

void sqlite_store::apply(std::span<const change> batch) {
  changes_.apply(batch);
  attributes_.clear();
}

}  // namespace velox::catalog::sqlite
