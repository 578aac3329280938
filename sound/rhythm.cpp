// Onsets are what grows from one frame to the next, over all bands. A beat is what makes them like themselves some time later: of the
// times that are likely, the one whose multiples fit best.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "sides.h"

namespace velox::sound {
namespace {

constexpr double k_slowest = 40, k_fastest = 220, k_usual = 110; /* beats a minute */
constexpr double k_spread = 1.0;                                 /* octaves around the usual tempo */
constexpr int k_multiples = 4, k_fine_multiples = 8;
constexpr float k_masked = 13.8f;                              /* 60 dB below the strongest band: nobody hears that */
constexpr double k_local_seconds = 0.5;                        /* an onset stands out of what is this near */
constexpr double k_least_beat = 0.04, k_least_over_chance = 3; /* of a correlation that is called a beat */
constexpr float k_least_onsets = 0.2f;                         /* a second: with less, nothing sets in */
constexpr double k_shortest_pulse = 0.25, k_longest_pulse = 2; /* seconds */

/** The onsets without what goes on around them. */
std::vector<float> outstanding(const std::vector<float>& onsets, double rate) {
  const auto reach = static_cast<ptrdiff_t>(k_local_seconds * rate);
  const auto size = static_cast<ptrdiff_t>(onsets.size());
  std::vector<double> sums(onsets.size() + 1);
  for (size_t i = 0; i < onsets.size(); ++i) sums[i + 1] = sums[i] + static_cast<double>(onsets[i]);
  std::vector<float> peaks(onsets.size());
  for (ptrdiff_t i = 0; i < size; ++i) {
    const ptrdiff_t from = std::max<ptrdiff_t>(i - reach, 0), to = std::min(i + reach + 1, size);
    const double around =
        (sums[static_cast<size_t>(to)] - sums[static_cast<size_t>(from)]) / static_cast<double>(to - from);
    peaks[static_cast<size_t>(i)] = std::max(onsets[static_cast<size_t>(i)] - static_cast<float>(around), 0.0f);
  }
  return peaks;
}

/** How alike a series is to itself some frames later: -1 to 1, by lag. */
std::vector<double> correlations(const std::vector<float>& series, size_t lags) {
  double mean = 0;
  for (const float each : series) mean += static_cast<double>(each);
  mean /= static_cast<double>(std::max<size_t>(series.size(), 1));
  std::vector<float> centred(series.size());
  for (size_t i = 0; i < series.size(); ++i) centred[i] = series[i] - static_cast<float>(mean);
  std::vector<double> made(lags + 1);
  for (size_t lag = 0; lag <= lags && lag < series.size(); ++lag) {
    float sums[4] = {};
    size_t i = 0;
    for (; i + 4 + lag <= series.size(); i += 4) {
      for (size_t j = 0; j < 4; ++j) sums[j] += centred[i + j] * centred[i + j + lag];
    }
    made[lag] = static_cast<double>(sums[0] + sums[1] + sums[2] + sums[3]);
    for (; i + lag < series.size(); ++i) made[lag] += static_cast<double>(centred[i] * centred[i + lag]);
    made[lag] /= static_cast<double>(series.size() - lag);
  }
  const double whole = made[0];
  for (double& each : made) each = whole > 1e-12 ? each / whole : 0;
  return made;
}

/** The correlations that the series would have if each onset were spread over three frames: those of a beat between two lags count for
 *  both, and no period is preferred because it is a whole number of frames. */
std::vector<double> spread(const std::vector<double>& alike) {
  const auto of = [&](size_t lag, int off) {
    const auto place = static_cast<size_t>(std::abs(static_cast<ptrdiff_t>(lag) + off));
    return place < alike.size() ? alike[place] : 0;
  };
  std::vector<double> made(alike.size());
  for (size_t lag = 0; lag < alike.size(); ++lag)
    made[lag] = 6 * of(lag, 0) + 4 * (of(lag, -1) + of(lag, 1)) + of(lag, -2) + of(lag, 2);
  const double whole = made[0];
  for (double& each : made) each = whole > 1e-12 ? each / whole : 0;
  return made;
}

double at(const std::vector<double>& series, double place) {
  const auto first = static_cast<size_t>(place);
  if (first + 1 >= series.size()) return 0;
  const double part = place - static_cast<double>(first);
  return series[first] * (1 - part) + series[first + 1] * part;
}

/** How well a period and its multiples fit; `most` of them. */
double fit(const std::vector<double>& alike, double period, int most) {
  double sum = 0;
  int there = 0;
  for (int i = 1; i <= most && period * i + 1 < static_cast<double>(alike.size()); ++i, ++there)
    sum += at(alike, period * i);
  return there ? sum / there : 0;
}

}  // namespace

void rhythm::add(std::span<const float, k_bands> logs) {
  std::array<float, k_bands> heard;
  const float quietest = *std::max_element(logs.begin(), logs.end()) - k_masked;
  float grown = 0;
  for (size_t i = 0; i < k_bands; ++i) heard[i] = std::max(logs[i], quietest);
  if (!onsets_.empty()) {
    for (size_t i = 0; i < k_bands; ++i) grown += std::max(heard[i] - std::max(before_[i], quietest), 0.0f);
  }
  before_ = heard;
  onsets_.push_back(grown / k_bands);
}

void rhythm::tell(velox_sound& to) const {
  if (onsets_.size() < 2) return;
  const std::vector<float> peaks = outstanding(onsets_, rate_);
  double sum = 0;
  for (const float each : peaks) sum += static_cast<double>(each);
  to.onsets = static_cast<float>(sum * rate_ / static_cast<double>(peaks.size()));

  const double longest = 60 / k_slowest * rate_;
  const std::vector<double> alike = correlations(peaks, static_cast<size_t>(longest * k_fine_multiples) + 2);
  const double ratio = std::pow(k_longest_pulse / k_shortest_pulse, 1.0 / (VELOX_SOUND_PULSES - 1));
  for (int i = 0; i < VELOX_SOUND_PULSES; ++i)
    to.pulse[i] = static_cast<float>(at(alike, k_shortest_pulse * std::pow(ratio, i) * rate_));

  if (to.onsets < k_least_onsets) return;
  const std::vector<double> beats = spread(alike);
  double best = 0, period = 0;
  for (double tempo = k_slowest; tempo <= k_fastest; tempo *= 1.005) {
    const double far = std::log2(tempo / k_usual) / k_spread;
    const double fits = fit(beats, 60 / tempo * rate_, k_multiples) * std::exp(-far * far / 2);
    if (fits > best) best = fits, period = 60 / tempo * rate_;
  }
  const double beat = period > 0 ? fit(beats, period, k_multiples) : 0;
  // Of few frames some are alike by chance.
  if (beat < std::max(k_least_beat, k_least_over_chance / std::sqrt(static_cast<double>(peaks.size())))) return;
  double finest = 0, fine = period;
  for (double each = period * 0.98; each <= period * 1.02; each *= 1.0005) {
    const double fits = fit(beats, each, k_fine_multiples);
    if (fits > finest) finest = fits, fine = each;
  }
  to.tempo = static_cast<float>(60 * rate_ / fine);
  to.regularity = static_cast<float>(std::clamp(beat, 0.0, 1.0));
}

}  // namespace velox::sound
