// What the data and options of a request name: seeds by their identifiers, attributes by their numbers, a place by its name. A
// store finds it all in one question.
#ifndef VELOX_CATALOG_MODEL_REFERENCES_H
#define VELOX_CATALOG_MODEL_REFERENCES_H

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/attribute.h"
#include "model/station.h"
#include "velox_standin.h"

namespace velox::catalog {

constexpr size_t k_most_seeds = 32; /* of a request; further ones are left out */

/** A seed by its identifiers: the track where they name one, else the artist. */
struct seed_reference {
  std::string tui, tag, artist_uid;
};

/** The catalogue filter: the first of these that there is, in this order; an empty one isn't looked for. */
struct place_reference {
  std::string genre, artist, path;
};

struct references {
  std::vector<seed_reference> seeds;
  std::vector<int64_t> attributes;
  place_reference place;
};

/** The data of one ordinal, the seed's own part and the filter's. In an ordinal the seed comes first, with each key once; what
 *  follows a second kind, or a key given again, is the filter's. */
struct seed_data {
  uint32_t ordinal;
  std::map<std::string_view, const char*> own;
  std::vector<velox_standin_item> filter;

  const char* value(const char* key) const {
    const auto found = own.find(key);
    return found == own.end() ? nullptr : found->second;
  }
};

/** By ordinal. The texts are those of the items. */
std::vector<seed_data> seeds_in(std::span<const velox_standin_item> data);

/** The attribute's kind and number that a value of a request names; of no kind when the key is another, and number 0 when the value
 *  isn't one. */
struct named_attribute {
  attribute_kind kind = k_no_attribute;
  int64_t id = 0;
};
named_attribute attribute_in(std::string_view key, const char* value);

/** "genre:Dream Pop", "artist:Aurora Lane", "path:/music/live", or a text that is tried as each in this order. */
place_reference place_in(std::string_view text);

/** All that a request names. */
references references_of(std::span<const seed_data> seeds, const char* catalog_filter);
/** A liked track or artist as a seed. */
seed_reference reference_of(const told_event& like);

/** The value of the last item with a key; null when there is none. */
const char* value_of(std::span<const velox_standin_item> items, std::string_view key);

}  // namespace velox::catalog

#endif
