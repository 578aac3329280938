/* The way from names to handles. Callbacks of the service come on the thread of the request. */
#include "core/start.h"

#include "core/session.h"

namespace app {

namespace {

filter_owner make_filter(velox_catalog_handle catalog, const start_request& request, origin& from) {
  const std::vector<std::string>* wanted[] = {&request.genres, &request.moods, &request.eras};
  if (!request.has_filters()) return nullptr;

  filter_owner filter = acquire<filter_owner>("making a filter", velox_cadenz_filter_create);
  for (size_t i = 0; i < std::size(list_kinds); ++i)
    for (std::string& name : set_elements(catalog, list_kinds[i], *wanted[i], filter.get()))
      from.filters.emplace_back(list_kinds[i].singular, std::move(name));
  return filter;
}

}  // namespace

request_watch::request_watch(std::optional<double> timeout_seconds, waiting follow) : follow_(std::move(follow)) {
  using clock = std::chrono::steady_clock;
  if (timeout_seconds)
    deadline_ =
        clock::now() + std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(*timeout_seconds));
}

void request_watch::on_progress(void* data, uint32_t status, uint32_t, uint32_t total_1, uint32_t total_2,
                                uint8_t* abort) noexcept {
  auto& watch = *static_cast<request_watch*>(data);
  if (status != VELOX_CADENZ_STATUS_END && !watch.follow_(uint64_t{total_1} + total_2)) watch.given_up_ = true;
  if (abort && (watch.given_up_ || watch.expired())) *abort = 1;
}

void request_watch::check(pask_status status, const char* failed) const {
  if (status == 0) return;
  if (given_up_) throw failure("interrupted");
  if (expired()) throw failure("no answer in the time given", "give more of it with --timeout SECONDS");
  app::check(status, failed);
}

start_point::start_point(const session& running, velox_catalog_handle catalog, const std::string& path,
                         const start_request& request, request_watch& followed_by, const notice_sink& notices)
    : watch(followed_by),
      query(acquire<query_owner>("making a query", velox_cadenz_query_create, running.user(),
                                 request_watch::on_progress, &followed_by)) {
  const auto set_option = [&](const char* key, const std::string& value) {
    check(velox_cadenz_query_option_set(query.get(), key, value.c_str()), "setting an option");
  };
  set_option(VELOX_QUERYOPT_SERVICE_URL, catalog_url(path));
  for (const auto& [key, value] : request.options) set_option(key, value);

  velox_catalog_counts counts = {};
  check(velox_catalog_count(catalog, &counts));
  from.invented = counts.invented != 0;
  const auto add = [&](found_object seed) {
    check(velox_cadenz_query_set_mdo(query.get(), seed.object.get()), "adding a seed");
    from.seeds.push_back(std::move(seed.shown));
  };
  for (const named_seed& named : request.seeds) add(find_seed(catalog, named.kind, named.text, notices));
  for (const identified_seed& one : request.identified) {
    std::optional<found_object> seed = find_by_id(catalog, one.kind, one.id);
    if (!seed) throw failure(std::string("the ") + kind_name(one.kind) + " isn't in the catalogue any more");
    add(std::move(*seed));
  }
  filter = make_filter(catalog, request, from);
}

}  // namespace app
