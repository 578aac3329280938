// Tracks to choose from, with all that scoring reads of them, and the filter that decides which may be among them.
#ifndef VELOX_CATALOG_MODEL_CANDIDATE_H
#define VELOX_CATALOG_MODEL_CANDIDATE_H

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/attribute.h"
#include "model/sound.h"

namespace velox::catalog {

struct candidate {
  int64_t id, artist, album, title_key; /* artist and album 0: none */
  int64_t family;                       /* what is spread out: the artist, else the album, else the track itself */
  int popularity, year;                 /* year 0: unknown */
  uint32_t first_attribute, attributes; /* in candidates::attributes */
  uint32_t step;                        /* of the search that brought it */
};

/** What the tracks of an answer must be. Values of one kind join, kinds narrow each other. */
struct track_filter {
  bool set[k_kinds] = {}; /* a kind that is set and has no values lets nothing pass */
  std::vector<int64_t> any_of[k_kinds];

  /* The catalogue filter: at most one of its parts is given; where it is set without any, nothing passes. */
  bool placed = false;
  int64_t genre = 0, artist = 0;
  std::string path; /* beginning of it */

  bool any() const { return placed || set[k_genre] || set[k_mood] || set[k_era]; }
  bool passes(int64_t track_artist, std::span<const int64_t> attributes, std::string_view track_path) const {
    for (const attribute_kind kind : k_all_kinds) {
      if (set[kind] && std::find_first_of(attributes.begin(), attributes.end(), any_of[kind].begin(),
                                          any_of[kind].end()) == attributes.end())
        return false;
    }
    if (!placed) return true;
    if (genre != 0) return std::find(attributes.begin(), attributes.end(), genre) != attributes.end();
    if (artist != 0) return track_artist == artist;
    return !path.empty() && track_path.starts_with(path);
  }
};

/** What is spread out where an artist or album is missing; no two of them are the same. */
constexpr int64_t family_of(int64_t track, int64_t artist, int64_t album) {
  return artist != 0 ? artist : album != 0 ? -2 * album : -2 * track - 1;
}

/** That a track sounds like another one, which a request goes by. */
struct echo {
  int64_t of;
  float likeness; /* 0 to 1 */
};

/** What was heard of a track. */
struct heard_sound {
  sonic sound;
  std::vector<echo> echoes;
};

/** The tracks met so far that passed; each is met once. */
class candidates {
 public:
  candidates() { met_.reserve(4096); }
  /** Notes a track as met; false when it was already. */
  bool meet(int64_t track) { return met_.insert(track).second; }
  /** Adds one that was met, with its attributes. */
  void add(candidate track, std::span<const int64_t> attributes) {
    track.first_attribute = static_cast<uint32_t>(attributes_.size());
    track.attributes = static_cast<uint32_t>(attributes.size());
    attributes_.insert(attributes_.end(), attributes.begin(), attributes.end());
    tracks_.push_back(track);
  }
  const std::vector<candidate>& all() const { return tracks_; }
  /** Tells what a track sounds like, whether it has been met or not. */
  void hear(int64_t track, const sonic& sound, echo like) {
    heard_sound& heard = heard_[track];
    heard.sound = sound;
    heard.echoes.push_back(like);
  }
  /** Null where nothing was heard of it. */
  const heard_sound* heard(int64_t track) const {
    const auto found = heard_.find(track);
    return found == heard_.end() ? nullptr : &found->second;
  }
  std::span<const int64_t> attributes_of(const candidate& track) const {
    return {attributes_.data() + track.first_attribute, track.attributes};
  }

 private:
  std::unordered_set<int64_t> met_;
  std::vector<candidate> tracks_;
  std::vector<int64_t> attributes_;
  std::unordered_map<int64_t, heard_sound> heard_;
};

}  // namespace velox::catalog

#endif
