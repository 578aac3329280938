// Puts tracks into a catalogue and takes them out, in bounded transactions. Everything that depends on a track - artist,
// album, attributes, indexes, counts - changes in its transaction, so the catalogue is sound after each.
#ifndef VELOX_CATALOG_WRITER_H
#define VELOX_CATALOG_WRITER_H

#include <chrono>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "store/sqlite/connection.h"

namespace velox::catalog {

/** A track as a file or a line tells it; the texts are clean. */
struct song {
  std::string title, artist, album, album_artist, tui, artist_id, path;
  std::vector<std::string> genres, moods;
  int year = 0; /* 0: unknown */
  int popularity = 500;
  uint32_t duration = 0; /* seconds */
  uint32_t number = 0;   /* disc * 1000 + track */
  uint64_t size = 0;
  int64_t stamp = 0;
  int64_t source = 0;
  std::optional<int64_t> digest; /* of the file's content */
};

class writer {
 public:
  explicit writer(database& db) : db_(db) {}
  /** Adds a track, under the number of the one that it replaces where that isn't 0. Gives its number. */
  int64_t put(const song& track, int64_t replaced);
  void remove(int64_t track);
  /** Notes a file that has the content of a track's. */
  void put_duplicate(const song& file, int64_t track);
  void remove_duplicate(int64_t duplicate);
  /** The duplicates of a track are another's now. */
  void hand_duplicates(int64_t from, int64_t to);
  /** Enters a .tsv file as a source, or finds it again. */
  int64_t source(const std::string& path, bool invented);
  /** Between two tracks: ends the transaction when it has grown or lasted enough. True when it did. */
  bool breathe();
  void commit();

 private:
  void begin();
  int64_t artist(const std::string& name, const std::string& uid);
  int64_t album(const song& track, int64_t track_artist);
  int64_t attribute(attribute_kind kind, const std::string& name);
  void count(int64_t artist, int64_t album, int64_t source, int64_t popularity, std::string_view attrs, int64_t amount);
  void flush_counts();
  void drop_artist(int64_t id);
  void drop_album(int64_t id, const std::string& title, int64_t artist);
  std::string name_of(int64_t artist);

  database& db_;
  std::optional<transaction> running_;
  std::chrono::steady_clock::time_point began_;
  uint32_t changes_ = 0;
  /* What was looked up, forgotten when it grows large. */
  std::unordered_map<std::string, int64_t> artists_;
  std::map<std::pair<int64_t, int64_t>, int64_t> albums_, attributes_;
  /* Changes of counts that the transaction's end writes. */
  std::map<int64_t, int64_t> artist_counts_, album_counts_, source_counts_;
  std::map<std::pair<int64_t, int64_t>, int64_t> level_counts_, profile_counts_;
  int64_t total_tracks_ = 0, total_albums_ = 0, total_artists_ = 0;
};

/** Calls `each` with the numbers of an attrs text. */
template <class Each>
void each_attribute(std::string_view attrs, Each each) {
  for (size_t at = 0; at < attrs.size();) {
    int64_t id = 0;
    for (; at < attrs.size() && attrs[at] != ' '; ++at) id = id * 10 + (attrs[at] - '0');
    ++at;
    each(id);
  }
}

}  // namespace velox::catalog

#endif
