// How a lookup goes on, and whether it is to stop: tells the application now and then, and ends at once what the store does when
// the application asks for it.
#ifndef VELOX_CATALOG_CHOICE_PROGRESS_H
#define VELOX_CATALOG_CHOICE_PROGRESS_H

#include "store/store.h"

namespace velox::catalog {

class progress {
 public:
  /** Watches the store's questions as long as it lives. `run` may be null: then nobody is told. */
  progress(velox_standin_run* run, store& watched);
  ~progress();
  progress(const progress&) = delete;
  progress& operator=(const progress&) = delete;
  /** Tracks looked at. Throws when the lookup is to stop. */
  void looked(size_t tracks);
  /** Tracks given. */
  void gave(size_t tracks);
  /** Throws when the lookup is to stop. */
  void check() const;

 private:
  bool tell_now_and_then();
  void tell(int32_t state, uint32_t tracks);
  velox_standin_run* run_;
  store& watched_;
  int64_t last_ns_;
  uint32_t looked_ = 0;
  pask_status status_ = 0;
};

}  // namespace velox::catalog

#endif
