// Whatever a filter lets through, where its parts have hardly a track in common: the smallest of its sets to its end, or until
// some choice is there.
#include "choice/sources.h"

namespace velox::catalog {

constexpr uint32_t k_choice = 4; /* tracks to choose one from */

void add_passing(gathering& to) {
  if (to.asked().filter.any() && !filter_is_empty(to))
    to.add({.of = window::passing, .limit = to.missing() * k_choice});
}

}  // namespace velox::catalog
