/* What comes next on a station, as far as it is known: the tracks of the latest playlist that weren't taken yet. */
#ifndef CADENZ_APP_UPCOMING_H
#define CADENZ_APP_UPCOMING_H

#include <set>

#include "core/station.h"

namespace app {

class upcoming {
 public:
  explicit upcoming(station& on) : station_(on) {}

  /** Reports what the station has recorded, and takes over a new playlist without the track that is playing, which may be null;
   *  true for a new one. Throws when the service fails: what comes then stays. */
  bool draw(const item* playing);
  /** Something happened that what comes next should follow. */
  void outdate() { outdated_ = true; }
  /** True when another playlist is needed before the next track: hardly anything is left, something happened, or the last one
   *  was drawn while a track was playing, of which the service didn't know yet. */
  bool due() const { return outdated_ || tracks_.size() <= few; }
  std::optional<playlist_track> take();
  const std::vector<playlist_track>& tracks() const { return tracks_; }

  /** Leave out what must not come, also where the service has nothing else. */
  void ban_track(const item& track);
  void ban_artist(const item& track);
  void leave_out(const item& unplayable) { unplayable_.insert(unplayable.id); }
  /** Takes what was left out of the playlist as unplayable for what comes; false when there is nothing. */
  bool bring_back();

 private:
  static constexpr size_t few = 2;

  bool wanted(const item& track) const;

  station& station_;
  std::vector<playlist_track> tracks_;
  std::set<std::string> unplayable_, banned_tracks_, banned_artists_;
  bool outdated_ = false;
};

}  // namespace app

#endif
