// What becomes of files that were read: new tracks, changed ones, files that have moved, further files of a track's content. Files are
// settled some at a time, since the store is asked about all of them together.
#ifndef VELOX_CATALOG_INTAKE_SETTLE_H
#define VELOX_CATALOG_INTAKE_SETTLE_H

#include <functional>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "intake/readers.h"

namespace velox::catalog {

class settler {
 public:
  /** `seen` is told each path at which something that the catalogue knows was found, beside those that are added. */
  settler(scan_run& run, std::function<void(const std::string&)> seen) : run_(run), seen_(std::move(seen)) {}

  /** Adds a file that was read. `known` is what the catalogue has under its path; null for nothing. */
  void add(song track, const known_file* known);
  /** Adds a file of the catalogue that is no longer there. */
  void add_gone(const known_file& file);
  bool due() const;
  /** Decides about what was added, in its order, and puts it into the store. */
  void settle();

 private:
  struct entry {
    song track;
    known_file known;
    bool is_known, is_gone;
  };
  struct holder {
    int64_t track; /* 0: it had the content, and another may have it as well */
    std::string path;
  };
  using content_key = std::pair<int64_t, uint64_t>; /* digest and size */

  void ask();
  void ask_again();
  void decide(const entry& each);
  void take_changed(const song& track, int64_t id);
  void take_gone(const known_file& file);
  bool recognised(const song& track);
  bool inherit(int64_t of, int64_t under);
  void hold(const song& track, int64_t named);

  scan_run& run_;
  std::function<void(const std::string&)> seen_;
  std::vector<entry> entries_;
  std::chrono::steady_clock::time_point began_;
  /* As of the moment, changes of the batch included. */
  std::map<content_key, holder> holders_;                          /* the track of a content */
  std::unordered_map<int64_t, std::vector<duplicate>> duplicates_; /* of a track that changes or is gone */
  std::unordered_set<int64_t> copied_;                             /* tracks of which the batch has put a duplicate */
};

}  // namespace velox::catalog

#endif
