// The catalogue as the default provider of lookups. Connections are kept between lookups, for each catalogue as many as
// threads were inside at once; the lock guards the shelf alone and isn't held while a lookup runs.
#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>

#include "api/guard.h"
#include "choice/album_lookup.h"
#include "choice/recommend.h"
#include "choice/station.h"

namespace velox::catalog {
namespace {

constexpr size_t k_kept_per_catalogue = 8;

std::mutex s_lock;
std::string s_default_url;
std::map<std::string, std::vector<std::unique_ptr<connection>>> s_kept;

/** A connection, taken off the shelf for the time of a lookup. */
class borrowed {
 public:
  explicit borrowed(std::string url) : url_(std::move(url)) {
    {
      const std::lock_guard hold(s_lock);
      auto& shelf = s_kept[url_];
      if (!shelf.empty()) {
        held_ = std::move(shelf.back());
        shelf.pop_back();
      }
    }
    if (held_ && held_->db->current()) return;
    held_.reset();
    held_.reset(new connection{database::open(url_, VELOX_CATALOG_READ)});
  }
  ~borrowed() {
    if (!held_) return;
    const std::lock_guard hold(s_lock);
    auto& shelf = s_kept[url_];
    if (shelf.size() < k_kept_per_catalogue) shelf.push_back(std::move(held_));
  }
  borrowed(const borrowed&) = delete;
  borrowed& operator=(const borrowed&) = delete;
  connection& operator*() const { return *held_; }

 private:
  std::string url_;
  std::unique_ptr<connection> held_;
};

std::string url_of(const velox_standin_lookup& lookup) {
  for (uint32_t i = lookup.option_count; i-- > 0;) {
    const velox_standin_item& option = lookup.options[i];
    if (std::strcmp(option.key, "velox_lookup_option_serviceurl") == 0 && option.value && *option.value)
      return option.value;
  }
  const std::lock_guard hold(s_lock);
  if (s_default_url.empty())
    throw failure{VELOX_STANDIN_ERR_UNSUPPORTED,
                  "no catalogue is chosen: set \"velox_queryopt_service_url\" to sqlite:/path/to/file.db"};
  return s_default_url;
}

using answer_fn = standin::mdo_ref (*)(connection&, const velox_standin_request&, progress&);
struct served_type {
  const char* name;
  answer_fn answer;
  bool only_reads; /* in a view that is opened for it, and not in a transaction of its own */
};
constexpr served_type k_types[] = {{"velox_lookup_type_radio_recommend", recommend, true},
                                   {"velox_lookup_type_album", look_up_album, true},
                                   {"velox_lookup_type_radio_create", create_station, false},
                                   {"velox_lookup_type_radio_event", tell_station, false},
                                   {"velox_lookup_type_radio_setting", set_station, false},
                                   {"velox_lookup_type_radio_lookahead", look_ahead, false}};

const served_type& served(const char* type) {
  for (const served_type& each : k_types) {
    if (std::strcmp(type, each.name) == 0) return each;
  }
  throw failure{VELOX_STANDIN_ERR_UNSUPPORTED, std::string("the catalogue doesn't answer \"") + type + "\""};
}

void check(pask_status status) {
  if (status != 0) throw failure{status, "the lookup was aborted"};
}

void answer_all(const velox_standin_lookup& lookup, velox_standin_run* run) {
  for (uint32_t i = 0; i < lookup.request_count; ++i) served(lookup.requests[i].type);  // all are, or none runs
  check(velox_standin_run_progress(run, 0, 8, 0, nullptr));
  const borrowed from(url_of(lookup));
  progress watch(run, (*from).db->raw());
  for (uint32_t i = 0; i < lookup.request_count; ++i) {
    const velox_standin_request& request = lookup.requests[i];
    const served_type& type = served(request.type);
    try {
      std::optional<transaction> view;
      if (type.only_reads) {
        view.emplace(*(*from).db, false);
        (*from).attrs.refresh();
      }
      const standin::mdo_ref answer = type.answer(*from, request, watch);
      if (answer) check(velox_standin_run_result(run, i, answer.get()));
    } catch (const failure&) {
      watch.check();  // an interrupted statement fails with a word of its own
      throw;
    }
  }
  check(velox_standin_run_progress(run, 0, 12, 0, nullptr));
}

pask_status execute(void*, const velox_standin_lookup* lookup, velox_standin_run* run) {
  return guarded("lookup_execute", [&] { answer_all(*lookup, run); });
}

void close_all() {
  const std::lock_guard hold(s_lock);
  s_kept.clear();
}

const bool s_installed = [] {
  standin::default_provider_set({nullptr, execute}, close_all);
  return true;
}();

}  // namespace
}  // namespace velox::catalog

pask_status velox_catalog_default_set(const char* url) {
  using namespace velox::catalog;
  return guarded(__func__, [&] {
    const std::lock_guard hold(s_lock);
    s_default_url = url ? url : "";
  });
}
