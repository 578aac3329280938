// The most popular tracks of the whole catalogue.
#include "choice/sources.h"

namespace velox::catalog {

void add_popular(gathering& to) {
  const attribute_info& everything = to.attribute(k_everything);
  int64_t left = k_wide_quota;
  for (int level = k_levels; level-- > 0 && left > 0;) {
    const int64_t rows = std::min(left, everything.levels[static_cast<size_t>(level)]);
    to.add_level(k_everything, level, static_cast<uint32_t>(rows));
    left -= rows;
  }
}

}  // namespace velox::catalog
