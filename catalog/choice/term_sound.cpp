// Tracks that sound alike. The words for the sound follow where the track is told.
#include "choice/terms.h"

namespace velox::catalog {
namespace {

/** Tags say what a track is meant to be: where both are known, the sound decides less. */
constexpr float k_share_with_tags = 0.5f;

}  // namespace

float sound_near(const pairing& of) { return of.overlap_known() ? k_share_with_tags * of.likeness : of.likeness; }

bool sound_ties(const pairing& of, const common_attributes&) {
  return of.likeness > 0 && sound_near(of) >= attributes_near(of);
}

told_reason explain_sound(const pairing& of, const common_attributes&) {
  return {k_sound_reason, "sounds like " + of.with.label + reference_to(of.with)};
}

}  // namespace velox::catalog
