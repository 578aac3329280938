// The catalogues that are open, by their handles, and the frame of an operation on one.
#ifndef VELOX_CATALOG_OPEN_CATALOG_H
#define VELOX_CATALOG_OPEN_CATALOG_H

#include <atomic>

#include "api/guard.h"
#include "handle_table.h"
#include "store/store.h"
#include "velox_catalog.h"

namespace velox::catalog {

struct open_catalog {
  std::unique_ptr<store> from;
  bool writable;
  std::atomic<bool> closed = false; /* and kept only by the operations that are still inside */
};

extern standin::typed_table<open_catalog, velox_catalog_handle> open_catalogs;

/** A catalogue for the time of an operation: closed meanwhile, it goes behind it. */
class in_use {
 public:
  explicit in_use(velox_catalog_handle handle) : handle_(handle), open_(open_catalogs.addref(handle)) {
    if (open_ && !open_->closed) return;
    if (open_) open_catalogs.release(handle);
    throw failure{VELOX_STANDIN_ERR_HANDLE, "the handle names no open catalogue"};
  }
  ~in_use() { open_catalogs.release(handle_); }
  in_use(const in_use&) = delete;
  in_use& operator=(const in_use&) = delete;

  store& from() const { return *open_->from; }
  void require_writable() const {
    if (!open_->writable) throw failure{VELOX_STANDIN_ERR_INVALID_ARG, from().name() + " is open for reading only"};
  }

 private:
  const velox_catalog_handle handle_;
  open_catalog* const open_;
};

}  // namespace velox::catalog

#endif
