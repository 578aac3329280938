// What goes between a scan and a process that listens for it, over a socket that keeps messages whole: the listener sends a byte when it
// is ready; then a byte with the descriptor of a file goes one way, a record the other way, in turns.
#ifndef VELOX_SOUND_WIRE_H
#define VELOX_SOUND_WIRE_H

#include <velox/velox_sound.h>

namespace velox::sound {

constexpr int k_socket = 3; /* the listener's end */

struct answer {
  uint32_t last;     /* 1: the process ends now, and is to get no further file */
  velox_sound sound; /* where `why` is empty */
  char why[128];     /* a sentence's end: the file "holds no sound that is understood"; ends with a zero */
};

}  // namespace velox::sound

#endif
