/* A station as the program uses it: its playlist as one row of tracks, the listener's events, the settings in force. */
#ifndef CADENZ_APP_STATION_H
#define CADENZ_APP_STATION_H

#include "core/item.h"
#include "core/options.h"
#include "core/start.h"

namespace app {

/** A track of a playlist, with the object that events are reported of. */
struct playlist_track {
  mdo_owner object;
  item shown;
};

/** What a listener does to a track or its artist. */
struct listener_event {
  uint32_t event;    // VELOX_CADENZ_EVENT_...
  const char* kind;  // as a station's history has it, "TRACK_LIKE"
  const char* name;  // as the program has it, "liked"

  bool is_of_artist() const { return event >= VELOX_CADENZ_EVENT_ARTIST_LIKE; }
};
extern const listener_event listener_events[6];  // by event, from 1

/** What the catalogue keeps of a station. */
struct station_row {
  std::string id, name;
  uint64_t created, used, played, skipped, liked, disliked;
};

struct history_row {
  std::string event;  // as the program has it
  std::string title, artist;
  uint64_t time;
};

/** The stations of a catalogue, last used first. */
std::vector<station_row> read_stations(velox_catalog_handle catalog);
/** What happened on one, oldest first. */
std::vector<history_row> read_history(velox_catalog_handle catalog, const std::string& id);
/** The station that a person means by an identifier or its beginning. */
station_row find_station(velox_catalog_handle catalog, const std::string& id);

/** Somebody has removed the station: nothing can be reported to it any more. */
struct station_gone : failure {
  using failure::failure;
};

/** Of a catalogue, which is to outlive it. */
class station {
 public:
  /** Makes a new one. */
  station(velox_catalog_handle catalog, start_point& start);
  /** Goes on with one; `options` are set on it. */
  station(velox_catalog_handle catalog, const session& running, const std::string& id,
          const std::vector<std::pair<const char*, std::string>>& options);

  const std::string& id() const { return id_; }
  bool reopened() const { return reopened_; }

  /** Records what the listener did. An event of the artist needs a track that names one; false for one that doesn't. */
  bool record(uint32_t event, const playlist_track& track);
  /** True when the service knows all that was recorded and set. */
  bool in_step() const { return pending_.empty() && !options_changed_; }
  size_t unreported() const { return pending_.size(); }
  /** Events that were given up. */
  size_t lost() const { return lost_; }
  /** Sets an option; it counts with the next draw. */
  void set(const char* option, const std::string& value);

  /** Reports what is recorded and takes over the service's playlist; true when it is another one. A failure keeps what
   *  wasn't reported for the next time, three times at most; one that has been removed is told by station_gone. */
  bool draw();
  /** The playlist's tracks, in order. */
  std::vector<playlist_track> tracks() const;
  station_settings settings() const;

 private:
  struct pending_event {
    uint32_t event;
    mdo_owner subject;
    int failures = 0;
  };

  void exchange();
  bool is_there() const;
  void record_again();

  velox_catalog_handle catalog_;
  station_owner handle_;
  std::string id_;
  bool reopened_;
  mdo_owner playlist_;
  std::vector<pending_event> pending_;
  size_t lost_ = 0;
  bool options_changed_ = false;
};

}  // namespace app

#endif
