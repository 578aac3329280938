/* cadenz recommend: seeds, filters and options become a query of the service, and its answer a table or a playlist. */
#include <unistd.h>

#include <chrono>

#include "commands.h"
#include "finding.h"
#include "output.h"
#include "session.h"
#include "terminal.h"

namespace app {

namespace {

using clock = std::chrono::steady_clock;

/** Follows a running request, and stops it on Ctrl-C or when its time is over. */
struct request_watch {
  clock::time_point deadline = clock::time_point::max();
  progress_line line{std::chrono::milliseconds(300)};

  bool expired() const { return clock::now() >= deadline; }
};

void on_progress(void* data, uint32_t status, uint32_t, uint32_t total_1, uint32_t total_2, uint8_t* abort) noexcept {
  auto& watch = *static_cast<request_watch*>(data);
  if (abort && (interrupted() || watch.expired())) *abort = 1;
  if (status != VELOX_CADENZ_STATUS_END && watch.line.due())
    watch.line.show("looking for music: " + std::to_string(uint64_t{total_1} + total_2) + " looked at");
}

filter_owner make_filter(velox_catalog_handle catalog, const recommend_request& request, recommendation& result) {
  const std::vector<std::string>* wanted[] = {&request.genres, &request.moods, &request.eras};
  if (request.genres.empty() && request.moods.empty() && request.eras.empty()) return nullptr;

  filter_owner filter = acquire<filter_owner>("making a filter", velox_cadenz_filter_create);
  for (size_t i = 0; i < std::size(list_kinds); ++i)
    for (std::string& name : set_elements(catalog, list_kinds[i], *wanted[i], filter.get()))
      result.filters.emplace_back(list_kinds[i].singular, std::move(name));
  return filter;
}

/** The whole of a request to the service. */
mdo_owner generate(velox_cadenz_query_handle query, velox_cadenz_filter_handle filter, request_watch& watch) {
  velox_mdo_handle answer = nullptr;
  const pask_status status = velox_cadenz_query_generate_recommendations(query, filter, &answer);
  watch.line.clear();
  if (status == 0) return mdo_owner(answer);
  if (interrupted()) throw failure("interrupted");
  if (watch.expired()) throw failure("no answer in the time given", "give more of it with --timeout SECONDS");
  throw failure("no recommendations: " + last_error(status));
}

void read_answer(velox_mdo_handle answer, recommendation& result) {
  const char* fallback = velox_standin_mdo_value(answer, VELOX_VAL_FALLBACK, 1);
  if (fallback) result.fallback = fallback;
  const uint32_t count = velox_standin_mdo_child_count(answer, "velox_ctx_track!");
  for (uint32_t ordinal = 1; ordinal <= count; ++ordinal) {
    result.tracks.push_back(read_item(velox_standin_mdo_child(answer, "velox_ctx_track!", ordinal)));
    if (result.seeds.empty())
      result.tracks.back().reason_seed.reset();  // a lone filter counts as a seed to the service
  }
}

std::string rendered(const recommendation& result, const recommend_request& request) {
  const terminal where = terminal_of(STDOUT_FILENO);
  switch (request.output) {
    case form::json:
      return json_of(result);
    case form::m3u:
      return m3u_of(result, where.there);
    case form::xspf:
      return xspf_of(result, request.explain);
    case form::table:
      break;
  }
  return table_of(result, request.explain, where);
}

}  // namespace

int recommend(const std::string& path, const recommend_request& request) {
  const session running;
  const catalog_owner catalog = open_catalog(path);
  watch_interrupts();

  request_watch watch;
  if (request.timeout_seconds)
    watch.deadline = clock::now() + std::chrono::duration_cast<clock::duration>(
                                        std::chrono::duration<double>(*request.timeout_seconds));
  const query_owner query =
      acquire<query_owner>("making a query", velox_cadenz_query_create, running.user(), on_progress, &watch);

  const auto set_option = [&](const char* key, const std::string& value) {
    check(velox_cadenz_query_option_set(query.get(), key, value.c_str()), "setting an option");
  };
  set_option(VELOX_QUERYOPT_SERVICE_URL, catalog_url(path));
  for (const auto& [key, value] : request.options) set_option(key, value);

  recommendation result;
  velox_catalog_counts counts = {};
  check(velox_catalog_count(catalog.get(), &counts));
  result.invented = counts.invented != 0;
  for (const named_seed& named : request.seeds) {
    found_object seed = find_seed(catalog.get(), named.kind, named.text);
    check(velox_cadenz_query_set_mdo(query.get(), seed.object.get()), "adding a seed");
    result.seeds.push_back(std::move(seed.shown));
  }
  const filter_owner filter = make_filter(catalog.get(), request, result);

  const mdo_owner answer = generate(query.get(), filter.get(), watch);
  read_answer(answer.get(), result);

  const bool found = !result.tracks.empty();
  if (found || request.output != form::table) write_result(rendered(result, request));
  if (!found)
    throw failure(result.fallback.empty() ? "nothing in the catalogue fits" : result.fallback,
                  "give fewer filters, or another --from");
  if (!result.fallback.empty()) tell("nothing closer was left: " + result.fallback);
  return exit_fine;
}

}  // namespace app
