// What a recommendation or a station's next tracks are asked by: read from the items of a lookup, with what the catalogue knows
// of them.
#ifndef VELOX_CATALOG_CHOICE_REQUEST_H
#define VELOX_CATALOG_CHOICE_REQUEST_H

#include "store/store.h"

namespace velox::catalog {

struct weighted {
  int64_t attribute;
  float weight;
};

struct seed {
  uint32_t ordinal = 0;
  int64_t track = 0, artist = 0, album = 0; /* 0: none, or unknown here */
  int64_t title_key = 0;
  int year = 0;
  std::vector<weighted> profile; /* genres and moods */
  std::vector<int64_t> eras;
  std::vector<int64_t> sounds = {}; /* tracks that it sounds like */
  std::string label; /* as reasons name it: "Title" in quotes, or the artist; empty for attributes alone */
  std::string artist_name;
  bool liked = false; /* not asked for, but liked on the station */
};

/** Options and data as a lookup has them, or a station keeps them. */
struct request_items {
  std::span<const velox_standin_item> options, data;
};

/** A request.
 *
 *  Seeds and filter arrive under the same data keys (model/references.h). A request whose only ordinal is a lone "ATTRIBUTE" asks
 *  for tracks with these attributes: they narrow it too. The filter's values hold for the whole request: any of its genres, any
 *  of its moods, any of its eras; values that aren't of this catalogue's lists pass no track.
 *
 *  VELOX_LOOKUP_OPTION_XIDS adds the identifiers that came with the music (VELOX_VAL_XID), VELOX_LOOKUP_OPTION_SONIC what is known
 *  of their sound. The option for content asks for what this catalogue doesn't have, and changes nothing. */
struct request {
  std::vector<seed> seeds;
  bool attributes_only = false; /* no seed but the filter */
  track_filter filter;
  uint32_t count = 25;
  uint32_t per_artist = 3; /* 0: any number */
  int popularity = -1, similarity = -1;
  bool rotate = true;
  bool radio = false; /* seeds may be played themselves */
  bool xids = false, sonic = false;
  std::vector<avoided_track> avoided;
  uint64_t fingerprint = 0; /* the same for equal requests */
  int64_t last_track = 0;   /* the highest number of the catalogue's tracks */

  size_t seed_count() const { return std::max<size_t>(1, seeds.size()); }
};

/** Makes a request of its items and what was resolved of references_of(seeds_in(data), filter); what was resolved behind the
 *  items' own seeds isn't looked at. */
request make_request(const store& from, const request_items& items, const resolved& found);
/** Reads a lookup's request; one question. */
request read_request(store& from, const request_items& items);

/** A seed of what the catalogue tells of it. */
seed make_seed(const store& from, const seed_record& record);

}  // namespace velox::catalog

#endif
