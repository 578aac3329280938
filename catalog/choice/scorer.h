// How near a track is to the seeds, how well it suits the request, and the sentence that says so.
#ifndef VELOX_CATALOG_CHOICE_SCORER_H
#define VELOX_CATALOG_CHOICE_SCORER_H

#include <unordered_map>

#include "choice/terms.h"

namespace velox::catalog {

struct scored {
  uint32_t track;   /* its place among the candidates */
  uint32_t seed;    /* index of the nearest one */
  float similarity; /* 0 to 1 */
  float score;      /* 0 to 1 */
};

/** Why a track is in an answer. */
struct reason {
  std::string sentence, kind;
  uint32_t seed; /* ordinal; 0: none */
  int score;     /* 0 to 1000 */
};

class scorer {
 public:
  scorer(const store& from, const request& asked, const candidates& tracks);
  /** All candidates, best first; equally good ones by their numbers. Those that were scored before aren't again. */
  const std::vector<scored>& ranked();
  reason explain(const scored& track);
  nearness nearness_of(const scored& track);
  /** Similarity below which a track isn't called near. */
  static constexpr float k_near = 0.15f;

 private:
  float weight_of(int64_t attribute);
  scored score(uint32_t place);
  pairing pair(const candidate& track, size_t seed);
  float likeness(const candidate& track, const seed& with) const;
  float avoidance(const candidate& track) const;
  void weigh(const candidate& track);
  common_attributes common_of(const pairing& of);
  const score_term* tie_of(const pairing& of, const common_attributes& common) const;

  const store& from_;
  const request& asked_;
  const candidates& tracks_;
  const double catalogue_tracks_;
  std::vector<float> norms_; /* of the seeds' profiles */
  std::vector<scored> ranked_;
  std::unordered_map<int64_t, float> weights_;
  std::vector<float> track_weights_; /* of the track that was weighed last */
  float track_norm_ = 0;
};

}  // namespace velox::catalog

#endif
