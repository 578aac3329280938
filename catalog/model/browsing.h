// What is asked for by place and order instead of by name: all artists, the albums of one, what came in last, some at random.
#ifndef VELOX_CATALOG_MODEL_BROWSING_H
#define VELOX_CATALOG_MODEL_BROWSING_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "model/attribute.h"

namespace velox::catalog {

/** An album by what stays the same of it: its artist's identifier and its title's key. */
struct album_reference {
  std::string artist_uid;
  int64_t title_key;
};

/** "ARTIST-0123456789abcdef", and back; nothing for another text. */
std::string album_identifier(std::string_view artist_uid, std::string_view title);
std::optional<album_reference> album_in(std::string_view identifier);

struct browsing {
  uint32_t kind; /* a VELOX_CATALOG_ bit: of what */
  /* What it is narrowed to. At most one of these; with the kind's own it is that one alone. */
  std::string track = {}, track_tag = {}, artist = {}; /* identifiers */
  std::optional<album_reference> album = {};
  attribute_kind list = k_no_attribute; /* an element of a list, by its name */
  std::string element = {};
  int first_year = 0,
      last_year = 0; /* tracks and albums of these years, backwards where the first is the later one; 0: any */

  uint32_t order; /* a VELOX_CATALOG_ order */
  uint64_t random_seed;
  uint32_t offset, limit;
};

/** How many tracks of a leading genre and decade there are; genre empty and decade 0 where they aren't known. */
struct chart_cell {
  std::string genre;
  int decade;
  int64_t tracks;
};

}  // namespace velox::catalog

#endif
