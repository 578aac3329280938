// How well a name fits a text that somebody looks for: the same ranking for every engine.
#ifndef VELOX_CATALOG_MODEL_MATCH_H
#define VELOX_CATALOG_MODEL_MATCH_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velox::catalog {

/** A name that was found, with what makes one of two equally near ones come first. */
struct match {
  int64_t id;
  int64_t weight; /* popularity, or number of tracks */
  std::string name;
};

/** How many matches an engine looks at for so many results: one common word costs the same in every catalogue. */
int64_t matches_looked_at(uint32_t limit);

/** The numbers of the best matches, best first, each once: names that are the text, that begin with it, that hold its words, and
 *  last those whose artist's name holds some. */
std::vector<int64_t> ranked(const std::vector<match>& matches, std::string_view text, uint32_t limit);

}  // namespace velox::catalog

#endif
