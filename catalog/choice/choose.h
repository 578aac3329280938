// The choice of tracks for a request: near to its seeds, within its filters, spread over artists, each with its reason.
#ifndef VELOX_CATALOG_CHOOSE_H
#define VELOX_CATALOG_CHOOSE_H

#include "choice/scorer.h"

namespace velox::catalog {

struct choice {
  candidate track;
  uint32_t seed; /* index of the nearest one */
  float score;
  reason why;
};

struct choices {
  std::vector<choice> tracks; /* in order */
  std::string fallback;       /* the step that gave results when nothing close was left */
};

/** What a listener's history has to say of the tracks that are about to be chosen. */
class listener {
 public:
  virtual ~listener() = default;
  virtual bool admits(const candidate& track) = 0;
  virtual void chosen(const candidate& track) = 0;
  /** Too little has been chosen: lets more of the tracks pass from now on, and those that were heard longest ago are to come
   *  first. False when it can't. */
  virtual bool relax(const pool& there) = 0;
  /** Less for what was heard longer ago. */
  virtual int64_t last_heard(const candidate& track) = 0;
};

/** `history` may be null. */
choices choose(connection& from, const wish& asked, progress& run, listener* history = nullptr);

}  // namespace velox::catalog

#endif
