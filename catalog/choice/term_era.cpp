// The distance in years; it counts half where nothing else than the years is alike.
#include <cstdlib>

#include "choice/terms.h"

namespace velox::catalog {

constexpr float k_years_apart = 25; /* where the nearness of years has ended */

float era_near(const pairing& of) {
  if (of.with.year <= 0 || of.track.year <= 0) return 0;
  const auto apart = static_cast<float>(std::abs(of.with.year - of.track.year));
  const float whole = std::max(0.0f, 1 - apart / k_years_apart);
  return of.overlap > 0 || of.with.profile.empty() ? whole : whole / 2;
}

bool era_ties(const pairing& of, const common_attributes& common) { return !common.empty() || era_near(of) > 0; }

told_reason explain_era(const pairing& of, const common_attributes& common) {
  if (!common.empty()) return explain_attributes(of, common);
  const std::string whose =
      of.with.label.empty() ? std::string("those asked for") : of.with.label + reference_to(of.with);
  return {"era", "from about the same years as " + whose};
}

}  // namespace velox::catalog
