// More of the seeds' genres and moods.
#include "choice/sources.h"

namespace velox::catalog {

void add_genres(gathering& to) {
  for (const seed& each : to.asked().seeds) {
    const auto parts = static_cast<uint32_t>(each.profile.size() * to.asked().seeds.size());
    for (const weighted& part : each.profile)
      to.add_attribute(part.attribute, std::max(k_least_quota, k_wide_quota / parts));
  }
}

}  // namespace velox::catalog
