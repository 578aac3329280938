// The choice of tracks for a request: near to its seeds, within its filters, spread over artists, each with its reason.
#ifndef VELOX_CATALOG_CHOICE_CHOOSER_H
#define VELOX_CATALOG_CHOICE_CHOOSER_H

#include "choice/progress.h"
#include "choice/scorer.h"

namespace velox::catalog {

struct choice {
  candidate track;
  uint32_t seed; /* index of the nearest one */
  float score;
  reason why;
  sonic sound; /* where it is known here */
};

struct choices {
  std::vector<choice> tracks; /* in order */
  std::string fallback;       /* the source that gave results when nothing close was left */
};

/** What a listener's history has to say of the tracks that are about to be chosen. */
class listener {
 public:
  virtual ~listener() = default;
  /** The station whose memories are asked for; 0 for none. */
  virtual int64_t station_id() const = 0;
  virtual bool knows(int64_t track) const = 0;
  virtual void learn(memories told) = 0;
  /* Of tracks that it knows: */
  virtual bool admits(const candidate& track) = 0;
  virtual void chosen(const candidate& track) = 0;
  /** Too little has been chosen: lets more of the tracks pass from now on, and those that were heard longest ago are to come
   *  first. False when it can't. */
  virtual bool relax(const std::vector<candidate>& there) = 0;
  /** Less for what was heard longer ago. */
  virtual int64_t last_heard(const candidate& track) const = 0;
};

/** `history` may be null. At most two questions, with a history four. */
choices choose(store& from, const request& asked, progress& run, listener* history = nullptr);

}  // namespace velox::catalog

#endif
