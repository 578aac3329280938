// What the catalogue keeps of a track's sound: the values that are shown, the record that is compared, and who sounds most alike. A
// sound has a number of its own, which is never given twice: a list that still names one that has gone names nothing.
#ifndef VELOX_CATALOG_MODEL_SOUND_H
#define VELOX_CATALOG_MODEL_SOUND_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "velox_sound.h"

namespace velox::catalog {

/** What is shown of a sound; units as in velox_sound. */
struct sonic {
  float tempo = 0, loudness = 0, energy = 0, brightness = 0;
  int key = -1;
  bool minor = false;
};

/** Another sound, by its number, or a track, and how far it is. */
struct near_sound {
  int64_t id;
  float distance;
};
using near_sounds = std::vector<near_sound>; /* nearest first */

constexpr int k_most_layers = 6; /* of lists above the first, each with a part of the sounds below */

/** How far other sounds are from one, as it sees them: what its distances are measured by. */
struct sound_scale {
  std::array<float, 3> middle = {}, spread = {}; /* of timbre, rhythm, harmony */
  float all_middle = 0, all_spread = 0;          /* of the three together */
};

/** A sound as it is compared. */
struct kept_sound {
  int64_t id = 0;
  velox_sound record = {};
  sound_scale scale = {}; /* once it is placed */
};

/** A file that is to be listened to. */
struct unheard_file {
  int64_t track, content;
  std::string path;
};

/** How distances become a share from 1, the same sound, to 0, as far as most. */
float likeness_of(float distance);

/** "slow, dark, 92 BPM, A minor". */
std::string words_of(const sonic& sound);

/** Whether every value is one that can be. */
bool is_sound(const velox_sound& record);

}  // namespace velox::catalog

#endif
