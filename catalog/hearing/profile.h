// How far two sounds are from each other. Three sides are compared, each in its own measure: timbre, rhythm and harmony. How far two
// are on a side says little by itself: some sounds are near to everything, some to nothing. So each distance is seen from both,
// by what either is used to from a sample of the catalogue, twice: side by side, and then all together (mutual proximity), which
// takes hubs out.
#ifndef VELOX_CATALOG_HEARING_PROFILE_H
#define VELOX_CATALOG_HEARING_PROFILE_H

#include <span>

#include "model/sound.h"

namespace velox::catalog {

constexpr size_t k_sides = 3;
using side_distances = std::array<float, k_sides>;

/** A sound made ready to be compared. */
struct sound_profile {
  explicit sound_profile(const kept_sound& of);

  int64_t id;
  sound_scale scale;
  std::array<float, VELOX_SOUND_COEFFICIENTS> mean;
  std::array<float, VELOX_SOUND_COVARIANCES> covariance, inverse; /* off the diagonal, the inverse is doubled */
  std::array<float, VELOX_SOUND_PULSES + 1> rhythm;
  std::array<float, 6> harmony;
};

side_distances sides_of(const sound_profile& a, const sound_profile& b);
/** The sides, by the first scales of both, as one. */
float together(const side_distances& sides, const sound_scale& a, const sound_scale& b);
/** 0: the same; the same in both directions. */
float distance(const side_distances& sides, const sound_scale& a, const sound_scale& b);
float distance(const sound_profile& a, const sound_profile& b);

/** Sets the scale of a sound by its distances to a sample, whose own scales are set, sides alone where `whole` is false. */
void set_scale(sound_profile& of, std::span<const sound_profile> sample, bool whole);

}  // namespace velox::catalog

#endif
