// A station as the catalogue keeps it: what it was made from, its settings, what the listener did, and what of that a track
// is remembered by. Nothing here names a row of tracks: identifiers and names outlive a scan.
#ifndef VELOX_CATALOG_MODEL_STATION_H
#define VELOX_CATALOG_MODEL_STATION_H

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "velox_lookup_keys.h"

namespace velox::catalog {

enum event_kind : int {
  k_no_event,
  k_played,
  k_skipped,
  k_track_like,
  k_track_dislike,
  k_artist_like,
  k_artist_dislike,
  k_event_kinds
};
constexpr const char* k_event_names[k_event_kinds] = {
    "", "TRACK_PLAYED", "TRACK_SKIPPED", "TRACK_LIKE", "TRACK_DISLIKE", "ARTIST_LIKE", "ARTIST_DISLIKE"};
constexpr event_kind event_kind_of(std::string_view name) {
  const auto* found = std::find(std::begin(k_event_names) + 1, std::end(k_event_names), name);
  return found == std::end(k_event_names) ? k_no_event : static_cast<event_kind>(found - std::begin(k_event_names));
}
constexpr bool is_heard(event_kind kind) { return kind == k_played || kind == k_skipped; }
constexpr bool is_of_track(event_kind kind) { return kind <= k_track_dislike; }
constexpr bool is_like(event_kind kind) { return kind == k_track_like || kind == k_artist_like; }

/** An event as a request tells it. */
struct told_event {
  event_kind kind;
  std::string subject, tag; /* a track's identifier and its tag, or an artist's identifier */
};

/** A value of the request that made the station. */
struct station_datum {
  std::string key, value;
  uint32_t ordinal;
};

struct station {
  int64_t id = 0; /* 0: not in the catalogue yet */
  std::string uid, name;
  int64_t heard = 0;                           /* tracks played and skipped */
  std::vector<station_datum> data;             /* seeds and filter */
  std::map<std::string, std::string> settings; /* by the lookup's option keys, as given */

  const char* setting(const char* option) const {
    const auto found = settings.find(option);
    return found == settings.end() ? nullptr : found->second.c_str();
  }
  bool keeps_radio_rule() const { return velox_is_true(setting(VELOX_LOOKUP_OPTION_DMCA)) != 0; }
};

/** A station's sums. */
struct station_summary {
  std::string uid, name;
  uint64_t created, used, played, skipped, liked, disliked;
};

/** An event of a station's past. */
struct past_event {
  event_kind kind;
  std::string title, artist;
  uint64_t time;
};

/** What of a track outlives its row; 0: none. */
struct identity {
  int64_t song = 0, same_tui = 0; /* by artist and title; by identifier */
  int64_t artist = 0, album_artist = 0, album = 0;
};

/** What a station remembers of a track. */
struct memory {
  identity who;
  bool banned = false;
  int64_t skips = 0;
  int64_t last = 0; /* the how manyth track heard it was last; 0: never heard */
};

/** A track that was heard, by its identity. */
struct heard_track {
  int64_t artist, album, time;
};

}  // namespace velox::catalog

#endif
