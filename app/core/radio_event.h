/* What happens in a session of the radio, as it is told to a person, in a line of JSON, and to the event program. */
#ifndef CADENZ_APP_RADIO_EVENT_H
#define CADENZ_APP_RADIO_EVENT_H

#include "core/station.h"

namespace app {

struct radio_event {
  const char* name;                                     // "track", "played", "liked"
  const item* track = nullptr;                          // that it is about
  const std::vector<playlist_track>* coming = nullptr;  // the tracks of a playlist
  const station_settings* settings = nullptr;
  std::vector<std::pair<const char*, std::string>> texts = {};  // further fields
  std::vector<std::pair<const char*, uint64_t>> numbers = {};
};

}  // namespace app

#endif
