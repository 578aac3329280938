// Rotation: at each turn the track that fits best there, looked for among all that are left; where several do, one that goes on in
// tempo and key.
#include "choice/arrange.h"

#include <cmath>
#include <unordered_map>

namespace velox::catalog {

namespace {

constexpr float k_same_tempo = 0.06f; /* in octaves: a beat that goes on */
constexpr size_t k_ahead = 6;         /* of the tracks that may come, those that are looked at for one that fits */

/** How well one track follows another by tempo and key, 0 to 2. */
int fit(const sonic& before, const sonic& after) {
  int points = 0;
  if (before.tempo > 0 && after.tempo > 0) {
    const float octaves = std::log2(after.tempo / before.tempo);
    points += std::fabs(octaves - std::round(octaves)) <= k_same_tempo ? 1 : 0;  // half and double are the same beat
  }
  if (before.key >= 0 && after.key >= 0) {
    // A minor key is its relative major, and a fifth up or down is near: by their places on the circle of fifths.
    const auto place = [](const sonic& of) { return (of.key + (of.minor ? 3 : 0)) * 7 % 12; };
    const int steps = (place(after) - place(before) + 12) % 12;
    points += steps <= 1 || steps == 11 ? 1 : 0;
  }
  return points;
}

/** Of those that come in question as well as the best does, one of the next few that follows best. */
template <class Rank>
std::vector<choice>::iterator fitting(std::vector<choice>::iterator best, std::vector<choice>& rest, Rank rank,
                                      const sonic& before) {
  const int needed = rank(*best);
  size_t ahead = k_ahead;
  auto fittest = best;
  for (auto each = best; each != rest.end() && ahead > 0; ++each) {
    if (rank(*each) != needed) continue;
    --ahead;
    if (fit(before, each->sound) > fit(before, fittest->sound)) fittest = each;
  }
  return fittest;
}

std::vector<choice> rotated(std::vector<choice> rest, size_t seeds) {
  std::vector<choice> ordered;
  ordered.reserve(rest.size());
  std::unordered_map<int64_t, size_t> left_of;
  for (const choice& each : rest) ++left_of[each.track.family];
  int64_t last_artist = 0;
  for (size_t turn = 0; !rest.empty(); ++turn) {
    // An artist that has half of what is left must come now, or it will follow itself later.
    const auto fullest = std::max_element(rest.begin(), rest.end(), [&](const choice& a, const choice& b) {
      return left_of[a.track.family] < left_of[b.track.family];
    });
    const int64_t pressing = left_of[fullest->track.family] * 2 > rest.size() ? fullest->track.family : 0;
    const auto rank = [&](const choice& each) {
      return (each.track.family != last_artist ? 4 : 0) + (pressing != 0 && each.track.family == pressing ? 2 : 0) +
             (each.seed == turn % seeds ? 1 : 0);
    };
    auto best =
        std::max_element(rest.begin(), rest.end(), [&](const choice& a, const choice& b) { return rank(a) < rank(b); });
    if (!ordered.empty()) best = fitting(best, rest, rank, ordered.back().sound);
    last_artist = best->track.family;
    --left_of[last_artist];
    ordered.push_back(std::move(*best));
    rest.erase(best);
  }
  return ordered;
}

}  // namespace

void arrange(std::vector<choice>& chosen, const request& asked) {
  if (!asked.radio)
    std::sort(chosen.begin(), chosen.end(), [](const choice& a, const choice& b) {
      return a.score != b.score ? a.score > b.score : a.track.id < b.track.id;
    });
  if (asked.rotate) chosen = rotated(std::move(chosen), asked.seed_count());
}

}  // namespace velox::catalog
