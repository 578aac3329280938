/* cadenz recommend: seeds, filters and options become a query of the service, and its answer a table or a playlist. */
#include <unistd.h>

#include "cli/commands.h"
#include "cli/files.h"
#include "cli/output.h"
#include "cli/request_progress.h"
#include "core/session.h"

namespace app {

namespace {

void read_answer(velox_mdo_handle answer, recommendation& result) {
  const char* fallback = velox_standin_mdo_value(answer, VELOX_VAL_FALLBACK, 1);
  if (fallback) result.fallback = fallback;
  const uint32_t count = velox_standin_mdo_child_count(answer, VELOX_CHILD_TRACK);
  for (uint32_t ordinal = 1; ordinal <= count; ++ordinal) {
    result.tracks.push_back(read_item(velox_standin_mdo_child(answer, VELOX_CHILD_TRACK, ordinal)));
    if (result.from.seeds.empty())
      result.tracks.back().reason_seed.reset();  // a lone filter counts as a seed to the service
  }
}

std::string rendered(const recommendation& result, const recommend_request& request) {
  const terminal where = request.file.empty() ? terminal_of(STDOUT_FILENO) : terminal{false, false, 80};
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
  return heading_of(result.from, where) + '\n' + table_of_tracks(result.tracks, request.explain, where, request.sonic);
}

void deliver(const std::string& text, const std::string& file, const std::string& catalog) {
  return file.empty() ? write_result(text) : write_file(file, text, catalog);
}

}  // namespace

int recommend(const std::string& path, const recommend_request& request) {
  const session running;
  const catalog_owner catalog = open_catalog(path);
  watch_interrupts();

  request_progress progress(request.start.timeout_seconds);
  start_point start(running, catalog.get(), path, request.start, progress.watch(), tell);
  velox_mdo_handle given = nullptr;
  start.watch.check(velox_cadenz_query_generate_recommendations(start.query.get(), start.filter.get(), &given),
                    "no recommendations");
  progress.clear();
  const mdo_owner answer(given);
  recommendation result;
  result.from = std::move(start.from);
  read_answer(answer.get(), result);

  const bool found = !result.tracks.empty();
  if (found || request.output != form::table) deliver(rendered(result, request), request.file, path);
  if (!found)
    throw failure(result.fallback.empty() ? "nothing in the catalogue fits" : result.fallback,
                  "give fewer filters, or another --from");
  if (!result.fallback.empty()) tell("nothing closer was left: " + result.fallback);
  return exit_fine;
}

}  // namespace app
