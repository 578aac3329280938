// Rotation: at each turn the track that fits best there, looked for among all that are left.
#include "choice/arrange.h"

#include <unordered_map>

namespace velox::catalog {

static std::vector<choice> rotated(std::vector<choice> rest, size_t seeds) {
  std::vector<choice> ordered;
  ordered.reserve(rest.size());
  std::unordered_map<int64_t, size_t> left_of;
  for (const choice& each : rest) ++left_of[each.track.artist];
  int64_t last_artist = 0;
  for (size_t turn = 0; !rest.empty(); ++turn) {
    // An artist that has half of what is left must come now, or it will follow itself later.
    const auto fullest = std::max_element(rest.begin(), rest.end(), [&](const choice& a, const choice& b) {
      return left_of[a.track.artist] < left_of[b.track.artist];
    });
    const int64_t pressing = left_of[fullest->track.artist] * 2 > rest.size() ? fullest->track.artist : 0;
    const auto rank = [&](const choice& each) {
      return (each.track.artist != last_artist ? 4 : 0) + (pressing != 0 && each.track.artist == pressing ? 2 : 0) +
             (each.seed == turn % seeds ? 1 : 0);
    };
    const auto best =
        std::max_element(rest.begin(), rest.end(), [&](const choice& a, const choice& b) { return rank(a) < rank(b); });
    last_artist = best->track.artist;
    --left_of[last_artist];
    ordered.push_back(std::move(*best));
    rest.erase(best);
  }
  return ordered;
}

void arrange(std::vector<choice>& chosen, const request& asked) {
  if (!asked.radio)
    std::sort(chosen.begin(), chosen.end(), [](const choice& a, const choice& b) {
      return a.score != b.score ? a.score > b.score : a.track.id < b.track.id;
    });
  if (asked.rotate) chosen = rotated(std::move(chosen), asked.seed_count());
}

}  // namespace velox::catalog
