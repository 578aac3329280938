/* What recommendations and stations start from: a query with its seeds and options, and a filter. */
#ifndef CADENZ_APP_START_H
#define CADENZ_APP_START_H

#include <chrono>

#include "cli/commands.h"
#include "core/item.h"
#include "terminal/terminal.h"

namespace app {

class session;

/** Follows a running request: shows its progress, and stops it on Ctrl-C or when its time is over. */
class request_watch {
 public:
  explicit request_watch(std::optional<double> timeout_seconds);

  static void on_progress(void* watch, uint32_t status, uint32_t, uint32_t total_1, uint32_t total_2,
                          uint8_t* abort) noexcept;
  /** Takes the progress away, and throws a failure when the status isn't 0; `failed` begins its sentence. */
  void finish(pask_status status, const char* failed);

 private:
  bool expired() const { return std::chrono::steady_clock::now() >= deadline_; }

  std::chrono::steady_clock::time_point deadline_ = std::chrono::steady_clock::time_point::max();
  progress_line line_{std::chrono::milliseconds(300)};
};

/** The request's names found in the catalogue, and set on a query and a filter, which is null where none is needed. */
struct start_point {
  start_point(const session& running, velox_catalog_handle catalog, const std::string& path,
              const start_request& request);

  request_watch watch;
  query_owner query;
  filter_owner filter;
  origin from;
};

}  // namespace app

#endif
