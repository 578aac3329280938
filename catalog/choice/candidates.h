// Tracks to choose from: taken through indexes, in windows whose sizes depend on the request alone.
#ifndef VELOX_CATALOG_CANDIDATES_H
#define VELOX_CATALOG_CANDIDATES_H

#include <unordered_set>

#include "choice/request.h"

namespace velox::catalog {

struct candidate {
  int64_t id, artist, album, title_key;
  int popularity, year;
  uint32_t attrs_from, attrs_count; /* in pool::attrs */
};

/** The tracks looked at so far that the request lets through. */
class pool {
 public:
  pool(connection& from, const wish& asked, progress& run);
  /** Takes up to about `quota` tracks that have an attribute, or all where there are hardly more, spread over the levels of
   *  popularity as the request's focus asks and over the catalogue. */
  void take_attribute(int64_t id, uint32_t quota);
  void take_artist(int64_t id, uint32_t quota);
  void take_album(int64_t id, uint32_t quota);
  /** Takes from what the filters name, so that they aren't left to the seeds' neighbourhood. */
  void take_filtered(uint32_t quota);
  /** Whether take_filtered has seen all that the filters let through. */
  bool filter_is_exhausted() const { return exhausted_; }
  /** Goes through the smallest of the filters' sets to its end, or until so many tracks more are there. */
  void take_all_filtered(uint32_t wanted);
  /** The most popular tracks of the catalogue. */
  void take_popular(uint32_t quota);

  const std::vector<candidate>& all() const { return tracks_; }
  const int64_t* attrs_of(const candidate& track) const { return attrs_.data() + track.attrs_from; }
  const std::vector<int64_t>& attrs() const { return attrs_; }

 private:
  bool take(int64_t id);
  void take_level(int64_t attribute, int level, uint32_t quota, int64_t there);
  template <class Each>
  void each_of_smallest_filter(int64_t limit, Each each);
  bool passes(const candidate& track, std::string_view path) const;
  connection& from_;
  const wish& asked_;
  progress& run_;
  int64_t last_track_ = 0;
  bool exhausted_ = false;
  std::unordered_set<int64_t> seen_;
  std::vector<candidate> tracks_;
  std::vector<int64_t> attrs_;
};

}  // namespace velox::catalog

#endif
