/* Catalogue handles for the server's threads: each is one thread's at a time, and there is a bounded number. Who comes when all are lent
 * waits: questions take the processor, so more at once would end no sooner, and each handle keeps what it has read in memory. */
#ifndef CADENZ_APP_SHELF_H
#define CADENZ_APP_SHELF_H

#include <condition_variable>
#include <mutex>
#include <vector>

#include "core/session.h"

namespace app::http {

class shelf {
 public:
  shelf(std::string path, size_t most) : path_(std::move(path)), free_(most) {}

  /** A handle, back on the shelf when it goes out of scope. */
  class borrowed {
   public:
    explicit borrowed(shelf& from) : from_(from), handle_(from.take()) {}
    ~borrowed() { from_.give(std::move(handle_)); }
    borrowed(const borrowed&) = delete;
    borrowed& operator=(const borrowed&) = delete;
    operator velox_catalog_handle() const { return handle_.get(); }

   private:
    shelf& from_;
    catalog_owner handle_;
  };

  const std::string& path() const { return path_; }

 private:
  catalog_owner take() {
    std::unique_lock held(mutex_);
    one_is_back_.wait(held, [this] { return free_ > 0; });
    --free_;
    if (!kept_.empty()) {
      catalog_owner last = std::move(kept_.back());
      kept_.pop_back();
      return last;
    }
    held.unlock();
    try {
      return open_catalog(path_);
    } catch (...) {
      give({});
      throw;
    }
  }
  void give(catalog_owner handle) {
    {
      const std::lock_guard held(mutex_);
      if (handle) kept_.push_back(std::move(handle));
      ++free_;
    }
    one_is_back_.notify_one();
  }

  const std::string path_;
  std::mutex mutex_;
  std::condition_variable one_is_back_;
  size_t free_;  // that may be lent yet
  std::vector<catalog_owner> kept_;
};

}  // namespace app::http

#endif
