// The seeds' decades.
#include "choice/sources.h"

namespace velox::catalog {

void add_eras(gathering& to) {
  for (const seed& each : to.asked().seeds) {
    const auto parts = static_cast<uint32_t>(each.eras.size() * to.asked().seeds.size());
    for (const int64_t era : each.eras) to.add_attribute(era, k_wide_quota / parts);
  }
}

}  // namespace velox::catalog
