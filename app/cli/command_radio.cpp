/* cadenz radio: makes a station or opens one, and runs a session on it. */
#include "cli/commands.h"
#include "core/radio.h"
#include "core/session.h"

namespace app {

int radio(const std::string& path, const radio_request& request) {
  const session running;
  const catalog_owner catalog = open_catalog(path);
  watch_interrupts();
  check(velox_catalog_default_set(catalog_url(path).c_str()),
        "naming the catalogue");  // for a station that is reopened

  const auto run = [&](station on, const origin& from) {
    const std::string name = find_station(catalog.get(), on.id()).name;
    return radio_session(on, path, request).run(name, from);
  };
  if (!request.station.empty())
    return run(station(running, find_station(catalog.get(), request.station).id, request.start.options), {});
  start_point start(running, catalog.get(), path, request.start);
  return run(station(start), start.from);
}

}  // namespace app
