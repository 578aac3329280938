// What is told of the chosen: tracks, artists and albums as an answer shows them.
#ifndef VELOX_CATALOG_MODEL_RECORDS_H
#define VELOX_CATALOG_MODEL_RECORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "model/sound.h"

namespace velox::catalog {

struct track_record {
  int64_t artist = 0, album = 0; /* album 0: none */
  int popularity = 0, year = 0;
  int64_t number = 0;   /* on its album: disc * 1,000 + place; 0: unknown */
  int64_t duration = 0; /* seconds; 0: unknown */
  uint64_t tag = 0;
  std::optional<sonic> sound;                        /* where it is known */
  std::vector<int64_t> attributes;                   /* genres first, the leading one in front */
  std::string tui, title, credit, path, album_title; /* credit: the artist as shown, where it isn't the artist's name */
};

struct artist_record {
  std::string uid, name;
  int64_t genre = 0, era = 0; /* of most of its tracks; 0: none */
  int64_t count = 0;          /* of tracks */
};

struct album_record {
  std::string title;
  int64_t artist = 0;
  int64_t count = 0;           /* of tracks */
  std::vector<int64_t> tracks; /* in order, where they were asked for */
};

/** By number; what isn't in the catalogue is missing. The artists of tracks and albums are always there too. */
struct records {
  std::unordered_map<int64_t, track_record> tracks;
  std::unordered_map<int64_t, artist_record> artists;
  std::unordered_map<int64_t, album_record> albums;
};

/** What is to be told of. */
struct subjects {
  std::vector<int64_t> tracks = {}, albums = {}, artists = {};
  bool with_albums = false; /* the albums of the tracks too */
  bool with_tracks = false; /* the tracks of the albums too */
};

/** What an album lookup goes by; empty where not given. */
struct description {
  std::string_view tui = {}, tag = {}, album_artist = {}, album_title = {}, track_artist = {}, track_title = {};
};

/** What a description means; 0: none. */
struct identified {
  int64_t track = 0, album = 0, artist = 0;
};

}  // namespace velox::catalog

#endif
