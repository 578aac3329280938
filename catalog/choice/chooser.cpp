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
constexpr size_t k_few_memories = 16;      /* and twice the tracks wanted: what the history is asked about at first */
constexpr size_t k_more_memories = 100;    /* and then, twice as many after that, and so on */
constexpr size_t k_most_batches = 4;

/** The choice so far, with what it rules out. */
class selection {
 public:
  explicit selection(const request& asked) : asked_(asked) {
    for (const seed& each : asked.seeds) {
      if (each.track != 0 && each.artist != 0 && !asked.radio) songs_.insert(song_of(each.artist, each.title_key));
    }
  }
  bool full() const { return chosen.size() >= asked_.count; }
  uint32_t missing() const { return asked_.count - static_cast<uint32_t>(chosen.size()); }
  /** Without what the history says. */
  bool has_room_for(const candidate& track, uint32_t artist_limit) const {
    if (full() || taken_.contains(track.id) || songs_.contains(song_of(track.family, track.title_key))) return false;
    const auto of_artist = artists_.find(track.family);
    return artist_limit == 0 || of_artist == artists_.end() || of_artist->second < artist_limit;
  }
  void add(choice track) {
    ++artists_[track.track.family];
    taken_.insert(track.track.id);
    songs_.insert(song_of(track.track.family, track.track.title_key));
    chosen.push_back(std::move(track));
  }
  std::vector<choice> chosen;

 private:
  static uint64_t song_of(int64_t family, int64_t title_key) {
    return static_cast<uint64_t>(title_key) * 31 + static_cast<uint64_t>(family);
  }
  const request& asked_;
  std::unordered_set<int64_t> taken_;
  std::unordered_set<uint64_t> songs_;
  std::unordered_map<int64_t, uint32_t> artists_; /* tracks by family */
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
    search wanted{.windows = std::move(windows.windows()), .filter = &asked_.filter};
    for (const avoided_track& each : asked_.avoided) wanted.avoided.push_back(each.track);
    look(wanted);
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
      wanted.also = unknown();
    }
    look(wanted);
  }

  void look(search& wanted) {
    for (const seed& each : asked_.seeds) wanted.brief.push_back(each.track);
    const size_t before = tracks_.all().size();
    memories told = from_.look(wanted, tracks_);
    if (history_) history_->learn(std::move(told));
    run_.looked(tracks_.all().size() - before);
  }

  /** The candidates that the history doesn't know. */
  std::vector<int64_t> unknown() {
    std::vector<int64_t> ids;
    for (const scored& each : scorer_.ranked()) {
      if (!history_->knows(track_of(each).id)) ids.push_back(track_of(each).id);
    }
    return ids;
  }

  /** Asks the history about a near track, and in the same question about those whose turn comes after it: at first about few, of
   *  which few are of one artist, since most stations want no more; then about more, and at last about all. */
  void learn_from(const candidate& wanted) {
    const bool first = asked_history_ == 0;
    const size_t most = first                             ? k_few_memories + 2 * asked_.count
                        : asked_history_ < k_most_batches ? k_more_memories * asked_history_
                                                          : SIZE_MAX;
    ++asked_history_;
    std::vector<int64_t> ids = {wanted.id};
    std::unordered_map<int64_t, uint32_t> of_artist;
    bool more = true;
    for (size_t turn = 0; more && ids.size() < most; ++turn) {
      more = false;
      for (const std::deque<scored>& ranked : near_) {
        if (turn >= ranked.size()) continue;
        more = true;
        const candidate& track = track_of(ranked[turn]);
        if (track.id == wanted.id || history_->knows(track.id)) continue;
        if (!picked_.has_room_for(track, near_limit(ranked[turn]))) continue;
        if (!first || ++of_artist[track.family] <= std::max(asked_.per_artist, 1u)) ids.push_back(track.id);
      }
    }
    history_->learn(from_.remember(history_->station_id(), ids));
  }

  // ---- Choosing

  /** Each seed in its turn gives its best track, so that none is forgotten. */
  void choose_near() {
    near_.resize(asked_.seed_count());
    for (const scored& each : scorer_.ranked()) {
      if (each.similarity >= scorer::k_near) near_[each.seed].push_back(each);
    }
    for (bool more = true; more && !picked_.full();) {
      more = false;
      for (auto& ranked : near_) {
        bool added = false;
        while (!added && !ranked.empty() && !picked_.full()) {
          const scored best = ranked.front();
          ranked.pop_front();
          added = add(best, near_limit(best));
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
      if (!history_->knows(track.id)) learn_from(track);
      if (!history_->admits(track)) return false;
      history_->chosen(track);
    }
    const heard_sound* heard = tracks_.heard(track.id);
    picked_.add({track, what.seed, what.score, scorer_.explain(what), heard ? heard->sound : sonic()});
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
  std::vector<std::deque<scored>> near_; /* by seed, best first: what is left of it */
  size_t asked_history_ = 0;             /* times */
};

}  // namespace

choices choose(store& from, const request& asked, progress& run, listener* history) {
  return chooser(from, asked, run, history).choose();
}

}  // namespace velox::catalog
