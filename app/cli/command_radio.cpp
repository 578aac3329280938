/* cadenz radio: makes a station or opens one, and runs a session on it, in words or in lines of JSON. */
#include <unistd.h>

#include "cli/commands.h"
#include "cli/output.h"
#include "cli/request_progress.h"
#include "core/session.h"
#include "terminal/radio_loop.h"

namespace app {

namespace {

radio_setup setup_of(const std::string& catalog, const radio_request& request) {
  radio_setup setup{catalog, request.player, request.on_event, json_line, {}};
  if (request.json) return setup;
  setup.text_of = radio_words(terminal_of(STDOUT_FILENO), terminal_of(STDIN_FILENO).there);
  setup.setting_prompt = "Change (" + number_settings() + ", " + switch_settings({}, " on|off") + "; Enter for none): ";
  return setup;
}

}  // namespace

int radio(const std::string& path, const radio_request& request) {
  const session running;
  const catalog_owner catalog = open_catalog(path);
  watch_interrupts();
  check(velox_catalog_default_set(catalog_url(path).c_str()),
        "naming the catalogue");  // for a station that is reopened

  const auto run = [&](station on, const origin& from) {
    const std::string name = find_station(catalog.get(), on.id()).name;
    return radio_loop(on, setup_of(path, request)).run(name, from) ? exit_fine : exit_failed;
  };
  if (!request.station.empty())
    return run(station(catalog.get(), running, find_station(catalog.get(), request.station).id, request.start.options),
               {});

  request_progress progress(request.start.timeout_seconds);
  start_point start(running, catalog.get(), path, request.start, progress.watch(), tell);
  station made(catalog.get(), start);
  progress.clear();
  return run(std::move(made), start.from);
}

}  // namespace app
