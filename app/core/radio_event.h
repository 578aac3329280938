/* What happens in a session of the radio, as it is told to whoever shows it, plays it or keeps a record of it. */
#ifndef CADENZ_APP_RADIO_EVENT_H
#define CADENZ_APP_RADIO_EVENT_H

#include "core/station.h"

namespace app {

enum class happening {
  // What a record of the session holds:
  station,     // the session begins: settings, from, and the texts "station", "name" and "state"
  playlist,    // coming is new
  track,       // the next one is on: whoever plays it begins
  listened,    // the listener did something to a track: listened, track
  unplayable,  // a track is passed over: track, and the text "why"
  paused,
  resumed,
  end,  // the texts "why" and "station", and how often each event of the listener's was there
  // Answers to an order:
  explain,   // track
  upcoming,  // coming
  settings,
  help,
  // For whoever runs it:
  silence,        // the track that was on is over: whoever plays it stops
  notice,         // some trouble: the texts "what" and "next", which may be empty
  misunderstood,  // the same, of an order
};

struct radio_event {
  happening what;
  const item* track = nullptr;
  const std::vector<playlist_track>* coming = nullptr;
  bool steered = false;  // the playlist follows something that the listener did
  const listener_event* listened = nullptr;
  const station_settings* settings = nullptr;
  const origin* from = nullptr;
  std::vector<std::pair<const char*, std::string>> texts = {};
  std::vector<std::pair<const char*, uint64_t>> numbers = {};

  /** Its name for programs: "track", "liked". */
  const char* name() const;
  bool of_record() const { return what <= happening::end; }
};

}  // namespace app

#endif
