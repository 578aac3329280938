// Short frames for colour and rhythm, long ones for notes; the channels as they are for loudness.
#include "analysis.h"

#include <algorithm>
#include <cmath>

#include "sides.h"
#include "spectra.h"

namespace velox::sound {
namespace {

constexpr size_t k_short = 1024, k_hop = 512, k_long = 4096;

/** How much happens: strong onsets and an even loudness. */
float energy_of(const velox_sound& of) {
  const double onsets = of.onsets / (of.onsets + 4.0), even = 1 / (1 + of.range / 10.0);
  return of.loudness <= -70 ? 0.0f : static_cast<float>(std::clamp(0.7 * onsets + 0.3 * even, 0.0, 1.0));
}

}  // namespace

velox_sound analyse(int file) {
  velox_sound made = {};
  made.method = VELOX_SOUND_METHOD;
  const mel_bands bands(k_short);
  timbre colour;
  rhythm beats(static_cast<double>(k_rate) / k_hop);
  harmony notes(k_long);
  brightness bright(k_short);
  loudness loud;
  std::array<float, k_bands> logs = {};
  spectra short_frames(k_short, k_hop, [&](std::span<const float> powers) {
    bands.of(powers, logs);
    colour.add(logs);
    beats.add(logs);
    bright.add(powers);
  });
  spectra long_frames(k_long, k_long, [&](std::span<const float> powers) { notes.add(powers); });
  size_t samples = 0;
  decode(file, VELOX_SOUND_SECONDS,
         {.on_format = [&](int rate, int channels, uint64_t layout) { loud.begin(rate, channels, layout); },
          .on_channels = [&](std::span<const float> channels) { loud.add(channels); },
          .on_mix =
              [&](std::span<const float> mix) {
                samples += mix.size();
                short_frames.add(mix);
                long_frames.add(mix);
              }});
  short_frames.end();
  long_frames.end();
  made.seconds = static_cast<float>(samples) / k_rate;
  colour.tell(made);
  beats.tell(made);
  notes.tell(made);
  bright.tell(made);
  loud.tell(made);
  made.energy = energy_of(made);
  return made;
}

}  // namespace velox::sound
