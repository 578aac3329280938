// Genres and moods: the cosine between the weighted profiles of seed and track, in which a rare attribute weighs more than a common
// one.
#include "choice/terms.h"

namespace velox::catalog {

float attributes_near(const pairing& of) { return of.overlap > 0 ? of.overlap / (of.norm * of.with_norm) : 0; }

bool attributes_tie(const pairing&, const common_attributes& common) {
  return !common.empty() && common.front().weight > 0;
}

told_reason explain_attributes(const pairing& of, const common_attributes& common) {
  bool there[k_kinds] = {};
  for (const common_attribute& each : common) there[each.info->kind] = true;
  const bool several = there[k_genre] + there[k_mood] + there[k_era] > 1;
  const std::string like =
      of.with.label.empty() ? std::string(", as asked for") : ", like " + of.with.label + reference_to(of.with);
  return {several ? "similar" : there[k_genre] ? "genre" : there[k_mood] ? "mood" : "era", names_of(common) + like};
}

}  // namespace velox::catalog
