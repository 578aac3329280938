// Choosing tracks: candidates near the seeds are gathered and scored, chosen with an eye on artists and seeds, and put in order.
// Where too little is near, wider sources are gathered and taken one after the other: the seeds' artists, their genres, their
// eras, what is popular.
#include "choice/chooser.h"

#include <deque>
#include <unordered_map>
#include <unordered_set>

#include "choice/arrange.h"
#include "choice/sources.h"

namespace velox::catalog {
namespace {

constexpr uint32_t k_seed_artist_near = 3; /* tracks of a seed's own artist, unless too little is near */
constexpr size_t k_first_memories = 32;    /* and twice the tracks wanted: what the history is asked about at first */

/** The choice so far, with what it rules out. */
class selection {
 public:
  explicit selection(const request& asked) : asked_(asked) {
    for (const seed& each : asked.seeds) {
      if (each.track != 0 && !asked.radio) songs_.insert(song_of(each.artist, each.title_key));
    }
  }
  bool full() const { return chosen.size() >= asked_.count; }
  uint32_t missing() const { return asked_.count - static_cast<uint32_t>(chosen.size()); }
  /** Without what the history says. */
  bool has_room_for(const candidate& track, uint32_t artist_limit) const {
    if (full() || taken_.contains(track.id) || songs_.contains(song_of(track.artist, track.title_key))) return false;
    const auto of_artist = artists_.find(track.artist);
    return artist_limit == 0 || of_artist == artists_.end() || of_artist->second < artist_limit;
  }
  void add(choice track) {
    ++artists_[track.track.artist];
    taken_.insert(track.track.id);
    songs_.insert(song_of(track.track.artist, track.track.title_key));
    chosen.push_back(std::move(track));
  }
  std::vector<choice> chosen;

 private:
  static uint64_t song_of(int64_t artist, int64_t title_key) {
    return static_cast<uint64_t>(title_key) * 31 + static_cast<uint64_t>(artist);
  }
  const request& asked_;
  std::unordered_set<int64_t> taken_;
  std::unordered_set<uint64_t> songs_;
  std::unordered_map<int64_t, uint32_t> artists_;
};

class chooser {
 public:
  chooser(store& from, const request& asked, progress& run, listener* history)
      : from_(from), asked_(asked), run_(run), history_(history), scorer_(from, asked, tracks_), picked_(asked) {
    for (const seed& each : asked.seeds) {
      if (!asked.radio) tracks_.meet(each.track);
    }
  }

  choices choose() {
    look_near();
    choose_near();
    if (!picked_.full()) choose_wider();
    while (history_ && !picked_.full() && history_->relax(tracks_.all())) choose_returning();
    if (picked_.chosen.empty())
      fallback_ =
          asked_.filter.any() ? "no track of the catalogue passes the filter" : "no other track is in the catalogue";
    arrange(picked_.chosen, asked_);
    return {std::move(picked_.chosen), std::move(fallback_)};
  }

 private:
  const candidate& track_of(const scored& each) const { return tracks_.all()[each.track]; }

  // ---- Questions

  void look_near() {
    gathering windows(from_, asked_, picked_.missing());
    for (const source& near : k_near_sources) near.add(windows);
    look({.windows = std::move(windows.windows()), .filter = &asked_.filter});
  }

  /** What is taken of the wider sources is mostly all that there is, so the history is asked about it in the same question. */
  void look_wider() {
    gathering windows(from_, asked_, picked_.missing());
    for (uint32_t i = 0; i < k_wider_sources.size(); ++i) {
      windows.begin_step(i + 1);
      k_wider_sources[i].add(windows);
    }
    search wanted{.windows = std::move(windows.windows()), .filter = &asked_.filter};
    if (history_) {
      wanted.remembers = true;
      wanted.station = history_->station_id();
      wanted.also = unknown_of(0, SIZE_MAX);
    }
    look(wanted);
  }

  void look(const search& wanted) {
    const size_t before = tracks_.all().size();
    memories told = from_.look(wanted, tracks_);
    if (history_) history_->learn(std::move(told));
    run_.looked(tracks_.all().size() - before);
  }

  /** The best candidates of at least some similarity that the history doesn't know. */
  std::vector<int64_t> unknown_of(float similarity, size_t most) {
    std::vector<int64_t> ids;
    for (const scored& each : scorer_.ranked()) {
      if (ids.size() >= most) break;
      if (each.similarity >= similarity && !history_->knows(track_of(each).id)) ids.push_back(track_of(each).id);
    }
    return ids;
  }

  /** Asks the history about some of what is near, and when that isn't enough about all of it. */
  void learn_more() {
    const size_t most = learned_ ? SIZE_MAX : k_first_memories + 2 * asked_.count;
    learned_ = true;
    history_->learn(from_.remember(history_->station_id(), unknown_of(scorer::k_near, most)));
  }

  // ---- Choosing

  /** Each seed in its turn gives its best track, so that none is forgotten. */
  void choose_near() {
    std::vector<std::deque<scored>> of_seed(asked_.seed_count());
    for (const scored& each : scorer_.ranked()) {
      if (each.similarity >= scorer::k_near) of_seed[each.seed].push_back(each);
    }
    for (bool more = true; more && !picked_.full();) {
      more = false;
      for (auto& ranked : of_seed) {
        bool added = false;
        while (!added && !ranked.empty() && !picked_.full()) {
          added = add(ranked.front(), near_limit(ranked.front()));
          ranked.pop_front();
        }
        more = more || added;
      }
    }
  }

  /** Tracks of an artist; a seed's own has few, unless the filter asks for it. */
  uint32_t near_limit(const scored& each) const {
    const int64_t own = asked_.seeds[each.seed].artist;
    if (own == 0 || own != track_of(each).artist || asked_.filter.artist != 0) return asked_.per_artist;
    return asked_.per_artist == 0 ? k_seed_artist_near : std::min(asked_.per_artist, k_seed_artist_near);
  }

  void choose_wider() {
    look_wider();
    const std::vector<scored>& ranked = scorer_.ranked();
    for (uint32_t i = 0; i < k_wider_sources.size() && !picked_.full(); ++i) {
      const source& wider = k_wider_sources[i];
      const size_t before = picked_.chosen.size();
      for (const scored& each : ranked) {
        if (picked_.full()) break;
        if (track_of(each).step <= i + 1 && scorer_.nearness_of(each) <= wider.furthest) add(each, asked_.per_artist);
      }
      if (picked_.chosen.size() > before) fallback_ = wider.told;
    }
  }

  /** Rather one artist again than silence. */
  void choose_returning() {
    std::vector<scored> ranked = scorer_.ranked();
    std::stable_sort(ranked.begin(), ranked.end(), [&](const scored& a, const scored& b) {
      return history_->last_heard(track_of(a)) < history_->last_heard(track_of(b));
    });
    for (const scored& each : ranked) add(each, 0);
  }

  bool add(const scored& what, uint32_t limit) {
    const candidate& track = track_of(what);
    if (!picked_.has_room_for(track, limit)) return false;
    if (history_) {
      if (!history_->knows(track.id)) learn_more();
      if (!history_->admits(track)) return false;
      history_->chosen(track);
    }
    picked_.add({track, what.seed, what.score, scorer_.explain(what)});
    return true;
  }

  store& from_;
  const request& asked_;
  progress& run_;
  listener* history_;
  candidates tracks_;
  scorer scorer_;
  selection picked_;
  std::string fallback_;
  bool learned_ = false; /* about some of what is near */
};

}  // namespace

choices choose(store& from, const request& asked, progress& run, listener* history) {
  return chooser(from, asked, run, history).choose();
}

}  // namespace velox::catalog
