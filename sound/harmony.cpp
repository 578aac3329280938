// The power of each of the twelve notes over all octaves between 65 Hz and 2.1 kHz, and the major or minor key whose profile of notes
// (Krumhansl and Kessler's, from listeners' ratings) fits them best.
#include <algorithm>
#include <cmath>

#include "decoder.h"
#include "sides.h"

namespace velox::sound {
namespace {

constexpr double k_lowest = 63, k_highest = 2100, k_c0 = 16.3515978; /* Hz */
constexpr double k_major[12] = {6.35, 2.23, 3.48, 2.33, 4.38, 4.09, 2.52, 5.19, 2.39, 3.66, 2.29, 2.88};
constexpr double k_minor[12] = {6.33, 2.68, 3.52, 5.38, 2.60, 3.53, 2.54, 4.75, 3.98, 2.69, 3.34, 3.17};

/** Pearson's correlation between the notes from `tonic` on and a profile. */
double fit(const float* chroma, const double* profile, int tonic) {
  double x = 0, y = 0, xx = 0, yy = 0, xy = 0;
  for (int i = 0; i < 12; ++i) {
    const double a = chroma[(tonic + i) % 12], b = profile[i];
    x += a, y += b, xx += a * a, yy += b * b, xy += a * b;
  }
  const double spread = (xx - x * x / 12) * (yy - y * y / 12);
  return spread > 0 ? (xy - x * y / 12) / std::sqrt(spread) : 0;
}

}  // namespace

harmony::harmony(size_t size) {
  const double bin = static_cast<double>(k_rate) / static_cast<double>(size);
  for (size_t at = static_cast<size_t>(k_lowest / bin) + 1; static_cast<double>(at) * bin < k_highest; ++at) {
    const double pitch = 12 * std::log2(static_cast<double>(at) * bin / k_c0);
    const double nearest = std::round(pitch), off = pitch - nearest;
    // What lies between two notes tells of neither.
    notes_.push_back({at, static_cast<int>(nearest) % 12, static_cast<float>(std::pow(std::cos(off * 3.14159265), 2))});
  }
}

/** A frame counts by its notes' shares, so that loud parts don't drown the others. */
void harmony::add(std::span<const float> powers) {
  std::array<float, 12> frame = {};
  float all = 0;
  for (const note& each : notes_) {
    const float strength = std::sqrt(powers[each.bin]) * each.weight;
    frame[static_cast<size_t>(each.of)] += strength;
    all += strength;
  }
  if (all < 1e-4f) return;
  const float weight = std::sqrt(all);
  for (size_t i = 0; i < 12; ++i) sums_[i] += static_cast<double>(frame[i] / all * weight);
}

void harmony::tell(velox_sound& to) const {
  to.key = -1;
  double all = 0;
  for (const double each : sums_) all += each;
  if (all <= 0) return;
  for (size_t i = 0; i < 12; ++i) to.chroma[i] = static_cast<float>(sums_[i] / all);
  double best = 0;
  for (int tonic = 0; tonic < 12; ++tonic) {
    for (const bool minor : {false, true}) {
      const double fits = fit(to.chroma, minor ? k_minor : k_major, tonic);
      if (fits > best) best = fits, to.key = tonic, to.minor = minor;
    }
  }
  to.key_sure = static_cast<float>(best);
}

}  // namespace velox::sound
