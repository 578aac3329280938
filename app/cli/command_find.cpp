/* cadenz search and cadenz lists: what is there to start from. */
#include <unistd.h>

#include <algorithm>

#include "cli/commands.h"
#include "cli/output.h"
#include "core/finding.h"
#include "core/nearest.h"
#include "core/session.h"
#include "core/text_safe.h"
#include "terminal/terminal.h"

namespace app {

constexpr size_t longest_told = 200;  // columns of a text that names nothing

int search(const std::string& path, const search_request& request) {
  const session running;
  const catalog_owner catalog = open_catalog(path);
  const bool all = !request.tracks && !request.albums && !request.artists;
  const struct {
    item_kind kind;
    bool wanted;
  } kinds[] = {
      {item_kind::track, request.tracks}, {item_kind::album, request.albums}, {item_kind::artist, request.artists}};

  std::vector<item> found;
  for (const auto& [kind, wanted] : kinds) {
    if (!wanted && !all) continue;
    for (found_object& one : find(catalog.get(), request.text, kind, request.limit))
      found.push_back(std::move(one.shown));
  }

  if (request.json) write_result(json_of(found));
  if (found.empty()) {
    std::vector<std::string> names;
    for (const auto& [kind, wanted] : kinds)
      if (wanted || all) std::ranges::copy(nearest_items(catalog.get(), kind, request.text), std::back_inserter(names));
    throw failure("nothing is called \"" + fit(safe(request.text), longest_told) + "\"",
                  suggestion(nearest(request.text, names), "try fewer words"));
  }
  if (!request.json) write_result(table_of(found, terminal_of(STDOUT_FILENO)));
  return exit_fine;
}

int lists(const std::string& path, const lists_request& request) {
  const session running;
  const catalog_owner catalog = open_catalog(path);
  std::vector<named_list> shown;
  for (const list_kind& kind : list_kinds)
    if (request.names.empty() || std::ranges::count(request.names, kind.plural) > 0)
      shown.push_back(read_list(catalog.get(), kind));

  write_result(request.json ? json_of(shown) : table_of(shown, terminal_of(STDOUT_FILENO)));
  return exit_fine;
}

}  // namespace app
