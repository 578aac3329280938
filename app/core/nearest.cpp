/* "Did you mean", by edit distance over the ASCII case-folded bytes. */
#include "core/nearest.h"

#include <algorithm>
#include <numeric>
#include <sstream>

#include "core/finding.h"
#include "core/text.h"

namespace app {

namespace {

constexpr size_t longest_compared = 80;
constexpr size_t most_names = 3;
constexpr int most_words = 8;  // of a text: names that are meant have few
constexpr uint32_t candidates_per_word = 200;

size_t edit_distance(const std::string& from, const std::string& to) {
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i + 1;
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t above = row[j + 1];
      row[j + 1] = std::min({above + 1, row[j] + 1, diagonal + (from[i] == to[j] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row.back();
}

/** The word's first code points: enough to stand a mistake further on. */
std::string beginning(const std::string& word, int code_points) {
  size_t at = 0;
  while (at < word.size() && code_points-- > 0) next_code_point(word, at);
  return word.substr(0, at);
}

}  // namespace

std::vector<std::string> nearest(const std::string& text, const std::vector<std::string>& candidates) {
  const std::string wanted = lower(text).substr(0, longest_compared);
  std::vector<std::pair<size_t, std::string>> ranked;
  for (const std::string& name : candidates) {
    const std::string known = lower(name).substr(0, longest_compared);
    const bool within = wanted.size() >= 3 && known.find(wanted) != std::string::npos;  // "jazz" in "Cool Jazz"
    const size_t distance = within ? 1 : edit_distance(wanted, known);
    if (distance * 2 <= std::max(wanted.size(), known.size())) ranked.emplace_back(distance, name);
  }
  std::sort(ranked.begin(), ranked.end());
  ranked.erase(std::unique(ranked.begin(), ranked.end()), ranked.end());

  std::vector<std::string> names;
  for (size_t i = 0; i < ranked.size() && i < most_names; ++i) names.push_back(ranked[i].second);
  return names;
}

std::vector<std::string> nearest_items(velox_catalog_handle catalog, item_kind kind, const std::string& text) {
  // Long beginnings first: they bring the likely names of a large catalogue under the limit.
  for (const int code_points : {4, 3, 2}) {
    std::vector<std::string> names;
    std::istringstream words(text);
    std::string word;
    for (int i = 0; i < most_words && words >> word; ++i)
      for (const found_object& object : find(catalog, beginning(word, code_points), kind, candidates_per_word))
        names.push_back(kind == item_kind::artist ? object.shown.artist : object.shown.title);
    std::vector<std::string> near = nearest(text, names);
    if (!near.empty()) return near;
  }
  return {};
}

std::string suggestion(const std::vector<std::string>& names, const std::string& otherwise) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "nearest: \"" : ", \"") + name + '"';
  return text.empty() ? otherwise : text;
}

}  // namespace app
