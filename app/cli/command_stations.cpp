/* cadenz stations: what stations there are, and what happened on them. */
#include <unistd.h>

#include "cli/commands.h"
#include "cli/output.h"
#include "core/session.h"
#include "core/text_safe.h"

namespace app {

namespace {

template <class Row>
void write_rows(const std::vector<Row>& rows, bool json) {
  write_result(json ? json_of(rows) : table_of(rows, terminal_of(STDOUT_FILENO)));
}

int list(velox_catalog_handle catalog, bool json) {
  const std::vector<station_row> rows = read_stations(catalog);
  if (json || !rows.empty()) write_rows(rows, json);
  if (rows.empty()) tell("there are no stations yet", "start one with: cadenz radio");
  return exit_fine;
}

int history(velox_catalog_handle catalog, const station_row& row, bool json) {
  const std::vector<history_row> events = read_history(catalog, row.id);
  if (json || !events.empty()) write_rows(events, json);
  if (events.empty()) tell("nothing has happened yet on the station " + row.name);
  return exit_fine;
}

}  // namespace

int stations(const std::string& path, const stations_request& request) {
  using what = stations_request::action;
  const session running;
  const catalog_owner catalog = open_catalog(path, request.what == what::rename || request.what == what::remove);
  if (request.what == what::list) return list(catalog.get(), request.json);

  const station_row row = find_station(catalog.get(), request.id);
  if (request.what == what::history) return history(catalog.get(), row, request.json);
  if (request.what == what::rename) {
    check(velox_catalog_station_rename(catalog.get(), row.id.c_str(), request.name.c_str()));
    write_result("Station " + safe(row.id) + ": " + safe(request.name) + '\n');
  } else {
    check(velox_catalog_station_remove(catalog.get(), row.id.c_str()));
    write_result("Removed: station " + safe(row.id) + ", " + safe(row.name) + '\n');
  }
  return exit_fine;
}

}  // namespace app
