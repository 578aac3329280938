// What a lookup asks for, read from its items and resolved in one view of the catalogue.
#ifndef VELOX_CATALOG_REQUEST_H
#define VELOX_CATALOG_REQUEST_H

#include <string>
#include <vector>

#include "choice/objects.h"
#include "velox_standin.h"

namespace velox::catalog {

/** A connection with what is kept for it between lookups. */
struct connection {
  std::unique_ptr<database> db;
  attributes attrs{*db};
};

/** How a lookup goes on, and whether it is to stop: tells the application now and then, and at once ends what SQLite does
 *  when the application asks for it. */
class progress {
 public:
  progress(velox_standin_run* run, sqlite3* db);
  ~progress();
  progress(const progress&) = delete;
  progress& operator=(const progress&) = delete;
  /** Tracks looked at. Throws when the lookup is to stop. */
  void looked(uint32_t tracks);
  /** Tracks given. */
  void gave(uint32_t tracks);
  /** Throws when the lookup is to stop. */
  void check() const {
    if (status_ != 0) throw failure{status_, "the lookup was aborted"};
  }

 private:
  bool tell_now_and_then();
  velox_standin_run* run_;
  sqlite3* db_;
  int64_t last_ns_;
  uint32_t looked_ = 0;
  pask_status status_ = 0;
};

/** An option of a request, the last one of its key; null when it isn't set. */
const char* option_of(const velox_standin_request& request, const char* key);

struct weighted {
  int64_t attribute;
  float weight;
};

struct seed {
  uint32_t ordinal;
  int64_t track = 0, artist = 0, album = 0; /* 0: none, or unknown here */
  int64_t title_key = 0;
  int year = 0;
  std::vector<weighted> profile; /* genres and moods */
  std::vector<int64_t> eras;
  std::string label; /* as reasons name it: "Title" in quotes, or the artist; empty for attributes alone */
  std::string artist_name;
  bool liked = false; /* not asked for, but liked on the station */
};

/** The catalogue filter: at most one of its parts is set. */
struct place {
  bool set = false;
  int64_t genre = 0, artist = 0;
  std::string path;
};

/** A recommendation request.
 *
 *  Seeds and filter arrive under the same data keys. In an ordinal the seed comes first, with each key once; what follows a
 *  second kind, or a key given again, is the filter's. A request whose only ordinal is a lone "ATTRIBUTE" asks for tracks
 *  with these attributes: they narrow it too. The filter's values hold for the whole request: any of its genres, any of its
 *  moods, any of its eras; values that aren't of this catalogue's lists pass no track.
 *
 *  "velox_lookup_option_xids" adds the identifiers that came with the music (VELOX_VAL_XID). The options for content and
 *  sonic data ask for what this catalogue doesn't have, and change nothing. */
struct wish {
  std::vector<seed> seeds;
  bool attributes_only = false; /* no seed but the filter */
  std::vector<int64_t> filter[4];
  bool filtered[4] = {};
  place where;
  uint32_t count = 25;
  uint32_t per_artist = 3; /* 0: any number */
  int popularity = -1, similarity = -1;
  bool rotate = true;
  bool radio = false; /* seeds may be played themselves */
  bool xids = false;
  uint64_t digest = 0; /* the same for equal requests */
};

/** What a track or an artist is like, as a seed; false when the catalogue doesn't have it. */
bool seed_of_track(connection& from, const char* tui, const char* tag, seed* made);
bool seed_of_artist(connection& from, const char* uid, seed* made);

wish read_wish(connection& from, const velox_standin_request& request);

}  // namespace velox::catalog

#endif
