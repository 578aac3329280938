// Tracks of one album.
#include "choice/terms.h"

namespace velox::catalog {

bool album_ties(const pairing& of, const common_attributes&) {
  return of.with.album != 0 && of.with.album == of.track.album;
}

float album_near(const pairing& of) { return album_ties(of, {}) ? 1.0f : 0.0f; }

told_reason explain_album(const pairing& of, const common_attributes& common) {
  const std::string names = names_of(common);
  return {"album",
          "same album as " + of.with.label + reference_to(of.with) + (names.empty() ? std::string() : "; " + names)};
}

}  // namespace velox::catalog
