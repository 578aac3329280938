/* Owners of the handles that an application of velox_cadenz works with: each releases its handle when it goes out of scope.
 * acquire() runs an operation with an out-handle and takes what it gives; check() turns a failed status into an exception. */
#ifndef CADENZ_APP_HANDLES_H
#define CADENZ_APP_HANDLES_H

#include <velox/velox_cadenz.h>
#include <velox/velox_catalog.h>
#include <velox/velox_standin.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace app {

template <auto Release>
struct releaser {
  template <class Object>
  void operator()(Object* handle) const noexcept {
    Release(handle);
  }
};

using user_owner = std::unique_ptr<velox_user, releaser<velox_standin_user_release>>;
using mdo_owner = std::unique_ptr<velox_mdo, releaser<velox_standin_mdo_release>>;
using catalog_owner = std::unique_ptr<velox_catalog, releaser<velox_catalog_close>>;
using query_owner = std::unique_ptr<cadenz_query, releaser<velox_cadenz_query_release>>;
using station_owner = std::unique_ptr<cadenz_station, releaser<velox_cadenz_station_release>>;
using filter_owner = std::unique_ptr<cadenz_filter, releaser<velox_cadenz_filter_release>>;

/** Something failed: what happened, and what to do next, which may be empty. */
struct failure : std::runtime_error {
  explicit failure(const std::string& what, std::string next = {}) : std::runtime_error(what), hint(std::move(next)) {}
  std::string hint;
};

/** The sentence that the manager kept about the last failure, or one for the status word. */
std::string last_error(pask_status status);

/** Throws a failure when the status isn't 0. `doing` begins its sentence; the catalogue's own sentences need none. */
inline void check(pask_status status, const char* doing = nullptr) {
  if (status != 0) throw failure((doing ? std::string(doing) + ": " : std::string()) + last_error(status));
}

template <class Owner, class Operation, class... Arguments>
Owner acquire(const char* doing, Operation operation, Arguments... arguments) {
  typename Owner::pointer handle = nullptr;
  check(operation(arguments..., &handle), doing);
  return Owner(handle);
}

/** A further owner of an object that was only lent. */
inline mdo_owner keep(velox_mdo_handle lent) {
  check(velox_standin_mdo_addref(lent), "keeping an object");
  return mdo_owner(lent);
}

}  // namespace app

#endif
