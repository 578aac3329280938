// What ties a track to a seed.
#ifndef VELOX_CATALOG_CHOICE_NEARNESS_H
#define VELOX_CATALOG_CHOICE_NEARNESS_H

namespace velox::catalog {

/** Nearest first. */
enum class nearness { album, artist, sound, attribute, era, none };

}  // namespace velox::catalog

#endif
