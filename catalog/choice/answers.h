// The answers to lookups, by type. Each reads its request, asks the store in one view, and builds the answer's object.
#ifndef VELOX_CATALOG_CHOICE_ANSWERS_H
#define VELOX_CATALOG_CHOICE_ANSWERS_H

#include "choice/progress.h"
#include "standin.h"

namespace velox::catalog {

/** Answers VELOX_LOOKUP_TYPE_RECOMMEND. */
standin::mdo_ref recommend(store& from, const velox_standin_request& asked, progress& run);

/** Answers VELOX_LOOKUP_TYPE_ALBUM; an empty reference when nothing matches.
 *
 *  The answer holds the album that the request names. A track among its identifiers or texts is the album's matching track.
 *  An artist alone is answered by an album without tracks that stands for the artist. */
standin::mdo_ref look_up_album(store& from, const velox_standin_request& asked, progress& run);

/* Stations: VELOX_LOOKUP_TYPE_CREATE, _EVENT, _SETTING and _LOOKAHEAD. All of a request takes effect or nothing. */
standin::mdo_ref create_station(store& from, const velox_standin_request& asked, progress& run);
standin::mdo_ref tell_station(store& from, const velox_standin_request& asked, progress& run);
standin::mdo_ref set_station(store& from, const velox_standin_request& asked, progress& run);
standin::mdo_ref look_ahead(store& from, const velox_standin_request& asked, progress& run);

inline std::span<const velox_standin_item> data_of(const velox_standin_request& asked) {
  return {asked.data, asked.data_count};
}
inline std::span<const velox_standin_item> options_of(const velox_standin_request& asked) {
  return {asked.options, asked.option_count};
}

}  // namespace velox::catalog

#endif
