// Where candidates come from: a list of sources, each of which names windows of the catalogue for a request. All that is near to
// the seeds is looked at in one question; where that isn't enough, all wider sources in a second one, whose tracks are then taken
// source by source. A further source is a file of its own and a row in sources.cpp.
#ifndef VELOX_CATALOG_CHOICE_SOURCES_H
#define VELOX_CATALOG_CHOICE_SOURCES_H

#include "choice/nearness.h"
#include "choice/request.h"

namespace velox::catalog {

/** The windows of one question, in the making. */
class gathering {
 public:
  gathering(const store& from, const request& asked, uint32_t missing)
      : from_(from), asked_(asked), missing_(missing) {}
  const request& asked() const { return asked_; }
  /** Tracks that are still to be chosen. */
  uint32_t missing() const { return missing_; }
  const attribute_info& attribute(int64_t id) const { return from_.attribute(id); }
  void add(window at);
  /** Up to about `quota` tracks that have an attribute, or all where there are hardly more, spread over the levels of popularity as
   *  the request's focus asks and over the catalogue. */
  void add_attribute(int64_t id, uint32_t quota);
  /** Tracks of one level: all, or windows at places that the request's fingerprint picks: always the same for one request, others
   *  for the next, and never more rows than the quota. */
  void add_level(int64_t attribute, int level, uint32_t quota);
  void begin_step(uint32_t step) { step_ = step; }
  std::vector<window>& windows() { return windows_; }

 private:
  const store& from_;
  const request& asked_;
  const uint32_t missing_;
  uint32_t step_ = 0;
  std::vector<window> windows_;
};

struct source {
  const char* told;  /* as an answer tells that it was needed; null for what is near */
  nearness furthest; /* what of its tracks may be taken */
  void (*add)(gathering& to);
};

extern const std::span<const source> k_near_sources, k_wider_sources;

// The rows, each in the source of its name
void add_filtered(gathering& to);
void add_seeds(gathering& to);
void add_artists(gathering& to);
void add_genres(gathering& to);
void add_eras(gathering& to);
void add_popular(gathering& to);
void add_passing(gathering& to);

/** Whether the filter can let nothing through: it names what no track has. */
bool filter_is_empty(const gathering& of);

constexpr uint32_t k_least_quota = 16;
constexpr uint32_t k_near_quota = 2000; /* rows looked at for what is near to the seeds, and as many for the filter */
constexpr uint32_t k_wide_quota = 600;  /* and for each wider source */

}  // namespace velox::catalog

#endif
