// What a file sounds like: one pass over its sound, from which each side of it is measured.
#ifndef VELOX_SOUND_ANALYSIS_H
#define VELOX_SOUND_ANALYSIS_H

#include "decoder.h"
#include "velox_sound.h"

namespace velox::sound {

/** Listens to a file by its descriptor. Throws `unheard`. */
velox_sound analyse(int file);

}  // namespace velox::sound

#endif
