// Timbre: the symmetric Kullback-Leibler divergence of two Gaussians, of which a logarithm is taken, since it has a long tail.
// Rhythm: how strong onsets are and how they repeat. Harmony: the Fourier magnitudes of the notes' shares, which are the same in
// every key.
#include "hearing/profile.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velox::catalog {
namespace {

constexpr size_t k_size = VELOX_SOUND_COEFFICIENTS;
constexpr float k_shares[k_sides] = {0.6f, 0.25f, 0.15f};
constexpr float k_steepness = 1.702f; /* at which a logistic curve is nearest to the normal one */
constexpr double k_noise = 0.02;      /* added to each variance: silence has none */
/* What a sound is taken to be used to before anything is known, and for how many others that counts. */
constexpr float k_usual_middle[k_sides] = {4.2f, 1.4f, 0.35f}, k_usual_spread[k_sides] = {0.7f, 0.5f, 0.17f};
constexpr float k_usual_all_middle = 0, k_usual_all_spread = 0.7f;
constexpr double k_usual_count = 2;
constexpr float k_least_spread = 0.01f;

/** Inverts a positive definite matrix, given and got as the rows of a lower triangle. */
void invert(const std::array<float, VELOX_SOUND_COVARIANCES>& from, std::array<float, VELOX_SOUND_COVARIANCES>& to) {
  double lower[k_size][k_size] = {}, inverse[k_size][k_size] = {};
  size_t at = 0;
  for (size_t i = 0; i < k_size; ++i) {
    for (size_t j = 0; j <= i; ++j, ++at) {
      double sum = static_cast<double>(from[at]) + (i == j ? k_noise : 0);
      for (size_t k = 0; k < j; ++k) sum -= lower[i][k] * lower[j][k];
      lower[i][j] = i == j ? std::sqrt(std::max(sum, k_noise)) : sum / lower[j][j];
    }
  }
  for (size_t i = 0; i < k_size; ++i) {  // of the triangle
    inverse[i][i] = 1 / lower[i][i];
    for (size_t j = 0; j < i; ++j) {
      double sum = 0;
      for (size_t k = j; k < i; ++k) sum -= lower[i][k] * inverse[k][j];
      inverse[i][j] = sum / lower[i][i];
    }
  }
  at = 0;
  for (size_t i = 0; i < k_size; ++i) {
    for (size_t j = 0; j <= i; ++j, ++at) {
      double sum = 0;
      for (size_t k = i; k < k_size; ++k) sum += inverse[k][i] * inverse[k][j];
      to[at] = static_cast<float>(sum);
    }
  }
}

/** tr(A inv(B)) + tr(B inv(A)) + (a - b)' (inv(A) + inv(B)) (a - b) - 2 n, over the triangles. */
float divergence(const sound_profile& a, const sound_profile& b) {
  std::array<float, k_size> apart;
  for (size_t i = 0; i < k_size; ++i) apart[i] = a.mean[i] - b.mean[i];
  float sum = 0;
  size_t at = 0;
  for (size_t i = 0; i < k_size; ++i) {
    const float of_row = apart[i];
    for (size_t j = 0; j <= i; ++j, ++at) {
      const float product = of_row * apart[j];
      sum += (a.covariance[at] + product) * b.inverse[at] + (b.covariance[at] + product) * a.inverse[at];
    }
  }
  return std::max(sum - 2 * static_cast<float>(k_size), 0.0f);
}

template <size_t Size>
float apart(const std::array<float, Size>& a, const std::array<float, Size>& b) {
  float sum = 0;
  for (size_t i = 0; i < Size; ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
  return std::sqrt(sum);
}

/** The mean and standard deviation of what is added, and of what is usual. */
class spread_of {
 public:
  spread_of(float usual_middle, float usual_spread) {
    const double middle = static_cast<double>(usual_middle), spread = static_cast<double>(usual_spread);
    sum_ = k_usual_count * middle, squares_ = k_usual_count * (middle * middle + spread * spread);
  }
  void add(float value) {
    ++count_;
    sum_ += static_cast<double>(value), squares_ += static_cast<double>(value) * static_cast<double>(value);
  }
  void tell(float& middle, float& spread) const {
    const double mean = sum_ / count_;
    middle = static_cast<float>(mean);
    spread = std::max(static_cast<float>(std::sqrt(std::max(squares_ / count_ - mean * mean, 0.0))), k_least_spread);
  }

 private:
  double count_ = k_usual_count, sum_ = 0, squares_ = 0;
};

float softplus(float x) { return x > 15 ? x : std::log1p(std::exp(x)); }

}  // namespace

sound_profile::sound_profile(const kept_sound& of) : id(of.id), scale(of.scale), harmony() {
  const velox_sound& is = of.record;
  std::copy(std::begin(is.mean), std::end(is.mean), mean.begin());
  std::copy(std::begin(is.covariance), std::end(is.covariance), covariance.begin());
  invert(covariance, inverse);
  for (size_t i = 0, at = 0; i < k_size; ++i) {
    for (size_t j = 0; j < i; ++j) inverse[at++] *= 2;
    covariance[at++] += static_cast<float>(k_noise);
  }
  for (size_t i = 0; i < VELOX_SOUND_PULSES; ++i) rhythm[i] = is.pulse[i] / 0.9f;
  rhythm[VELOX_SOUND_PULSES] = std::log(is.onsets + 0.5f) / 0.8f;
  for (size_t wave = 1; wave <= harmony.size(); ++wave) {
    double real = 0, imaginary = 0;
    for (size_t note = 0; note < 12; ++note) {
      const double angle = 2 * std::numbers::pi * static_cast<double>(wave * note) / 12;
      const double share = std::sqrt(static_cast<double>(is.chroma[note]));
      real += share * std::cos(angle), imaginary += share * std::sin(angle);
    }
    harmony[wave - 1] = static_cast<float>(std::hypot(real, imaginary));
  }
}

side_distances sides_of(const sound_profile& a, const sound_profile& b) {
  return {std::log1p(divergence(a, b)), apart(a.rhythm, b.rhythm), apart(a.harmony, b.harmony)};
}

float together(const side_distances& sides, const sound_scale& a, const sound_scale& b) {
  float sum = 0;
  for (size_t i = 0; i < k_sides; ++i)
    sum += k_shares[i] * ((sides[i] - a.middle[i]) / a.spread[i] + (sides[i] - b.middle[i]) / b.spread[i]) / 2;
  return sum;
}

float distance(const side_distances& sides, const sound_scale& a, const sound_scale& b) {
  const float all = together(sides, a, b);
  return softplus(k_steepness * (all - a.all_middle) / a.all_spread) +
         softplus(k_steepness * (all - b.all_middle) / b.all_spread);
}

float distance(const sound_profile& a, const sound_profile& b) { return distance(sides_of(a, b), a.scale, b.scale); }

void set_scale(sound_profile& of, std::span<const sound_profile> sample, bool whole) {
  std::vector<side_distances> sides;
  for (const sound_profile& each : sample) sides.push_back(sides_of(of, each));
  for (size_t side = 0; side < k_sides; ++side) {
    spread_of seen(k_usual_middle[side], k_usual_spread[side]);
    for (size_t i = 0; i < sample.size(); ++i) {
      if (sample[i].id != of.id) seen.add(sides[i][side]);
    }
    seen.tell(of.scale.middle[side], of.scale.spread[side]);
  }
  if (!whole) return;
  spread_of seen(k_usual_all_middle, k_usual_all_spread);
  for (size_t i = 0; i < sample.size(); ++i) {
    if (sample[i].id != of.id) seen.add(together(sides[i], of.scale, sample[i].scale));
  }
  seen.tell(of.scale.all_middle, of.scale.all_spread);
}

}  // namespace velox::catalog
