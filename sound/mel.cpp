// O'Shaughnessy's formula, as everywhere: 2595 lg(1 + f / 700).
#include "mel.h"

#include <cmath>

#include "decoder.h"

namespace velox::sound {
namespace {

constexpr double k_lowest = 30, k_highest = 10000; /* Hz */
constexpr float k_floor = 1e-10f;                  /* of power: -100 dB; quieter is silence */

double mel_of(double hertz) { return 2595 * std::log10(1 + hertz / 700); }
double hertz_of(double mel) { return 700 * (std::pow(10, mel / 2595) - 1); }

}  // namespace

mel_bands::mel_bands(size_t size) {
  const double from = mel_of(k_lowest), step = (mel_of(k_highest) - from) / (k_bands + 1);
  const double bin = static_cast<double>(k_rate) / static_cast<double>(size);
  for (size_t i = 0; i < k_bands; ++i) {
    const double low = hertz_of(from + static_cast<double>(i) * step),
                 middle = hertz_of(from + static_cast<double>(i + 1) * step),
                 high = hertz_of(from + static_cast<double>(i + 2) * step);
    band made{static_cast<size_t>(std::ceil(low / bin)), {}};
    for (size_t at = made.first; at <= size / 2 && static_cast<double>(at) * bin < high; ++at) {
      const double hertz = static_cast<double>(at) * bin;
      const double weight = hertz <= middle ? (hertz - low) / (middle - low) : (high - hertz) / (high - middle);
      made.weights.push_back(static_cast<float>(weight));
    }
    if (made.weights.empty()) made = {static_cast<size_t>(middle / bin + 0.5), {1.0f}};  // narrower than a bin
    bands_.push_back(std::move(made));
  }
}

void mel_bands::of(std::span<const float> powers, std::span<float, k_bands> logs) const {
  for (size_t i = 0; i < k_bands; ++i) {
    const band& each = bands_[i];
    float sum = 0;
    for (size_t j = 0; j < each.weights.size(); ++j) sum += each.weights[j] * powers[each.first + j];
    logs[i] = std::log(sum + k_floor);
  }
}

}  // namespace velox::sound
