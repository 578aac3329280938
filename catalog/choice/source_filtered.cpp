// What the filters name, so that it isn't left to the seeds' neighbourhood. Each filtered kind takes its part: one that is rare is
// then there as a whole.
#include "choice/sources.h"

namespace velox::catalog {

bool filter_is_empty(const gathering& of) {
  const track_filter& filter = of.asked().filter;
  if (filter.placed && filter.genre == 0 && filter.artist == 0 && filter.path.empty()) return true;
  for (const attribute_kind kind : k_all_kinds) {
    int64_t tracks = 0;
    for (const int64_t id : filter.any_of[kind]) tracks += of.attribute(id).tracks;
    if (filter.set[kind] && tracks == 0) return true;
  }
  return false;
}

void add_filtered(gathering& to) {
  const track_filter& filter = to.asked().filter;
  if (!filter.any()) return;
  if (filter.artist != 0) return to.add({.of = window::of_artist, .limit = k_near_quota, .id = filter.artist});
  if (!filter.path.empty()) return to.add({.of = window::below_path, .limit = k_near_quota});
  if (filter_is_empty(to)) return;
  std::vector<int64_t> ids;
  if (filter.genre != 0) ids.push_back(filter.genre);
  for (const auto& kind : filter.any_of) ids.insert(ids.end(), kind.begin(), kind.end());
  const auto each = std::max<uint32_t>(k_near_quota / static_cast<uint32_t>(ids.size()), k_least_quota);
  for (const int64_t id : ids) to.add_attribute(id, each);
}

}  // namespace velox::catalog
