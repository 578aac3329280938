// What the catalogue keeps of stations: what each was made from, its settings, every event, and sums of the events by song
// and artist, so that no history is ever read whole. Songs, artists and albums are known by digests of their identifiers and
// names, which a scan doesn't change, and not by the numbers of their rows.
#ifndef VELOX_CATALOG_STATION_STORE_H
#define VELOX_CATALOG_STATION_STORE_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "choice/request.h"

namespace velox::catalog {

enum event_kind : int { k_played = 1, k_skipped, k_track_like, k_track_dislike, k_artist_like, k_artist_dislike };
constexpr const char* k_event_names[] = {
    "", "TRACK_PLAYED", "TRACK_SKIPPED", "TRACK_LIKE", "TRACK_DISLIKE", "ARTIST_LIKE", "ARTIST_DISLIKE"};
/** 0 for a text that is none. */
int event_kind_of(std::string_view name);

/** An event as a request tells it. */
struct told_event {
  int kind;
  std::string subject, tag; /* a track's identifier and its tag, or an artist's identifier */
};

struct station_datum {
  std::string key, value;
  uint32_t ordinal;
};

struct station {
  int64_t id = 0;
  std::string uid, name;
  int64_t heard = 0;                           /* tracks played and skipped */
  std::vector<station_datum> data;             /* seeds and filter, as the creating request had them */
  std::map<std::string, std::string> settings; /* by the lookup's option keys, as given */
};

/** A track for a station, by what outlives its row; 0: none. */
struct identity {
  int64_t song = 0, other_song = 0; /* by artist and title; by identifier */
  int64_t artist = 0, album_artist = 0, album = 0;
};
identity identity_of(database& db, int64_t track);

/** What a station remembers of a track. */
struct verdict {
  bool banned = false;
  int64_t skips = 0;
  int64_t last = 0; /* the how manyth track heard it was last; 0: never heard */
};

/** A track that was heard; the latest come first. */
struct heard_track {
  int64_t artist, album, time;
};

/** An identifier for a station, which nobody guesses. */
std::string fresh_uid();

class station_store {
 public:
  explicit station_store(database& db) : db_(db) {}

  std::optional<station> find(std::string_view uid);
  void create(station& made, int64_t now); /* with an identifier of fresh_uid() */
  void set(const station& of);             /* its settings */
  void add(station& to, const told_event& event, int64_t now);
  void rename(int64_t id, const std::string& name);
  void remove(int64_t id);

  verdict judge(int64_t station, const identity& track);
  /** The latest tracks heard: so many, and more back to a time. */
  std::vector<heard_track> heard(int64_t station, size_t least, int64_t since);
  /** The latest likes, as events. */
  std::vector<told_event> liked(int64_t station, int64_t most);

 private:
  void sum_up(int64_t station, int64_t subject, int kind, int64_t event, int64_t heard);
  database& db_;
};

}  // namespace velox::catalog

#endif
