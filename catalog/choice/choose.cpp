// Choosing tracks: gather candidates near the seeds, rate them, choose with an eye on artists and seeds, and put them in
// order. Where too little is near, further steps gather wider: the seeds' artists, their genres, their eras, what is popular.
#include "choice/choose.h"

#include <algorithm>
#include <cmath>
#include <deque>

namespace velox::catalog {
namespace {

constexpr uint32_t k_near_quota = 2000; /* rows looked at for what is near to the seeds */
constexpr uint32_t k_wide_quota = 600;  /* and for each wider step */
constexpr uint32_t k_least_quota = 16;
constexpr uint32_t k_seed_artist_near = 3;

/** The choice so far, with what it rules out. */
class selection {
 public:
  selection(const wish& asked, listener* history) : asked_(asked), history_(history) {
    for (const seed& each : asked.seeds) {
      if (each.track != 0 && !asked.radio) songs_.insert(song_of(each.artist, each.title_key));
    }
  }
  bool full() const { return chosen.size() >= asked_.count; }
  uint32_t missing() const { return asked_.count - static_cast<uint32_t>(chosen.size()); }
  bool admits(const candidate& track, uint32_t artist_limit) const {
    if (full() || taken_.count(track.id) != 0 || songs_.count(song_of(track.artist, track.title_key)) != 0)
      return false;
    const auto of_artist = artists_.find(track.artist);
    if (artist_limit != 0 && of_artist != artists_.end() && of_artist->second >= artist_limit) return false;
    return !history_ || history_->admits(track);
  }
  void add(choice track) {
    if (history_) history_->chosen(track.track);
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
  const wish& asked_;
  listener* history_;
  std::unordered_set<int64_t> taken_;
  std::unordered_set<uint64_t> songs_;
  std::unordered_map<int64_t, uint32_t> artists_;
};

class chooser {
 public:
  chooser(connection& from, const wish& asked, progress& run, listener* history)
      : from_(from),
        asked_(asked),
        history_(history),
        tracks_(from, asked, run),
        judge_(from, asked),
        picked_(asked, history) {}

  choices choose() {
    gather_near();
    choose_near();
    struct step {
      void (chooser::*gather)();
      nearness furthest;
      const char* name;
    };
    static constexpr step k_steps[] = {
        {&chooser::gather_artists, nearness::artist, "more tracks of the seeds' artists"},
        {&chooser::gather_genres, nearness::attribute, "other tracks of the same genres and moods"},
        {&chooser::gather_eras, nearness::era, "other tracks of the same era"},
        {&chooser::gather_popular, nearness::none, "popular tracks"}};
    for (const step& wider : k_steps) {
      if (picked_.full()) break;
      (this->*wider.gather)();
      if (choose_wider(wider.furthest)) fallback_ = wider.name;
    }
    if (!picked_.full() && is_filtered() && !tracks_.filter_is_exhausted()) {
      tracks_.take_all_filtered(picked_.missing() * 4);
      if (choose_wider(nearness::none)) fallback_ = "whatever the filter lets through";
    }
    while (history_ && !picked_.full() && history_->relax(tracks_)) choose_returning();
    if (picked_.chosen.empty())
      fallback_ = is_filtered() ? "no track of the catalogue passes the filter" : "no other track is in the catalogue";
    arrange();
    return {std::move(picked_.chosen), std::move(fallback_)};
  }

 private:
  bool is_filtered() const {
    return asked_.where.set || asked_.filtered[k_genre] || asked_.filtered[k_mood] || asked_.filtered[k_era];
  }

  void gather_near() {
    if (is_filtered()) tracks_.take_filtered(k_near_quota);
    if (asked_.attributes_only) return;
    const auto seeds = static_cast<uint32_t>(std::max<size_t>(1, asked_.seeds.size()));
    for (const seed& each : asked_.seeds) {
      if (each.artist != 0) tracks_.take_artist(each.artist, 40);
      if (each.album != 0) tracks_.take_album(each.album, 40);
      // A rare attribute is small and says much: it comes whole before a common one gets what is left.
      std::vector<weighted> parts = each.profile;
      std::sort(parts.begin(), parts.end(), [&](const weighted& a, const weighted& b) {
        return from_.attrs.at(a.attribute).tracks < from_.attrs.at(b.attribute).tracks;
      });
      int64_t left = k_near_quota / seeds;
      for (size_t i = 0; i < parts.size(); ++i) {
        const int64_t quota = std::max<int64_t>(left / static_cast<int64_t>(parts.size() - i), k_least_quota);
        tracks_.take_attribute(parts[i].attribute, static_cast<uint32_t>(quota));
        left = std::max<int64_t>(left - std::min(quota, from_.attrs.at(parts[i].attribute).tracks), 0);
      }
    }
  }

  std::vector<rated> rate_all() {
    std::vector<rated> result;
    result.reserve(tracks_.all().size());
    for (const candidate& track : tracks_.all()) result.push_back(judge_.rate(tracks_, track));
    std::sort(result.begin(), result.end(), [](const rated& a, const rated& b) {
      return a.score != b.score ? a.score > b.score : a.track->id < b.track->id;
    });
    return result;
  }

  /** Each seed in its turn gives its best track, so that none is forgotten. */
  void choose_near() {
    std::vector<std::deque<rated>> of_seed(std::max<size_t>(1, asked_.seeds.size()));
    for (const rated& each : rate_all()) {
      if (each.similarity >= judge::k_near) of_seed[each.seed].push_back(each);
    }
    for (bool more = true; more && !picked_.full();) {
      more = false;
      for (auto& ranked : of_seed) {
        bool added = false;
        while (!added && !ranked.empty() && !picked_.full()) {
          const rated best = ranked.front();
          ranked.pop_front();
          uint32_t limit = asked_.per_artist;
          const int64_t own = asked_.seeds[best.seed].artist;
          if (own != 0 && own == best.track->artist && asked_.where.artist == 0)
            limit = std::min(limit == 0 ? k_seed_artist_near : limit, k_seed_artist_near);
          added = add(best, limit);
        }
        more = more || added;
      }
    }
  }

  bool choose_wider(nearness furthest) {
    const size_t before = picked_.chosen.size();
    for (const rated& each : rate_all()) {
      if (picked_.full()) break;
      if (judge_.nearness_of(tracks_, each) <= furthest) add(each, asked_.per_artist);
    }
    return picked_.chosen.size() > before;
  }

  void choose_returning() {
    std::vector<rated> ranked = rate_all();
    std::stable_sort(ranked.begin(), ranked.end(), [&](const rated& a, const rated& b) {
      return history_->last_heard(*a.track) < history_->last_heard(*b.track);
    });
    for (const rated& each : ranked) add(each, 0);  // rather one artist again than silence
  }

  bool add(const rated& what, uint32_t limit) {
    if (!picked_.admits(*what.track, limit)) return false;
    picked_.add({*what.track, what.seed, what.score, judge_.explain(tracks_, what)});
    return true;
  }

  void gather_artists() {
    for (const seed& each : asked_.seeds) {
      if (each.artist != 0) tracks_.take_artist(each.artist, k_wide_quota / 2);
    }
  }
  void gather_genres() {
    for (const seed& each : asked_.seeds) {
      for (const weighted& part : each.profile) {
        tracks_.take_attribute(
            part.attribute,
            std::max<uint32_t>(k_least_quota,
                               k_wide_quota / static_cast<uint32_t>(each.profile.size() * asked_.seeds.size())));
      }
    }
  }
  void gather_eras() {
    for (const seed& each : asked_.seeds) {
      for (const int64_t era : each.eras)
        tracks_.take_attribute(era, k_wide_quota / static_cast<uint32_t>(each.eras.size() * asked_.seeds.size()));
    }
  }
  void gather_popular() { tracks_.take_popular(k_wide_quota); }

  void arrange() {
    auto& chosen = picked_.chosen;
    if (!asked_.radio)  // where what was let through first is to come first
      std::sort(chosen.begin(), chosen.end(), [](const auto& a, const auto& b) {
        return a.score != b.score ? a.score > b.score : a.track.id < b.track.id;
      });
    if (asked_.rotate) rotate();
  }

  /** Seeds take turns, and no artist follows itself as long as the others suffice to keep its tracks apart. */
  void rotate() {
    std::vector<choice> rest = std::move(picked_.chosen), ordered;
    std::unordered_map<int64_t, size_t> of_artist;
    for (const auto& each : rest) ++of_artist[each.track.artist];
    int64_t last_artist = 0;
    for (uint32_t turn = 0; !rest.empty(); ++turn) {
      // An artist that has half of what is left must come now, or it will follow itself later.
      const auto fullest = std::max_element(rest.begin(), rest.end(), [&](const auto& a, const auto& b) {
        return of_artist[a.track.artist] < of_artist[b.track.artist];
      });
      const int64_t pressing = of_artist[fullest->track.artist] * 2 > rest.size() ? fullest->track.artist : 0;
      const auto seeds = static_cast<uint32_t>(std::max<size_t>(1, asked_.seeds.size()));
      size_t best = 0;
      int best_rank = -1;
      for (size_t i = 0; i < rest.size(); ++i) {
        const auto& each = rest[i];
        const int rank = (each.track.artist != last_artist ? 4 : 0) +
                         (pressing != 0 && each.track.artist == pressing ? 2 : 0) + (each.seed == turn % seeds ? 1 : 0);
        if (rank > best_rank) best_rank = rank, best = i;
      }
      last_artist = rest[best].track.artist;
      --of_artist[last_artist];
      ordered.push_back(std::move(rest[best]));
      rest.erase(rest.begin() + static_cast<ptrdiff_t>(best));
    }
    picked_.chosen = std::move(ordered);
  }

  connection& from_;
  const wish& asked_;
  listener* history_;
  pool tracks_;
  judge judge_;
  selection picked_;
  std::string fallback_;
};

}  // namespace

choices choose(connection& from, const wish& asked, progress& run, listener* history) {
  return chooser(from, asked, run, history).choose();
}

}  // namespace velox::catalog
