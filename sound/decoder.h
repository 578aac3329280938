// The sound of a file: its first good audio stream, decoded by FFmpeg's libraries, at most the given seconds from the middle.
#ifndef VELOX_SOUND_DECODER_H
#define VELOX_SOUND_DECODER_H

#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>

namespace velox::sound {

/** Why a file can't be listened to, in words. */
struct unheard : std::runtime_error {
  using std::runtime_error::runtime_error;
};

constexpr int k_rate = 22050; /* of the mix */

struct listener {
  /** The channels as they are: told once, before any sound. `layout` has a bit for each channel, as FFmpeg names them; 0: unknown. */
  std::function<void(int rate, int channels, uint64_t layout)> on_format;
  /** Samples of all channels in turn. */
  std::function<void(std::span<const float> interleaved)> on_channels;
  /** The same sound, mixed to one channel at k_rate. */
  std::function<void(std::span<const float> mix)> on_mix;
};

/** Reads a file from its descriptor, which stays open. */
void decode(int file, int seconds, const listener& to);

}  // namespace velox::sound

#endif
