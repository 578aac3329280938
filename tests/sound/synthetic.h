// Music that a test makes: samples of one channel at 44.1 kHz, written as a file, turned into other forms by ffmpeg.
#pragma once

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace synthetic {

constexpr int k_rate = 44100;
using samples = std::vector<float>;

inline size_t at(double seconds) { return static_cast<size_t>(seconds * k_rate); }

/** Adds a tone of some overtones that dies away. */
inline void add_note(samples& to, double from, double seconds, double hertz, double strength = 0.2, int overtones = 4) {
  for (size_t i = at(from), end = std::min(to.size(), at(from + seconds)); i < end; ++i) {
    const double time = static_cast<double>(i - at(from)) / k_rate;
    double value = 0;
    for (int k = 1; k <= overtones; ++k) value += std::sin(2 * std::numbers::pi * hertz * k * time) / (k * k);
    const double attack = std::min(time / 0.01, 1.0);
    to[i] += static_cast<float>(strength * value * attack * std::exp(-1.5 * time));
  }
}

/** Adds a burst of noise that dies away. */
inline void add_stroke(samples& to, double from, double fade, double strength, std::mt19937& chance) {
  std::uniform_real_distribution<float> noise(-1, 1);
  for (size_t i = at(from), end = std::min(to.size(), at(from + 6 * fade)); i < end; ++i)
    to[i] +=
        static_cast<float>(strength * std::exp(-static_cast<double>(i - at(from)) / (k_rate * fade))) * noise(chance);
}

/** Adds a drum's thump. */
inline void add_thump(samples& to, double from) {
  for (size_t i = at(from), end = std::min(to.size(), at(from + 0.25)); i < end; ++i) {
    const double time = static_cast<double>(i - at(from)) / k_rate;
    to[i] += static_cast<float>(0.6 * std::exp(-18 * time) *
                                std::sin(2 * std::numbers::pi * (50 + 60 * std::exp(-30 * time)) * time));
  }
}

inline samples silence(double seconds) { return samples(at(seconds)); }

inline samples tone(double seconds, double hertz, double strength) {
  samples made(at(seconds));
  for (size_t i = 0; i < made.size(); ++i)
    made[i] = static_cast<float>(strength * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(i) / k_rate));
  return made;
}

inline samples noise(double seconds, double strength, unsigned seed = 1) {
  samples made(at(seconds));
  std::mt19937 chance(seed);
  std::uniform_real_distribution<float> value(-1, 1);
  for (float& each : made) each = static_cast<float>(strength) * value(chance);
  return made;
}

inline samples clicks(double seconds, double tempo) {
  samples made(at(seconds));
  std::mt19937 chance(7);
  for (double time = 0.1; time < seconds; time += 60 / tempo) add_stroke(made, time, 0.004, 0.8, chance);
  return made;
}

/** Kick and snare in turns, a hi-hat twice a beat. */
inline samples drums(double seconds, double tempo) {
  samples made(at(seconds));
  std::mt19937 chance(7);
  int beat = 0;
  for (double time = 0.1; time < seconds; time += 60 / tempo, ++beat) {
    if (beat % 2 == 0) {
      add_thump(made, time);
    } else {
      add_stroke(made, time, 0.05, 0.4, chance);
    }
    add_stroke(made, time, 0.01, 0.1, chance);
    add_stroke(made, time + 30 / tempo, 0.01, 0.1, chance);
  }
  return made;
}

/** Tonic, subdominant, dominant, tonic, again and again; the dominant of a minor key is a major chord. */
inline samples cadence(double seconds, int tonic, bool minor) {
  samples made(at(seconds));
  constexpr int roots[] = {0, 5, 7, 0};
  for (int chord = 0; chord < seconds; ++chord) {
    const int root = tonic + roots[chord % 4];
    const int third = minor && chord % 4 != 2 ? 3 : 4;
    for (const int note : {root - 12, root, root + third, root + 7})
      add_note(made, chord, 1.2, 261.6255653 * std::exp2(note / 12.0), 0.1);
  }
  return made;
}

inline samples times(samples of, double factor) {
  for (float& each : of) each = std::min(std::max(each * static_cast<float>(factor), -1.0f), 1.0f);
  return of;
}

inline void write(const std::filesystem::path& to, const samples& of) {
  std::ofstream out(to, std::ios::binary);
  const auto number = [&](uint32_t value, int bytes) { out.write(reinterpret_cast<const char*>(&value), bytes); };
  const auto size = static_cast<uint32_t>(of.size() * 2);
  out << "RIFF", number(36 + size, 4), out << "WAVEfmt ", number(16, 4), number(1, 2), number(1, 2), number(k_rate, 4);
  number(k_rate * 2, 4), number(2, 2), number(16, 2), out << "data", number(size, 4);
  for (const float each : of) number(static_cast<uint32_t>(static_cast<int>(std::lround(each * 32767)) & 0xffff), 2);
}

/** Makes another form of a file. */
inline bool convert(const std::filesystem::path& from, const std::string& how, const std::filesystem::path& to) {
  return std::system(
             ("ffmpeg -nostdin -v error -y -i '" + from.string() + "' " + how + " '" + to.string() + "'").c_str()) == 0;
}

}  // namespace synthetic
