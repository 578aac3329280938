// Tracks of one artist.
#include "choice/terms.h"

namespace velox::catalog {

bool artist_ties(const pairing& of, const common_attributes&) {
  return of.with.artist != 0 && of.with.artist == of.track.artist;
}

float artist_near(const pairing& of) { return artist_ties(of, {}) ? 1.0f : 0.0f; }

told_reason explain_artist(const pairing& of, const common_attributes& common) {
  const std::string names = names_of(common);
  return {"artist", "same artist as " + of.with.artist_name + reference_to(of.with) +
                        (names.empty() ? std::string() : "; " + names)};
}

}  // namespace velox::catalog
