// Genres, moods and eras: what tracks have in common. An attribute's number is stable; it is the list element's too.
#ifndef VELOX_CATALOG_MODEL_ATTRIBUTE_H
#define VELOX_CATALOG_MODEL_ATTRIBUTE_H

#include <array>
#include <cstdint>
#include <string>

#include "velox_lookup_keys.h"

namespace velox::catalog {

/** An attribute's place in the lists. */
enum attribute_kind : int { k_no_attribute, k_genre, k_mood, k_era, k_kinds };
constexpr attribute_kind k_all_kinds[] = {k_genre, k_mood, k_era};
constexpr const char* k_list_types[k_kinds] = {"", VELOX_LIST_GENRES, VELOX_LIST_MOODS, VELOX_LIST_ERAS};

/** The attribute that every track has: the whole catalogue by popularity. It is of no kind. */
constexpr int64_t k_everything = 0;

/** Popularity in five levels, 0 the least known: part of the indexes, so that a window can be taken at any level. */
constexpr int k_levels = 5;
constexpr int k_most_popular = 1000;
constexpr int level_of(int64_t popularity) {
  return static_cast<int>(popularity >= k_most_popular ? k_levels - 1 : popularity <= 0 ? 0 : popularity / 200);
}

struct attribute_info {
  attribute_kind kind = k_no_attribute; /* also of a number that stands for nothing */
  std::string name;
  int64_t tracks = 0; /* of all levels */
  std::array<int64_t, k_levels> levels = {};
};

}  // namespace velox::catalog

#endif
