/* Catalogue handles for the server's threads: each is one thread's at a time, and a bounded number of them is kept for the next. */
#ifndef CADENZ_APP_SHELF_H
#define CADENZ_APP_SHELF_H

#include <mutex>
#include <vector>

#include "core/session.h"

namespace app::http {

class shelf {
 public:
  shelf(std::string path, size_t most_kept) : path_(std::move(path)), most_(most_kept) {}

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
    {
      const std::lock_guard held(mutex_);
      if (!kept_.empty()) {
        catalog_owner last = std::move(kept_.back());
        kept_.pop_back();
        return last;
      }
    }
    return open_catalog(path_);
  }
  void give(catalog_owner handle) {
    const std::lock_guard held(mutex_);
    if (kept_.size() < most_) kept_.push_back(std::move(handle));
  }

  const std::string path_;
  const size_t most_;
  std::mutex mutex_;
  std::vector<catalog_owner> kept_;
};

}  // namespace app::http

#endif
