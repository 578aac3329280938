// More of the seeds' artists than is near at first.
#include "choice/sources.h"

namespace velox::catalog {

void add_artists(gathering& to) {
  for (const seed& each : to.asked().seeds) {
    if (each.artist != 0) to.add({.of = window::of_artist, .limit = k_wide_quota / 2, .id = each.artist});
  }
}

}  // namespace velox::catalog
