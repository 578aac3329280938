// Ranks by folded names, then by weight, then by number, so that the order is the same at any time.
#include "model/match.h"

#include <algorithm>
#include <tuple>
#include <unordered_set>

#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr int64_t k_least_looked_at = 2000, k_looked_at_per_result = 4;

enum nearness { is_it, begins_with_it, holds_its_words, artist_holds_words };

struct find {
  nearness near;
  int64_t weight, id;
  bool operator<(const find& other) const {
    return std::tie(near, other.weight, id) < std::tie(other.near, weight, other.id);
  }
};

nearness nearness_of(const std::string& name, const std::string& wanted, const std::vector<std::string>& words) {
  if (name == wanted) return is_it;
  if (name.starts_with(wanted)) return begins_with_it;
  const std::string spaced = " " + name;
  const bool whole = std::all_of(words.begin(), words.end(),
                                 [&](const std::string& word) { return spaced.find(" " + word) != std::string::npos; });
  return whole ? holds_its_words : artist_holds_words;
}

}  // namespace

int64_t matches_looked_at(uint32_t limit) {
  return std::max(k_least_looked_at, int64_t{limit} * k_looked_at_per_result);
}

std::vector<int64_t> ranked(const std::vector<match>& matches, std::string_view text, uint32_t limit) {
  const std::string wanted = folded(text);
  const std::vector<std::string> parts = words(text);
  std::vector<find> finds;
  finds.reserve(matches.size());
  for (const match& each : matches)
    finds.push_back({nearness_of(folded(each.name), wanted, parts), each.weight, each.id});
  std::sort(finds.begin(), finds.end());

  std::vector<int64_t> result;
  std::unordered_set<int64_t> taken;
  for (const find& each : finds) {
    if (result.size() >= limit) break;
    if (taken.insert(each.id).second) result.push_back(each.id);
  }
  return result;
}

}  // namespace velox::catalog
