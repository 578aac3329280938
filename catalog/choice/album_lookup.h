// Finding what a seed describes.
#ifndef VELOX_CATALOG_ALBUM_LOOKUP_H
#define VELOX_CATALOG_ALBUM_LOOKUP_H

#include "choice/request.h"

namespace velox::catalog {

/** Answers a request of type "velox_lookup_type_album"; an empty reference when nothing matches.
 *
 *  The answer holds the album that the request names. A track among its identifiers or texts is the album's matching track.
 *  An artist alone is answered by an album without tracks that stands for the artist. */
standin::mdo_ref look_up_album(connection& from, const velox_standin_request& request, progress& run);

}  // namespace velox::catalog

#endif
