// A track as a file or a line tells it, on its way into the catalogue; the texts are clean.
#ifndef VELOX_CATALOG_MODEL_SONG_H
#define VELOX_CATALOG_MODEL_SONG_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velox::catalog {

constexpr size_t k_attributes_per_kind = 8; /* of a track; further ones are left out */

struct song {
  std::string title, artist, album, album_artist, tui, artist_id, path;
  std::vector<std::string> genres, moods;
  int year = 0; /* 0: unknown */
  int popularity = 500;
  uint32_t duration = 0; /* seconds */
  uint32_t number = 0;   /* disc * 1000 + track */
  uint64_t size = 0;
  int64_t stamp = 0;             /* a file's time of change in nanoseconds, or what tells a line from others */
  int64_t source = 0;            /* the table that it stands in; 0 for an audio file */
  std::optional<int64_t> digest; /* of the file's content */
};

}  // namespace velox::catalog

#endif
