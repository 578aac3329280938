// What a station's history lets through to its next playlist.
#ifndef VELOX_CATALOG_CHOICE_HISTORY_H
#define VELOX_CATALOG_CHOICE_HISTORY_H

#include <unordered_map>

#include "choice/chooser.h"

namespace velox::catalog {

/** Never what is disliked; not soon what was heard, and still later what was skipped; not again and again one artist. With the
 *  rule of radio, over any three hours at most three tracks of one album and four of one artist: what was heard in the last three
 *  hours and the whole playlist count, however long it plays. */
class station_history : public listener {
 public:
  /** `heard`: the latest tracks, latest first, back to the time that the rule of radio looks at. */
  station_history(const station& of, std::vector<heard_track> heard, const request& asked, int64_t now);
  int64_t station_id() const override { return station_; }
  bool knows(int64_t track) const override { return known_.contains(track); }
  void learn(memories told) override { known_.merge(std::move(told)); }
  bool admits(const candidate& track) override;
  void chosen(const candidate& track) override;
  bool relax(const std::vector<candidate>& there) override;
  int64_t last_heard(const candidate& track) const override { return about(track).last; }

  /** Puts tracks into an order in which no artist follows itself where that can be helped, not even the last one heard; with the
   *  rule of radio, no more than two tracks of an album and three of an artist come in a row, and what can't be placed is left
   *  out. */
  void keep_apart(std::vector<choice>& tracks);

 private:
  const memory& about(const candidate& track) const { return known_.at(track.id); }
  bool heard_too_lately(const memory& of) const;

  const int64_t station_, heard_;
  const bool radio_rule_, spread_;
  std::vector<heard_track> latest_;
  memories known_;
  std::unordered_map<int64_t, int> lately_, three_hours_; /* tracks by artist; by artist and album */
  enum { strict, half_heard, whatever_is_left } patience_ = strict;
  int64_t half_ = 0; /* of the tracks that could be played */
};

}  // namespace velox::catalog

#endif
