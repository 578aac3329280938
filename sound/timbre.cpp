// Logan and Salomon's coefficients, as Mandel and Ellis take them together: a mean and a full covariance say what all frames have in
// common, whatever their order.
#include <cmath>
#include <numbers>

#include "sides.h"

namespace velox::sound {

timbre::timbre() {
  for (size_t i = 0; i < cosines_.size(); ++i) {
    const double scale = std::sqrt((i == 0 ? 1.0 : 2.0) / k_bands);
    for (size_t j = 0; j < k_bands; ++j)
      cosines_[i][j] = static_cast<float>(
          scale * std::cos(std::numbers::pi / k_bands * (static_cast<double>(j) + 0.5) * static_cast<double>(i)));
  }
}

void timbre::add(std::span<const float, k_bands> logs) {
  std::array<float, VELOX_SOUND_COEFFICIENTS> frame = {};
  for (size_t i = 0; i < frame.size(); ++i) {
    for (size_t j = 0; j < k_bands; ++j) frame[i] += cosines_[i][j] * logs[j];
  }
  double* product = products_.data();
  for (size_t i = 0; i < frame.size(); ++i) {
    sums_[i] += frame[i];
    for (size_t j = 0; j <= i; ++j) *product++ += static_cast<double>(frame[i] * frame[j]);
  }
  ++frames_;
}

void timbre::tell(velox_sound& to) const {
  if (frames_ == 0) return;
  const auto frames = static_cast<double>(frames_);
  size_t at = 0;
  for (size_t i = 0; i < sums_.size(); ++i) {
    to.mean[i] = i == 0 ? 0.0f : static_cast<float>(sums_[i] / frames);
    for (size_t j = 0; j <= i; ++j, ++at)
      to.covariance[at] = static_cast<float>(products_[at] / frames - sums_[i] / frames * (sums_[j] / frames));
  }
}

}  // namespace velox::sound
