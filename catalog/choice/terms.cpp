// The list of terms, and the words that they share.
#include "choice/terms.h"

namespace velox::catalog {
namespace {

constexpr int k_named_of_kind = 2;

constexpr score_term k_terms[] = {
    {nearness::album, score_term::adds, 0.06f, album_near, album_ties, explain_album},
    {nearness::artist, score_term::adds, 0.10f, artist_near, artist_ties, explain_artist},
    {nearness::sound, score_term::joins, 0.95f, sound_near, sound_ties, explain_sound},
    {nearness::attribute, score_term::adds, 0.78f, attributes_near, attributes_tie, explain_attributes},
    {nearness::era, score_term::adds, 0.22f, era_near, era_ties, explain_era},
};

}  // namespace

constinit const std::span<const score_term> k_score_terms = k_terms;

std::string names_of(const common_attributes& common) {
  int named[k_kinds] = {};
  std::string result;
  for (const common_attribute& each : common) {
    const attribute_info& info = *each.info;
    if (++named[info.kind] > k_named_of_kind) continue;
    result += result.empty() ? "" : ", ";
    result += (info.kind == k_genre ? "genre " : info.kind == k_mood ? "mood " : "") + info.name;
  }
  return result;
}

std::string reference_to(const seed& with) {
  return with.liked ? " (liked)" : " (seed " + std::to_string(with.ordinal) + ")";
}

}  // namespace velox::catalog
