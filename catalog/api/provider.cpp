// The catalogue as the default provider of lookups. Stores are kept between lookups, for each service URL and role as many as
// threads were inside at once; the lock guards the shelf alone and isn't held while a lookup runs.
#include <cstring>
#include <map>
#include <mutex>

#include "api/guard.h"
#include "choice/answers.h"
#include "velox_catalog.h"

namespace velox::catalog {
namespace {

constexpr size_t k_kept_per_catalogue = 8;

std::mutex s_lock;
std::string s_default_url;
using shelf_key = std::pair<std::string, role>;
std::map<shelf_key, std::vector<std::unique_ptr<store>>> s_kept;

/** A store, taken off the shelf for the time of a lookup. */
class borrowed {
 public:
  borrowed(const std::string& url, role as) : key_(url, as) {
    {
      const std::lock_guard hold(s_lock);
      auto& shelf = s_kept[key_];
      if (!shelf.empty()) {
        held_ = std::move(shelf.back());
        shelf.pop_back();
      }
    }
    if (held_ && held_->current()) return;
    held_.reset();
    held_ = open_store(url, as);
  }
  ~borrowed() {
    if (!held_) return;
    const std::lock_guard hold(s_lock);
    auto& shelf = s_kept[key_];
    if (shelf.size() < k_kept_per_catalogue) shelf.push_back(std::move(held_));
  }
  borrowed(const borrowed&) = delete;
  borrowed& operator=(const borrowed&) = delete;
  store& operator*() const { return *held_; }

 private:
  shelf_key key_;
  std::unique_ptr<store> held_;
};

std::string url_of(const velox_standin_lookup& lookup) {
  const char* named = value_of({lookup.options, lookup.option_count}, VELOX_LOOKUP_OPTION_SERVICE_URL);
  if (named && *named) return named;
  const std::lock_guard hold(s_lock);
  if (s_default_url.empty())
    throw failure{VELOX_STANDIN_ERR_UNSUPPORTED,
                  "no catalogue is chosen: set \"velox_queryopt_service_url\" to sqlite:/path/to/file.db"};
  return s_default_url;
}

struct served_type {
  const char* name;
  standin::mdo_ref (*answer)(store&, const velox_standin_request&, progress&);
  role needs;
};
constexpr served_type k_types[] = {
    {VELOX_LOOKUP_TYPE_RECOMMEND, recommend, role::read},       {VELOX_LOOKUP_TYPE_ALBUM, look_up_album, role::read},
    {VELOX_LOOKUP_TYPE_CREATE, create_station, role::stations}, {VELOX_LOOKUP_TYPE_EVENT, tell_station, role::stations},
    {VELOX_LOOKUP_TYPE_SETTING, set_station, role::stations},   {VELOX_LOOKUP_TYPE_LOOKAHEAD, look_ahead, role::read}};

const served_type& served(const char* type) {
  for (const served_type& each : k_types) {
    if (std::strcmp(type, each.name) == 0) return each;
  }
  throw failure{VELOX_STANDIN_ERR_UNSUPPORTED, std::string("the catalogue doesn't answer \"") + type + "\""};
}

void check(pask_status status) {
  if (status != 0) throw failure{status, "the lookup was aborted"};
}

void answer_one(const std::string& url, const velox_standin_request& asked, velox_standin_run* run, uint32_t place) {
  const served_type& type = served(asked.type);
  const borrowed from(url, type.needs);
  progress watch(run, *from);
  try {
    const standin::mdo_ref answer = type.answer(*from, asked, watch);
    if (answer) check(velox_standin_run_result(run, place, answer.get()));
  } catch (const failure&) {
    watch.check();  // a question that was ended fails with a word of its own
    throw;
  }
}

void answer_all(const velox_standin_lookup& lookup, velox_standin_run* run) {
  for (uint32_t i = 0; i < lookup.request_count; ++i) served(lookup.requests[i].type);  // all are, or none runs
  check(velox_standin_run_progress(run, 0, 8, 0, nullptr));
  const std::string url = url_of(lookup);
  for (uint32_t i = 0; i < lookup.request_count; ++i) answer_one(url, lookup.requests[i], run, i);
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
