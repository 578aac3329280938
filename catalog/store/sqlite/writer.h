// The one road into the catalogue's tables of music: a batch of changes in one transaction. Everything that depends on a track -
// artist, album, attributes, indexes, counts - changes with it, so the catalogue is sound after each batch.
#ifndef VELOX_CATALOG_SQLITE_WRITER_H
#define VELOX_CATALOG_SQLITE_WRITER_H

#include <map>
#include <unordered_map>

#include "store/sqlite/connection.h"

namespace velox::catalog::sqlite {

class writer {
 public:
  explicit writer(connection& db) : db_(db) {}
  /** All of a batch or nothing. */
  void apply(std::span<const change> batch);

 private:
  void apply_one(const change& what);
  int64_t number_of(int64_t named) const;
  int64_t put(const song& track, int64_t replaced);
  void remove(int64_t track);
  void put_duplicate(const song& file, int64_t track);
  int64_t track_at(const std::string& path);
  int64_t clear_path(const std::string& path, int64_t replaced);
  int64_t artist(const std::string& name, const std::string& uid);
  int64_t album(const song& track, int64_t track_artist);
  int64_t attribute(attribute_kind kind, const std::string& name);
  std::vector<int64_t> attributes_of(const song& track);
  /* What is counted of a track. */
  struct counted {
    int64_t artist, album, source, popularity, year;
    std::span<const int64_t> attributes;
  };
  void count(const counted& of, int64_t amount);
  int64_t leading_genre(std::span<const int64_t> attributes);
  void flush_counts();
  void flush_albums();
  void flush_artists();
  void flush_attributes();
  void forget();
  void drop_artist(int64_t id);
  void drop_album(int64_t id, const std::string& title, int64_t artist);
  std::string name_of(int64_t artist);

  connection& db_;
  std::vector<int64_t> put_; /* the numbers of what the batch has put, by place */
  /* What was looked up in this batch. */
  std::unordered_map<std::string, int64_t> artists_;
  std::map<std::pair<int64_t, int64_t>, int64_t> albums_, attributes_;
  std::unordered_map<int64_t, bool> genres_; /* whether an attribute is one */
  /* Changes of counts that the batch's end writes: its tracks mostly share their artist, album and genres. */
  std::map<int64_t, int64_t> artist_counts_, album_counts_, source_counts_;
  std::map<std::pair<int64_t, int64_t>, int64_t> level_counts_, profile_counts_, chart_counts_;
  int64_t total_tracks_ = 0, total_albums_ = 0, total_artists_ = 0;
};

}  // namespace velox::catalog::sqlite

#endif
