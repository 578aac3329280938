/* What recommendations and stations start from: a query with its seeds and options, and a filter. */
#ifndef CADENZ_APP_START_H
#define CADENZ_APP_START_H

#include <chrono>
#include <functional>

#include "core/finding.h"

namespace app {

class session;

struct named_seed {
  item_kind kind;
  std::string text;
};

/** The same by its identifier. */
struct identified_seed {
  item_kind kind;
  std::string id;
};

/** What somebody asks for. */
struct start_request {
  std::vector<named_seed> seeds;
  std::vector<identified_seed> identified;
  std::vector<std::string> genres, moods, eras;
  std::vector<std::pair<const char*, std::string>> options;  // of the query, by their keys
  std::optional<double> timeout_seconds;

  bool has_filters() const { return !genres.empty() || !moods.empty() || !eras.empty(); }
};

/** Follows a running request: ends it when its time is over, or when whoever waits for it doesn't want to any more. */
class request_watch {
 public:
  /** Told on the thread of the request how much was looked at; false to end it. */
  using waiting = std::function<bool(uint64_t looked_at)>;

  request_watch(std::optional<double> timeout_seconds, waiting follow);

  /** The callback of queries, with a watch as its data. */
  static void on_progress(void* watch, uint32_t status, uint32_t, uint32_t total_1, uint32_t total_2,
                          uint8_t* abort) noexcept;
  /** Throws a failure when the status isn't 0; `failed` begins its sentence. */
  void check(pask_status status, const char* failed) const;

 private:
  bool expired() const { return std::chrono::steady_clock::now() >= deadline_; }

  std::chrono::steady_clock::time_point deadline_ = std::chrono::steady_clock::time_point::max();
  waiting follow_;
  bool given_up_ = false;
};

/** The request's names found in the catalogue, and set on a query and a filter, which is null where none is needed. */
struct start_point {
  /** The query's requests are followed by `watch`, which is to outlive it. */
  start_point(const session& running, velox_catalog_handle catalog, const std::string& path,
              const start_request& request, request_watch& watch, const notice_sink& notices);

  request_watch& watch;
  query_owner query;
  filter_owner filter;
  origin from;
};

}  // namespace app

#endif
