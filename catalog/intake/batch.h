// Changes on their way into the store. Files, tags and lines are read while no transaction is open, however long that takes; a batch
// then goes in as a whole. However a scan ends, its report tells what is kept.
#ifndef VELOX_CATALOG_INTAKE_BATCH_H
#define VELOX_CATALOG_INTAKE_BATCH_H

#include <chrono>

#include "store/store.h"
#include "velox_catalog.h"

namespace velox::catalog {

class batch {
 public:
  batch(store& into, velox_catalog_scan_report& report) : into_(into), report_(report), kept_(report) {}
  batch(const batch&) = delete;
  batch& operator=(const batch&) = delete;
  /** What hasn't been flushed is dropped, and taken out of the report. */
  ~batch();

  /** Each gives what names the track in later changes of this batch. */
  int64_t put(song track, int64_t replaced);
  void remove(int64_t track) { add({.of = change::remove_track, .id = track}); }
  void put_duplicate(song file, int64_t of);
  void remove_duplicate(int64_t id) { add({.of = change::remove_duplicate, .id = id}); }
  void hand_duplicates(int64_t from, int64_t to) { add({.of = change::hand_duplicates, .id = from, .to = to}); }

  /** Whether it has grown or lasted enough. */
  bool due() const;
  /** Puts it into the store: all of it, or nothing and a failure. */
  void flush();

 private:
  void add(change what);
  store& into_;
  velox_catalog_scan_report& report_;
  velox_catalog_scan_report kept_; /* as of the last flush */
  std::vector<change> changes_;
  std::chrono::steady_clock::time_point began_;
};

}  // namespace velox::catalog

#endif
