/* The second half of a scan: listening to what has been taken in. */
#ifndef CADENZ_APP_LISTENING_H
#define CADENZ_APP_LISTENING_H

#include "core/handles.h"

namespace app {

/** Listens to all files of the catalogue that nobody has listened to, several at once, and finds what sounds alike. An interrupt ends
 *  it; the next scan goes on. Returns how many couldn't be listened to, each of which was told of. */
uint64_t listen(velox_catalog_handle catalog, size_t jobs);

}  // namespace app

#endif
