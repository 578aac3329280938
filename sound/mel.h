// The mel scale: triangular bands of equal width to the ear, over spectra of 22.05 kHz.
#ifndef VELOX_SOUND_MEL_H
#define VELOX_SOUND_MEL_H

#include <cstddef>
#include <span>
#include <vector>

namespace velox::sound {

constexpr size_t k_bands = 40;

class mel_bands {
 public:
  /** `size` is that of the transform. */
  explicit mel_bands(size_t size);
  /** Natural logarithms of the power in each band. */
  void of(std::span<const float> powers, std::span<float, k_bands> logs) const;

 private:
  struct band {
    size_t first;
    std::vector<float> weights;
  };
  std::vector<band> bands_;
};

}  // namespace velox::sound

#endif
