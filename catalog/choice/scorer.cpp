// Nearness is the cosine between the weighted genres and moods of seed and track, where a rare attribute weighs more than a
// common one, with the distance in years and a common artist or album added.
#include "choice/scorer.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>

#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr float k_attributes_share = 0.78f, k_era_share = 0.22f, k_artist_bonus = 0.10f, k_album_bonus = 0.06f;
constexpr float k_mood_weight = 0.6f; /* against a genre */
constexpr float k_years_apart = 25;   /* where the nearness of years has ended */
constexpr int k_named_of_kind = 2;
constexpr float k_chance = 0.03f; /* sets apart what is equally good, differently for each request */

}  // namespace

judge::judge(connection& from, const wish& asked)
    : from_(from), asked_(asked), catalogue_tracks_(static_cast<double>(from.attrs.at(k_everything).tracks)) {
  for (const seed& each : asked.seeds) {
    float sum = 0;
    for (const weighted& part : each.profile) sum += std::pow(part.weight * weight_of(part.attribute), 2.0f);
    norms_.push_back(std::sqrt(sum));
  }
}

float judge::weight_of(int64_t attribute) {
  const auto [place, fresh] = weights_.try_emplace(attribute, 0.0f);
  if (!fresh) return place->second;
  const attribute_info& info = from_.attrs.at(attribute);
  if (info.kind != k_genre && info.kind != k_mood) return 0;
  const double rarity = std::log(1 + catalogue_tracks_ / std::max<double>(1, static_cast<double>(info.tracks)));
  return place->second = static_cast<float>(rarity) * (info.kind == k_mood ? k_mood_weight : 1.0f);
}

float judge::similarity(const pool& from, const candidate& track, size_t index) {
  const seed& with = asked_.seeds[index];
  const int64_t* attrs = from.attrs_of(track);
  float both = 0, own = 0;
  for (uint32_t i = 0; i < track.attrs_count; ++i) {
    const float weight = weight_of(attrs[i]);
    own += weight * weight;
    for (const weighted& part : with.profile) {
      if (part.attribute == attrs[i]) both += weight * weight * part.weight;
    }
  }
  float result = both > 0 ? k_attributes_share * both / (std::sqrt(own) * norms_[index]) : 0;
  if (with.year > 0 && track.year > 0)
    result += k_era_share * std::max(0.0f, 1 - static_cast<float>(std::abs(with.year - track.year)) / k_years_apart) *
              (both > 0 || with.profile.empty() ? 1.0f : 0.5f);
  if (with.artist != 0 && with.artist == track.artist) result += k_artist_bonus;
  if (with.album != 0 && with.album == track.album) result += k_album_bonus;
  return std::min(result, 1.0f);
}

rated judge::rate(const pool& from, const candidate& track) {
  rated made{&track, 0, 0, 0};
  float others = 0;
  for (size_t i = 0; i < asked_.seeds.size(); ++i) {
    const float near = similarity(from, track, i);
    others += near;
    if (near > made.similarity) made.similarity = near, made.seed = static_cast<uint32_t>(i);
  }
  // What is near to several seeds counts a little more.
  const auto seeds = static_cast<float>(std::max<size_t>(1, asked_.seeds.size()));
  float suits = std::min(1.0f, 0.9f * made.similarity + 0.1f * others / seeds);
  if (asked_.similarity >= 0) {
    const float target = 0.15f + 0.85f * static_cast<float>(asked_.similarity) / 1000;
    suits = 1 - std::fabs(suits - target);
  }
  const auto popularity = static_cast<float>(track.popularity) / 1000;
  const float known =
      asked_.popularity < 0 ? popularity : 1 - std::fabs(popularity - static_cast<float>(asked_.popularity) / 1000);
  const float share = asked_.popularity < 0 ? 0.08f : 0.35f;
  const auto chance =
      static_cast<float>(hashed({}, asked_.digest ^ static_cast<uint64_t>(track.id) * 0x9e3779b97f4a7c15u) >> 40) /
      (1 << 24);
  made.score = (1 - share - k_chance) * suits + share * known + k_chance * chance;
  return made;
}

/** What a track has in common with a seed, the rarest first. */
std::vector<int64_t> judge::shared(const pool& from, const candidate& track, const seed& with) {
  const int64_t* attrs = from.attrs_of(track);
  std::vector<int64_t> common;
  std::copy_if(attrs, attrs + track.attrs_count, std::back_inserter(common), [&](int64_t id) {
    return std::any_of(with.profile.begin(), with.profile.end(),
                       [&](const weighted& part) { return part.attribute == id; }) ||
           std::find(with.eras.begin(), with.eras.end(), id) != with.eras.end();
  });
  std::stable_sort(common.begin(), common.end(), [&](int64_t a, int64_t b) { return weight_of(a) > weight_of(b); });
  return common;
}

/** "genre Dream Pop, mood Calm, 1990s", and how many of each kind there are. */
std::string judge::names_of(const std::vector<int64_t>& attributes, int (&kinds)[4]) {
  std::string result;
  for (const int64_t id : attributes) {
    const attribute_info& info = from_.attrs.at(id);
    if (++kinds[info.kind] > k_named_of_kind) continue;
    result += result.empty() ? "" : ", ";
    result += (info.kind == k_genre ? "genre " : info.kind == k_mood ? "mood " : "") + info.name;
  }
  return result;
}

nearness judge::nearness_of(const pool& from, const rated& what) {
  if (asked_.seeds.empty()) return nearness::none;
  const seed& with = asked_.seeds[what.seed];
  const candidate& track = *what.track;
  if (with.album != 0 && with.album == track.album) return nearness::album;
  if (with.artist != 0 && with.artist == track.artist) return nearness::artist;
  const std::vector<int64_t> common = shared(from, track, with);
  if (!common.empty()) return weight_of(common.front()) > 0 ? nearness::attribute : nearness::era;
  return what.similarity > 0 ? nearness::era : nearness::none;
}

reason judge::explain(const pool& from, const rated& what) {
  reason made{"popular in this catalogue", "popular", 0,
              std::clamp(static_cast<int>(what.score * 1000 + 0.5f), 0, 1000)};
  const nearness near = nearness_of(from, what);
  if (near == nearness::none) return made;
  const seed& with = asked_.seeds[what.seed];
  int kinds[4] = {};
  const std::string common = names_of(shared(from, *what.track, with), kinds);
  const std::string of = with.liked ? " (liked)" : " (seed " + std::to_string(with.ordinal) + ")";
  const std::string tail = common.empty() ? "" : "; " + common;
  made.seed = with.liked ? 0 : with.ordinal;
  if (near == nearness::album) {
    made.kind = "album";
    made.sentence = "same album as " + with.label + of + tail;
  } else if (near == nearness::artist) {
    made.kind = "artist";
    made.sentence = "same artist as " + with.artist_name + of + tail;
  } else if (common.empty()) {
    made.kind = "era";
    made.sentence =
        "from about the same years as " + (with.label.empty() ? std::string("those asked for") : with.label + of);
  } else {
    const bool several = (kinds[k_genre] > 0) + (kinds[k_mood] > 0) + (kinds[k_era] > 0) > 1;
    made.kind = several ? "similar" : kinds[k_genre] ? "genre" : kinds[k_mood] ? "mood" : "era";
    made.sentence = common + (with.label.empty() ? ", as asked for" : ", like " + with.label + of);
  }
  return made;
}

}  // namespace velox::catalog
