// Which sounds are nearest to which: each has a list of its nearest, kept in the store and mended as sounds come and go, so that a
// request reads a list and compares nothing.
//
// The lists are also the way by which a new sound finds its place. They are layered (a hierarchical navigable small world, Malkov and
// Yashunin 2016): one sound of eight is in the layer above as well, where lists reach further; a search goes from layer to layer
// and along the lists towards what is nearer. In a catalogue of some thousand, a new sound is compared with all others instead, which
// costs no more and is exact.
#ifndef VELOX_CATALOG_HEARING_NEIGHBOURHOOD_H
#define VELOX_CATALOG_HEARING_NEIGHBOURHOOD_H

#include <functional>

#include "store/store.h"

namespace velox::catalog {

constexpr size_t k_nearest_kept = 64; /* of each sound */

/** How a catalogue's size decides. */
struct settling {
  int64_t always_anew = 1024;     /* so many sounds are all placed anew whenever something has changed */
  int64_t compared_whole = 16384; /* up to so many, all are when they have doubled; new ones are compared with all */
};

/** Places all that has come and mends what has gone. `go_on` is told what is done, of how much; false ends it with a failure of
 *  VELOX_STANDIN_ERR_ABORTED, with what was done kept. */
void settle_sounds(store& of, const std::function<bool(uint64_t done, uint64_t all)>& go_on,
                   const settling& limits = settling());

}  // namespace velox::catalog

#endif
