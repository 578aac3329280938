/* What the program shows: tracks, albums and artists as they are read from metadata objects. The texts are as the tags have
 * them; each output makes them fit for its reader. */
#ifndef CADENZ_APP_ITEM_H
#define CADENZ_APP_ITEM_H

#include <optional>
#include <string>
#include <vector>

#include "core/handles.h"

namespace app {

enum class item_kind { track, album, artist };

/** "track", "album" or "artist". */
const char* kind_name(item_kind kind);

/** What is heard of a track; units as in velox_sound.h. */
struct heard {
  std::optional<double> tempo, loudness, energy, brightness;
  std::optional<long> key;
  std::string mode;  // "major" or "minor"
};

struct item {
  item_kind kind = item_kind::track;
  std::string id;      // stays the same over scans
  std::string title;   // of a track or album
  std::string artist;  // its artist, or the artist's name
  std::string album, album_id, artist_id, era, location;
  std::vector<std::string> genres, moods;
  std::optional<long> year, duration_seconds, popularity;
  std::optional<long> number, tracks;  // on its album, disc * 1000 + track; how many an album or artist has
  heard sound;                         // where it was asked for and is known
  // Of a recommendation:
  std::string reason, reason_kind;
  std::optional<long> reason_seed, score;
};

/** What a request starts from. */
struct origin {
  bool invented = false;  // the demonstration catalogue
  std::vector<item> seeds;
  std::vector<std::pair<std::string, std::string>> filters;  // "genre", "mood" or "era" and the name
};

struct recommendation {
  origin from;
  std::string fallback;  // what was gone back to; empty when not needed
  std::vector<item> tracks;
};

/** A line of the lists of genres, moods and eras. */
struct list_row {
  std::string name;
  uint64_t tracks;
};
struct named_list {
  std::string name;  // "genres", "moods" or "eras"
  std::vector<list_row> rows;
};

item read_item(velox_mdo_handle object);
/** The values of a record. */
heard heard_in(const velox_sound& sound);
/** "A minor"; empty for none. */
std::string key_name(const heard& sound);
/** "Title" by Artist; an artist's name alone. */
std::string description(const item& shown);

}  // namespace app

#endif
