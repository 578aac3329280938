// The sides of a sound. Each takes in frames as they come and says at the end what it heard; a further side is a class of its own
// with the same two operations, and a member of the analysis.
#ifndef VELOX_SOUND_SIDES_H
#define VELOX_SOUND_SIDES_H

#include <ebur128.h>

#include <array>
#include <memory>
#include <vector>

#include "mel.h"
#include "velox_sound.h"

namespace velox::sound {

/** The colour: mel-frequency cepstral coefficients as one Gaussian. */
class timbre {
 public:
  timbre();
  void add(std::span<const float, k_bands> logs);
  void tell(velox_sound& to) const;

 private:
  std::array<std::array<float, k_bands>, VELOX_SOUND_COEFFICIENTS> cosines_;
  std::array<double, VELOX_SOUND_COEFFICIENTS> sums_ = {};
  std::array<double, VELOX_SOUND_COVARIANCES> products_ = {};
  size_t frames_ = 0;
};

/** What sets in, and when. */
class rhythm {
 public:
  /** Frames a second. */
  explicit rhythm(double rate) : rate_(rate) {}
  void add(std::span<const float, k_bands> logs);
  void tell(velox_sound& to) const;

 private:
  const double rate_;
  std::array<float, k_bands> before_ = {};
  std::vector<float> onsets_; /* strength by frame; the first has none */
};

/** Which notes. */
class harmony {
 public:
  /** `size` is that of the transform. */
  explicit harmony(size_t size);
  void add(std::span<const float> powers);
  void tell(velox_sound& to) const;

 private:
  struct note {
    size_t bin;
    int of; /* 0 to 11 */
    float weight;
  };
  std::vector<note> notes_;
  std::array<double, 12> sums_ = {};
};

/** How bright: the centre of the spectrum. */
class brightness {
 public:
  explicit brightness(size_t size);
  void add(std::span<const float> powers);
  void tell(velox_sound& to) const;

 private:
  const double bin_;
  double weighed_ = 0, power_ = 0;
};

/** How loud, by EBU R128, over all channels. */
class loudness {
 public:
  void begin(int rate, int channels, uint64_t layout);
  void add(std::span<const float> interleaved);
  void tell(velox_sound& to) const;

 private:
  struct destroy {
    void operator()(ebur128_state* state) const { ebur128_destroy(&state); }
  };
  std::unique_ptr<ebur128_state, destroy> state_;
};

}  // namespace velox::sound

#endif
