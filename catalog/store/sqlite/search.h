// Finding by name.
#ifndef VELOX_CATALOG_SEARCH_H
#define VELOX_CATALOG_SEARCH_H

#include <vector>

#include "store/sqlite/connection.h"

namespace velox::catalog {

/** The numbers of the tracks, albums or artists (one VELOX_CATALOG_ bit) that the text finds, best first. */
std::vector<int64_t> search(database& db, std::string_view text, uint32_t kind, uint32_t limit);

}  // namespace velox::catalog

#endif
