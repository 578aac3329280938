// What sounds like the seeds, their own artists and albums, and what has their genres and moods. A rare attribute is small and says much: it comes whole
// before a common one gets what is left.
#include "choice/sources.h"

namespace velox::catalog {

constexpr uint32_t k_of_artist = 40, k_of_album = 40, k_of_sound = 64;

static void add_profile(gathering& to, const seed& of) {
  std::vector<weighted> parts = of.profile;
  std::sort(parts.begin(), parts.end(), [&](const weighted& a, const weighted& b) {
    return to.attribute(a.attribute).tracks < to.attribute(b.attribute).tracks;
  });
  auto left = static_cast<int64_t>(k_near_quota / to.asked().seed_count());
  for (size_t i = 0; i < parts.size(); ++i) {
    const int64_t quota = std::max<int64_t>(left / static_cast<int64_t>(parts.size() - i), k_least_quota);
    to.add_attribute(parts[i].attribute, static_cast<uint32_t>(quota));
    left = std::max<int64_t>(left - std::min(quota, to.attribute(parts[i].attribute).tracks), 0);
  }
}

void add_seeds(gathering& to) {
  if (to.asked().attributes_only) return;
  for (const seed& each : to.asked().seeds) {
    for (const int64_t track : each.sounds) to.add({.of = window::of_sound, .limit = k_of_sound, .id = track});
    if (each.artist != 0) to.add({.of = window::of_artist, .limit = k_of_artist, .id = each.artist});
    if (each.album != 0) to.add({.of = window::of_album, .limit = k_of_album, .id = each.album});
    add_profile(to, each);
  }
}

}  // namespace velox::catalog
