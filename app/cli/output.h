/* The forms in which results are given: tables for people, JSON for programs, M3U and XSPF for players. Each is a whole text,
 * ready for standard output. */
#ifndef CADENZ_APP_OUTPUT_H
#define CADENZ_APP_OUTPUT_H

#include "core/playlists.h"
#include "core/radio_event.h"
#include "terminal/terminal.h"

namespace app {

/** What a request started from, in a line; empty for nothing. */
std::string heading_of(const origin& from, const terminal& where);
/** Numbered tracks, each with its reason when it is to be explained, and with what is heard of them when that is wanted. */
std::string table_of_tracks(const std::vector<item>& tracks, bool explain, const terminal& where, bool sonic = false);
/** A track with what is heard of it, and those that sound like it, nearest first. */
struct alike {
  item shown;
  double distance;
};
std::string table_of_sound(const item& track, const velox_sound& sound, const std::vector<alike>& near,
                           const terminal& where);
std::string json_of_sound(const item& track, const velox_sound& sound, const std::vector<alike>& near);
std::string table_of(const std::vector<item>& found, const terminal& where);
std::string table_of(const std::vector<named_list>& lists, const terminal& where);
/** The first so many tracks of a playlist, with their reasons. */
std::string table_of(const std::vector<playlist_track>& tracks, size_t most, const terminal& where);
std::string table_of(const std::vector<station_row>& stations, const terminal& where);
std::string table_of(const std::vector<history_row>& history, const terminal& where);
/** The name of an event as people have it, "artist liked". */
std::string spoken(std::string event);
/** The track that is on, in a line, with its reason below. */
std::string line_of(const item& track, const terminal& where);
/** All that is known of it, and why it is there. */
std::string details_of(const item& track, const terminal& where);

/* UTF-8, invalid bytes replaced; what could act on a terminal is escaped. Reasons are always there. */
std::string json_of(const recommendation& result);
std::string json_of(const std::vector<item>& found);
std::string json_of(const std::vector<named_list>& lists);
std::string json_of(const std::vector<station_row>& stations);
std::string json_of(const std::vector<history_row>& history);
/** One line. */
std::string json_line(const radio_event& event);

/** The events of a session in words for a person, from the first to the last. */
class radio_words {
 public:
  /** `keys`: the listener presses keys, of which help tells. */
  radio_words(const terminal& where, bool keys) : where_(where), keys_(keys) {}

  std::string operator()(const radio_event& event);

 private:
  std::string playlist(const radio_event& event);

  terminal where_;
  bool keys_;
  bool playlist_shown_ = false;
};

}  // namespace app

#endif
