// Sounds in words, and what can't be one.
#include "model/sound.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace velox::catalog {
namespace {

constexpr float k_slow = 90, k_fast = 135;         /* beats a minute */
constexpr float k_dark = 1100, k_bright = 2300;    /* Hz */
constexpr float k_calm = 0.35f, k_driving = 0.68f; /* energy */
constexpr const char* k_keys[] = {"C",       "C sharp", "D",      "E flat", "E",      "F",
                                  "F sharp", "G",       "A flat", "A",      "B flat", "B"};

bool all_within(std::span<const float> values, float least, float most) {
  return std::all_of(values.begin(), values.end(), [&](float each) { return each >= least && each <= most; });
}

bool within(float value, float least, float most) { return all_within({&value, 1}, least, most); }

}  // namespace

// Two sounds are at z when they are z standard deviations from what both are used to. Most of what there is to tell apart lies within
// the first two below; the nearest of a large catalogue are at -4.
float likeness_of(float distance) {
  constexpr float k_steepness = 1.702f, k_slope = 0.6f;
  const float half = std::max(distance / 2, 1e-6f);
  const float z = std::log(std::expm1(half)) / k_steepness;
  return z < 0 ? 1 - std::exp(k_slope * z) : 0.0f;
}

std::string words_of(const sonic& sound) {
  std::string words;
  const auto add = [&](const std::string& word) { words += (words.empty() ? "" : ", ") + word; };
  if (sound.tempo > 0 && sound.tempo < k_slow) add("slow");
  if (sound.tempo > k_fast) add("fast");
  if (sound.energy < k_calm) add("calm");
  if (sound.energy > k_driving) add("driving");
  if (sound.brightness < k_dark) add("dark");
  if (sound.brightness > k_bright) add("bright");
  if (sound.tempo > 0) add(std::to_string(std::lround(sound.tempo)) + " BPM");
  if (sound.key >= 0) add(std::string(k_keys[sound.key]) + (sound.minor ? " minor" : " major"));
  return words;
}

bool is_sound(const velox_sound& is) {
  constexpr float k_large = 1e6f;
  return is.method > 0 && within(is.seconds, 0, 100000) && within(is.loudness, -100, 50) && within(is.range, 0, 200) &&
         within(is.brightness, 0, 100000) && within(is.energy, 0, 1) && within(is.tempo, 0, 1000) &&
         within(is.regularity, 0, 1) && within(is.onsets, 0, k_large) && is.key >= -1 && is.key < 12 &&
         (is.minor == 0 || is.minor == 1) && within(is.key_sure, 0, 1.001f) && all_within(is.chroma, 0, 1.001f) &&
         all_within(is.pulse, -1.5f, 1.5f) && all_within(is.mean, -k_large, k_large) &&
         all_within(is.covariance, -k_large, k_large);
}

}  // namespace velox::catalog
