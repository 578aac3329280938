// The terms make a track's similarity to each seed; the nearest seed, the request's focus and a little chance make its score.
#include "choice/scorer.h"

#include <cmath>
#include <cstdlib>

#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr float k_mood_weight = 0.6f; /* against a genre */
constexpr float k_chance = 0.03f;     /* sets apart what is equally good, differently for each request */
constexpr float k_all_seeds = 0.1f;   /* what is near to several seeds counts a little more */
constexpr float k_share_of_tags =
    0.8f;                         /* for a seed whose sound is known: what is left tells apart what has the same tags */
constexpr float k_avoided = 0.6f; /* taken off the similarity of what sounds just like what was disliked */
constexpr float k_popularity_unset = 0.08f, k_popularity_set = 0.35f;

}  // namespace

scorer::scorer(const store& from, const request& asked, const candidates& tracks)
    : from_(from),
      asked_(asked),
      tracks_(tracks),
      catalogue_tracks_(static_cast<double>(from.attribute(k_everything).tracks)) {
  for (const seed& each : asked.seeds) {
    float sum = 0;
    for (const weighted& part : each.profile) sum += std::pow(part.weight * weight_of(part.attribute), 2.0f);
    norms_.push_back(std::sqrt(sum));
  }
}

/** The rarer, the heavier; nothing for an era. */
float scorer::weight_of(int64_t attribute) {
  const auto [place, fresh] = weights_.try_emplace(attribute, 0.0f);
  if (!fresh) return place->second;
  const attribute_info& info = from_.attribute(attribute);
  if (info.kind != k_genre && info.kind != k_mood) return 0;
  const double rarity = std::log(1 + catalogue_tracks_ / std::max<double>(1, static_cast<double>(info.tracks)));
  return place->second = static_cast<float>(rarity) * (info.kind == k_mood ? k_mood_weight : 1.0f);
}

void scorer::weigh(const candidate& track) {
  track_weights_.clear();
  float sum = 0;
  for (const int64_t id : tracks_.attributes_of(track)) {
    const float weight = weight_of(id);
    track_weights_.push_back(weight);
    sum += weight * weight;
  }
  track_norm_ = std::sqrt(sum);
}

/** The track was weighed. */
pairing scorer::pair(const candidate& track, size_t seed_index) {
  const seed& with = asked_.seeds[seed_index];
  const std::span<const int64_t> attributes = tracks_.attributes_of(track);
  float overlap = 0;
  for (size_t i = 0; i < attributes.size(); ++i) {
    for (const weighted& part : with.profile) {
      if (part.attribute == attributes[i]) overlap += track_weights_[i] * track_weights_[i] * part.weight;
    }
  }
  return {with, norms_[seed_index], track, attributes, track_weights_, track_norm_, overlap, likeness(track, with)};
}

float scorer::likeness(const candidate& track, const seed& with) const {
  const heard_sound* heard = with.sounds.empty() ? nullptr : tracks_.heard(track.id);
  float most = 0;
  if (!heard) return most;
  for (const echo& each : heard->echoes) {
    if (std::find(with.sounds.begin(), with.sounds.end(), each.of) != with.sounds.end())
      most = std::max(most, each.likeness);
  }
  return most;
}

float scorer::avoidance(const candidate& track) const {
  const heard_sound* heard = asked_.avoided.empty() ? nullptr : tracks_.heard(track.id);
  float most = 0;
  if (!heard) return most;
  for (const echo& each : heard->echoes) {
    for (const avoided_track& from : asked_.avoided) {
      if (from.track == each.of) most = std::max(most, from.weight * each.likeness);
    }
  }
  return most;
}

static float similarity_of(const pairing& with) {
  float sum = 0, left = 1;
  for (const score_term& term : k_score_terms) {
    const float near = term.share * term.near(with);
    if (term.how == score_term::adds) {
      sum += near;
    } else {
      left *= 1 - near;
    }
  }
  const float tags = std::min(sum, 1.0f) * (with.with.sounds.empty() ? 1 : k_share_of_tags);
  return 1 - (1 - tags) * left;
}

scored scorer::score(uint32_t place) {
  const candidate& track = tracks_.all()[place];
  weigh(track);
  scored made{place, 0, 0, 0};
  const float kept = 1 - k_avoided * avoidance(track);
  float all = 0;
  for (size_t i = 0; i < asked_.seeds.size(); ++i) {
    const float near = similarity_of(pair(track, i)) * kept;
    all += near;
    if (near > made.similarity) made.similarity = near, made.seed = static_cast<uint32_t>(i);
  }
  float suits =
      std::min(1.0f, (1 - k_all_seeds) * made.similarity + k_all_seeds * all / static_cast<float>(asked_.seed_count()));
  if (asked_.similarity >= 0) {
    const float target = k_near + (1 - k_near) * static_cast<float>(asked_.similarity) / 1000;
    suits = 1 - std::fabs(suits - target);
  }
  const bool unset = asked_.popularity < 0;
  const float popularity = static_cast<float>(track.popularity) / 1000;
  const float known = unset ? popularity : 1 - std::fabs(popularity - static_cast<float>(asked_.popularity) / 1000);
  const float share = unset ? k_popularity_unset : k_popularity_set;
  const auto chance =
      static_cast<float>(hashed({}, asked_.fingerprint ^ static_cast<uint64_t>(track.id) * 0x9e3779b97f4a7c15u) >> 40) /
      (1 << 24);
  made.score = (1 - share - k_chance) * suits + share * known + k_chance * chance;
  return made;
}

const std::vector<scored>& scorer::ranked() {
  const auto before = static_cast<ptrdiff_t>(ranked_.size());
  const std::vector<candidate>& all = tracks_.all();
  const auto better = [&](const scored& a, const scored& b) {
    return a.score != b.score ? a.score > b.score : all[a.track].id < all[b.track].id;
  };
  ranked_.reserve(all.size());
  while (ranked_.size() < all.size()) ranked_.push_back(score(static_cast<uint32_t>(ranked_.size())));
  std::sort(ranked_.begin() + before, ranked_.end(), better);
  std::inplace_merge(ranked_.begin(), ranked_.begin() + before, ranked_.end(), better);
  return ranked_;
}

common_attributes scorer::common_of(const pairing& of) {
  common_attributes common;
  for (size_t i = 0; i < of.attributes.size(); ++i) {
    const int64_t id = of.attributes[i];
    const bool shared = std::any_of(of.with.profile.begin(), of.with.profile.end(),
                                    [&](const weighted& part) { return part.attribute == id; }) ||
                        std::find(of.with.eras.begin(), of.with.eras.end(), id) != of.with.eras.end();
    if (shared) common.push_back({id, of.weights[i], &from_.attribute(id)});
  }
  std::stable_sort(common.begin(), common.end(), [](const auto& a, const auto& b) { return a.weight > b.weight; });
  return common;
}

/** The nearest term that ties the two; null when none does. */
const score_term* scorer::tie_of(const pairing& of, const common_attributes& common) const {
  const auto tie = std::find_if(k_score_terms.begin(), k_score_terms.end(),
                                [&](const score_term& term) { return term.ties(of, common); });
  return tie == k_score_terms.end() ? nullptr : &*tie;
}

nearness scorer::nearness_of(const scored& what) {
  if (asked_.seeds.empty()) return nearness::none;
  const candidate& track = tracks_.all()[what.track];
  weigh(track);
  const pairing with = pair(track, what.seed);
  const score_term* tie = tie_of(with, common_of(with));
  return tie ? tie->is : nearness::none;
}

reason scorer::explain(const scored& what) {
  const int score = std::clamp(static_cast<int>(what.score * 1000 + 0.5f), 0, 1000);
  if (!asked_.seeds.empty()) {
    const candidate& track = tracks_.all()[what.track];
    weigh(track);
    const pairing with = pair(track, what.seed);
    const common_attributes common = common_of(with);
    if (const score_term* tie = tie_of(with, common)) {
      told_reason told = tie->explain(with, common);
      return {std::move(told.sentence), std::move(told.kind), with.with.liked ? 0 : with.with.ordinal, score};
    }
  }
  return {"popular in this catalogue", "popular", 0, score};
}

}  // namespace velox::catalog
