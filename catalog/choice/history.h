// What a station's history lets through to its next playlist.
#ifndef VELOX_CATALOG_STATION_HISTORY_H
#define VELOX_CATALOG_STATION_HISTORY_H

#include "choice/choose.h"
#include "store/sqlite/stations.h"

namespace velox::catalog {

/** Never what is disliked; not soon what was heard, and still later what was skipped; not again and again one artist. With
 *  `dmca`, over any three hours at most three tracks of one album and four of one artist: what was heard in the last three
 *  hours and the whole playlist count, however long it plays. */
class station_history : public listener {
 public:
  station_history(connection& from, const station& of, const wish& asked, bool dmca, int64_t now);
  bool admits(const candidate& track) override;
  void chosen(const candidate& track) override;
  bool relax(const pool& there) override;
  int64_t last_heard(const candidate& track) override { return about(track).is.last; }

  /** Puts tracks into an order in which no artist follows itself where that can be helped, not even the last one heard; with
   *  dmca, no more than two tracks of an album and three of an artist come in a row, and what can't be placed is left out. */
  void keep_apart(std::vector<choice>& tracks);

 private:
  struct knowledge {
    identity who;
    verdict is;
  };
  const knowledge& about(const candidate& track);
  bool heard_too_lately(const verdict& is) const;

  connection& from_;
  const station& of_;
  const bool dmca_, spread_;
  station_store store_;
  std::vector<heard_track> latest_; /* the last one first */
  std::unordered_map<int64_t, knowledge> known_;
  std::unordered_map<int64_t, int> lately_, three_hours_; /* tracks by artist; by artist and album */
  enum { strict, half_heard, whatever_is_left } patience_ = strict;
  int64_t half_ = 0; /* of the tracks that could be played */
};

}  // namespace velox::catalog

#endif
