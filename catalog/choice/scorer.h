// How near a track is to the seeds, how well it suits the request, and the sentence that says so.
#ifndef VELOX_CATALOG_SCORE_H
#define VELOX_CATALOG_SCORE_H

#include "choice/candidates.h"

namespace velox::catalog {

struct rated {
  const candidate* track;
  uint32_t seed;    /* index of the nearest one */
  float similarity; /* 0 to 1 */
  float score;      /* 0 to 1 */
};

/** What ties a track to its seed, nearest first. */
enum class nearness { album, artist, attribute, era, none };

class judge {
 public:
  judge(connection& from, const wish& asked);
  rated rate(const pool& from, const candidate& track);
  reason explain(const pool& from, const rated& track);
  nearness nearness_of(const pool& from, const rated& track);
  /** Similarity below which a track isn't called near. */
  static constexpr float k_near = 0.15f;

 private:
  float weight_of(int64_t attribute);
  float similarity(const pool& from, const candidate& track, size_t seed);
  std::vector<int64_t> shared(const pool& from, const candidate& track, const seed& with);
  std::string names_of(const std::vector<int64_t>& attributes, int (&kinds)[4]);
  connection& from_;
  const wish& asked_;
  double catalogue_tracks_;
  std::vector<float> norms_; /* of the seeds' profiles */
  std::unordered_map<int64_t, float> weights_;
};

}  // namespace velox::catalog

#endif
