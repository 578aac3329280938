// The list of sources, and how an attribute is sampled.
#include "choice/sources.h"

#include <cmath>

#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr uint32_t k_run_length = 8; /* neighbours taken at each place: their rows lie together */

constexpr source k_near[] = {{nullptr, nearness::none, add_filtered}, {nullptr, nearness::none, add_seeds}};

constexpr source k_wider[] = {{"more tracks of the seeds' artists", nearness::artist, add_artists},
                              {"other tracks of the same genres and moods", nearness::attribute, add_genres},
                              {"other tracks of the same era", nearness::era, add_eras},
                              {"popular tracks", nearness::none, add_popular},
                              {"whatever the filter lets through", nearness::none, add_passing}};

/** How much of a level of popularity is wanted. */
double preference(int level, int focus) {
  if (focus < 0) return 1 + level * 0.5;
  const double distance = (level * 200 + 100 - focus) / 220.0;
  return std::exp(-distance * distance) + 0.02;
}

}  // namespace

constinit const std::span<const source> k_near_sources = k_near, k_wider_sources = k_wider;

void gathering::add(window at) {
  at.step = step_;
  windows_.push_back(at);
}

void gathering::add_level(int64_t id, int level, uint32_t quota) {
  const int64_t there = attribute(id).levels[static_cast<size_t>(level)];
  if (there <= 0 || quota == 0) return;
  if (there <= quota) {
    add({.of = window::of_attribute, .limit = static_cast<uint32_t>(there), .id = id, .level = level});
    return;
  }
  const uint32_t runs = (quota + k_run_length - 1) / k_run_length;
  const double stride = static_cast<double>(asked_.last_track) / runs;
  uint64_t chance = hashed(std::to_string(id * k_levels + level), asked_.fingerprint);
  for (uint32_t i = 0; i < runs; ++i) {
    chance = chance * 6364136223846793005u + 1442695040888963407u;
    const double at = (i + static_cast<double>(chance >> 40) / (1 << 24)) * stride;
    add({.of = window::of_attribute,
         .limit = k_run_length,
         .id = id,
         .level = level,
         .from = static_cast<int64_t>(at)});
  }
}

void gathering::add_attribute(int64_t id, uint32_t quota) {
  const attribute_info& info = attribute(id);
  const auto weight = [&](int level) {
    return preference(level, asked_.popularity) * static_cast<double>(info.levels[static_cast<size_t>(level)]);
  };
  double wanted = 0;
  for (int level = 0; level < k_levels; ++level) wanted += weight(level);
  for (int level = k_levels; level-- > 0;) {
    const int64_t there = info.levels[static_cast<size_t>(level)];
    if (there <= 0) continue;
    const auto share = static_cast<uint32_t>(std::ceil(weight(level) / wanted * quota));
    add_level(id, level, info.tracks <= quota ? static_cast<uint32_t>(there) : share);
  }
}

}  // namespace velox::catalog
