// Loudness and its range by libebur128, and the centre of the spectrum.
#include <cmath>
#include <stdexcept>

#include "decoder.h"
#include "sides.h"

namespace velox::sound {
namespace {

constexpr double k_silence = -70; /* LUFS: the gate of EBU R128 */

/** FFmpeg's channels in the order of their bits. */
constexpr int k_channels[] = {EBUR128_LEFT,          EBUR128_RIGHT,          EBUR128_CENTER, EBUR128_UNUSED,
                              EBUR128_LEFT_SURROUND, EBUR128_RIGHT_SURROUND, EBUR128_Mp060,  EBUR128_Mm060,
                              EBUR128_Mp180,         EBUR128_Mp090,          EBUR128_Mm090};

}  // namespace

void loudness::begin(int rate, int channels, uint64_t layout) {
  state_.reset(ebur128_init(static_cast<unsigned>(channels), static_cast<unsigned long>(rate),
                            EBUR128_MODE_I | EBUR128_MODE_LRA));
  if (!state_) throw unheard("its loudness can't be measured");
  if (layout == 0 || channels < 3) return;
  unsigned channel = 0;
  for (unsigned bit = 0; bit < 64; ++bit) {
    if (!(layout >> bit & 1)) continue;
    const int of = bit < std::size(k_channels) ? k_channels[bit] : static_cast<int>(EBUR128_UNUSED);
    ebur128_set_channel(state_.get(), channel++, of);
  }
}

void loudness::add(std::span<const float> interleaved) {
  ebur128_add_frames_float(state_.get(), interleaved.data(), interleaved.size() / state_->channels);
}

void loudness::tell(velox_sound& to) const {
  double integrated = k_silence, range = 0;
  if (state_) {
    if (ebur128_loudness_global(state_.get(), &integrated) != EBUR128_SUCCESS || !(integrated > k_silence))
      integrated = k_silence;
    if (ebur128_loudness_range(state_.get(), &range) != EBUR128_SUCCESS) range = 0;
  }
  to.loudness = static_cast<float>(integrated);
  to.range = static_cast<float>(range);
}

brightness::brightness(size_t size) : bin_(static_cast<double>(k_rate) / static_cast<double>(size)) {}

void brightness::add(std::span<const float> powers) {
  float weighed = 0, power = 0;
  for (size_t i = 1; i < powers.size(); ++i) {
    const float strength = std::sqrt(powers[i]);
    weighed += strength * static_cast<float>(i);
    power += strength;
  }
  weighed_ += static_cast<double>(weighed), power_ += static_cast<double>(power);
}

void brightness::tell(velox_sound& to) const {
  to.brightness = power_ > 1e-6 ? static_cast<float>(weighed_ / power_ * bin_) : 0.0f;
}

}  // namespace velox::sound
