// What makes a track near to a seed: a list of terms, each with its share of the similarity, how near it holds the two, and what it
// says of it. A further term is a file of its own and a row in terms.cpp.
#ifndef VELOX_CATALOG_CHOICE_TERMS_H
#define VELOX_CATALOG_CHOICE_TERMS_H

#include "choice/nearness.h"
#include "choice/request.h"

namespace velox::catalog {

/** A track beside a seed, with what several terms read. */
struct pairing {
  const seed& with;
  float with_norm; /* length of the seed's profile, by weights */
  const candidate& track;
  std::span<const int64_t> attributes; /* of the track */
  std::span<const float> weights;      /* of these; 0 for an era */
  float norm;                          /* their length */
  float overlap;                       /* of both profiles: more for rarer attributes that they share; 0 for none */
  float likeness;                      /* of their sounds: 0 to 1; 0 also where one isn't known */

  /** Whether both have genres or moods. */
  bool overlap_known() const { return norm > 0 && with_norm > 0; }
};

/** What a track and a seed have in common, the rarest first, with their infos. */
struct common_attribute {
  int64_t id;
  float weight; /* 0 for an era */
  const attribute_info* info;
};
using common_attributes = std::vector<common_attribute>;

struct told_reason {
  std::string kind, sentence;
};

/** A reason's kind that the words for the sound follow. */
constexpr const char* k_sound_reason = "sound";

struct score_term {
  nearness is; /* the tie that it is, where it ties */
  /* Those that add up to a similarity, which is cut at 1, or else of what they leave of it: evidence of another kind makes a track
   * nearer, and where it is missing nothing is taken away. */
  enum { adds, joins } how;
  float share;
  float (*near)(const pairing& of); /* 0 to 1 */
  bool (*ties)(const pairing& of, const common_attributes& common);
  told_reason (*explain)(const pairing& of, const common_attributes& common);
};

/** Nearest first. */
extern const std::span<const score_term> k_score_terms;

// The rows' functions, each in the source of its name
float album_near(const pairing& of);
bool album_ties(const pairing& of, const common_attributes& common);
told_reason explain_album(const pairing& of, const common_attributes& common);
float artist_near(const pairing& of);
bool artist_ties(const pairing& of, const common_attributes& common);
told_reason explain_artist(const pairing& of, const common_attributes& common);
float sound_near(const pairing& of);
bool sound_ties(const pairing& of, const common_attributes& common);
told_reason explain_sound(const pairing& of, const common_attributes& common);
float attributes_near(const pairing& of);
bool attributes_tie(const pairing& of, const common_attributes& common);
float era_near(const pairing& of);
bool era_ties(const pairing& of, const common_attributes& common);
told_reason explain_era(const pairing& of, const common_attributes& common);

// Words
/** "genre Dream Pop, mood Calm, 1990s": two of each kind at most. */
std::string names_of(const common_attributes& common);
/** "genre Dream Pop, 1990s, like "Rain" (seed 1)". */
told_reason explain_attributes(const pairing& of, const common_attributes& common);
/** " (seed 1)", " (liked)". */
std::string reference_to(const seed& with);

}  // namespace velox::catalog

#endif
