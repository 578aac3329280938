// Layers, the search along them, and the mending of lists.
#include "hearing/neighbourhood.h"

#include <algorithm>
#include <chrono>
#include <queue>
#include <unordered_set>

#include "hearing/sound_cache.h"

namespace velox::catalog {
namespace {

using clock = std::chrono::steady_clock;

constexpr size_t k_sample = 256;       /* sounds that others are measured by */
constexpr uint64_t k_thinning = 8;     /* of so many sounds, one is in the layer above as well */
constexpr size_t k_nearest_above = 32; /* of each sound in the layers above the first */
constexpr size_t k_width = 128;        /* of a search: the best that are followed */
constexpr size_t k_entries = 8;        /* sounds that it begins with in the layer below */
constexpr uint32_t k_at_once = 256;
constexpr auto k_longest = std::chrono::seconds(1); /* between two transactions */

size_t kept_on(int layer) { return layer == 0 ? k_nearest_kept : k_nearest_above; }

/** Evenly spread, and the same for a number everywhere. */
uint64_t chance_of(int64_t id) {
  uint64_t mixed = static_cast<uint64_t>(id) * 0x9e3779b97f4a7c15u;
  mixed = (mixed ^ mixed >> 31) * 0xbf58476d1ce4e5b9u;
  return mixed ^ mixed >> 29;
}

/** The highest layer that a sound is in. */
int layer_of(int64_t id) {
  int layer = 0;
  for (uint64_t chance = chance_of(id); layer < k_most_layers && chance % k_thinning == 0; chance /= k_thinning)
    ++layer;
  return layer;
}

bool nearer(const near_sound& a, const near_sound& b) {
  return a.distance != b.distance ? a.distance < b.distance : a.id < b.id;
}

/** Puts one into its place in a list; false where it is too far. */
bool take_in(near_sounds& list, const near_sound& fresh, size_t most) {
  const auto place = std::lower_bound(list.begin(), list.end(), fresh, nearer);
  if (place == list.end() && list.size() >= most) return false;
  list.insert(place, fresh);
  if (list.size() > most) list.pop_back();
  return true;
}

[[noreturn]] void end_here() {
  throw failure{VELOX_STANDIN_ERR_ABORTED, "settling was ended; what was found is in the catalogue"};
}

/** All numbers of sounds. */
std::vector<int64_t> all_numbers(store& of) {
  std::vector<int64_t> all;
  for (;;) {
    const std::vector<int64_t> some = of.sound_numbers(false, all.empty() ? 0 : all.back(), 10000);
    if (some.empty()) return all;
    all.insert(all.end(), some.begin(), some.end());
  }
}

/** A fair sample, and always the same of the same sounds; a smaller one is part of a larger. */
std::vector<int64_t> sample_of(std::vector<int64_t> ids, size_t most) {
  const auto earlier = [](int64_t a, int64_t b) { return chance_of(~a) < chance_of(~b); };
  if (ids.size() > most) {
    std::nth_element(ids.begin(), ids.begin() + static_cast<ptrdiff_t>(most), ids.end(), earlier);
    ids.resize(most);
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

class neighbourhood {
 public:
  neighbourhood(store& of, const std::function<bool(uint64_t, uint64_t)>& go_on, const settling& limits)
      : of_(of), go_on_(go_on), limits_(limits), cache_(of) {}

  void settle() {
    const sound_census there = of_.sounds_there();
    if (there.unplaced == 0 && there.gone == 0) return;
    all_ = static_cast<uint64_t>(there.unplaced + there.gone);
    if (is_to_be_anew(there)) {
      place_anew();
      if (there.sounds > limits_.compared_whole) settle();  // by a sample: the others follow
      return;
    }
    top_ = there.top;
    entries_ = of_.sounds_on(top_, k_entries);
    load_sample(there.settled_last);
    mend();
    if (there.sounds <= limits_.compared_whole) load_all();
    place_new();
    cache_.flush();
  }

 private:
  bool is_to_be_anew(const sound_census& there) const {
    if (there.sounds <= limits_.always_anew || there.settled == 0) return true;
    return there.sounds <= limits_.compared_whole && there.sounds >= 2 * there.settled;
  }

  void step(uint64_t done) {
    done_ += done;
    if (go_on_ && !go_on_(done_, all_)) {
      cache_.flush();
      end_here();
    }
    if (clock::now() - flushed_ < k_longest) return;
    cache_.flush();
    flushed_ = clock::now();
  }

  // ---- All anew

  void place_anew() {
    std::vector<int64_t> ids = all_numbers(of_);
    sound_placing placing{.anew_last = ids.empty() ? 1 : ids.back()};
    if (static_cast<int64_t>(ids.size()) > limits_.compared_whole)
      ids = sample_of(std::move(ids), static_cast<size_t>(limits_.always_anew));
    std::vector<sound_profile> profiles;
    profiles.reserve(ids.size());
    for (size_t at = 0; at < ids.size(); at += k_at_once) {
      const std::span some = std::span(ids).subspan(at, std::min<size_t>(k_at_once, ids.size() - at));
      for (const kept_sound& each : of_.sounds(some)) profiles.emplace_back(each);
    }
    measure(profiles);
    for (const sound_profile& each : profiles) placing.placed.emplace_back(each.id, each.scale);
    compare(profiles, placing);
    of_.place(placing);
  }

  static void measure(std::vector<sound_profile>& profiles) {
    std::vector<int64_t> ids;
    for (const sound_profile& each : profiles) ids.push_back(each.id);
    const std::vector<int64_t> wanted = sample_of(std::move(ids), k_sample);
    std::vector<sound_profile> sample;
    for (const sound_profile& each : profiles) {
      if (std::binary_search(wanted.begin(), wanted.end(), each.id)) sample.push_back(each);
    }
    set_scales(sample);
    for (sound_profile& each : profiles) set_scale(each, sample, true);
  }

  /** Of a sample, by itself. */
  static void set_scales(std::vector<sound_profile>& sample) {
    for (sound_profile& each : sample) set_scale(each, sample, false);
    for (sound_profile& each : sample) set_scale(each, sample, true);
  }

  void compare(const std::vector<sound_profile>& profiles, sound_placing& placing) {
    std::vector<int> layers;
    std::vector<std::vector<near_sounds>> lists(profiles.size());
    for (size_t i = 0; i < profiles.size(); ++i) {
      layers.push_back(layer_of(profiles[i].id));
      lists[i].resize(static_cast<size_t>(layers[i]) + 1);
    }
    all_ = profiles.size();
    for (size_t i = 0; i < profiles.size(); ++i) {
      for (size_t j = 0; j < i; ++j) {
        const float far = distance(profiles[i], profiles[j]);
        for (int layer = std::min(layers[i], layers[j]); layer >= 0; --layer) {
          take_in(lists[i][static_cast<size_t>(layer)], {profiles[j].id, far}, kept_on(layer));
          take_in(lists[j][static_cast<size_t>(layer)], {profiles[i].id, far}, kept_on(layer));
        }
      }
      if (go_on_ && !go_on_(i + 1, all_)) end_here();
    }
    for (size_t i = 0; i < profiles.size(); ++i) {
      for (int layer = 0; layer <= layers[i]; ++layer)
        placing.lists.push_back({layer, profiles[i].id, std::move(lists[i][static_cast<size_t>(layer)])});
    }
  }

  // ---- One by one

  /** The sample of the last time, but for what has gone since. */
  void load_sample(int64_t last) {
    std::vector<int64_t> ids = all_numbers(of_);
    std::erase_if(ids, [last](int64_t id) { return id > last; });
    for (const kept_sound& each : of_.sounds(sample_of(std::move(ids), k_sample))) {
      if (each.scale.all_spread > 0) sample_.emplace_back(each);
    }
  }

  void place_new() {
    for (int64_t after = 0;;) {
      const std::vector<int64_t> some = of_.sound_numbers(true, after, k_at_once);
      if (some.empty()) return;
      for (const kept_sound& each : of_.sounds(some)) {
        place(sound_profile(each));
        step(1);
      }
      cache_.flush();
      after = some.back();
    }
  }

  void load_all() {
    const std::vector<int64_t> ids = all_numbers(of_);
    for (size_t at = 0; at < ids.size(); at += k_at_once) {
      for (auto& each : cache_.profiles(std::span(ids).subspan(at, std::min<size_t>(k_at_once, ids.size() - at))))
        if (each->scale.all_spread > 0) everyone_.push_back(std::move(each));
    }
  }

  void place(sound_profile fresh) {
    set_scale(fresh, sample_, true);
    cache_.put_profile(fresh);
    if (everyone_.empty()) return place_by_search(fresh);
    near_sounds found;
    for (const auto& each : everyone_) found.push_back({each->id, distance(fresh, *each)});
    std::sort(found.begin(), found.end(), nearer);
    for (int layer = 0; layer <= layer_of(fresh.id); ++layer) {
      std::erase_if(found, [layer](const near_sound& each) { return layer_of(each.id) < layer; });
      join(fresh.id, layer, found);
    }
    everyone_.push_back(std::make_shared<const sound_profile>(fresh));
  }

  void place_by_search(const sound_profile& fresh) {
    const int own = layer_of(fresh.id);
    near_sounds found = entries(fresh);
    for (int layer = std::max(own, top_); layer >= 0; --layer) {
      found = search(fresh, layer, found);
      std::erase_if(found, [&](const near_sound& each) { return each.id == fresh.id; });
      if (layer <= own) join(fresh.id, layer, found);
      if (layer > 0 && found.size() > k_entries) found.resize(k_entries);
    }
    if (own <= top_) return;
    top_ = own;
    entries_ = {fresh.id};
  }

  /** Where a search begins: with some of the highest layer. */
  near_sounds entries(const sound_profile& to) {
    near_sounds found;
    for (const auto& each : cache_.profiles(entries_)) found.push_back({each->id, distance(to, *each)});
    return found;
  }

  /** The nearest of a layer, by following the lists of the best found so far. */
  near_sounds search(const sound_profile& to, int layer, const near_sounds& from) {
    const auto farther = [](const near_sound& a, const near_sound& b) { return nearer(b, a); };
    std::priority_queue<near_sound, near_sounds, decltype(farther)> open(farther);
    std::unordered_set<int64_t> met = {to.id};
    near_sounds best;
    const auto meet = [&](const near_sound& each) {
      if (take_in(best, each, k_width)) open.push(each);
    };
    for (const near_sound& each : from) {
      if (met.insert(each.id).second) meet(each);
    }
    std::vector<int64_t> unmet;
    while (!open.empty()) {
      const near_sound next = open.top();
      open.pop();
      if (best.size() >= k_width && nearer(best.back(), next)) break;
      unmet.clear();
      for (const near_sound& each : cache_.list(layer, next.id)) {
        if (met.insert(each.id).second) unmet.push_back(each.id);
      }
      for (const auto& each : cache_.profiles(unmet)) meet({each->id, distance(to, *each)});
    }
    return best;
  }

  /** Gives a sound its list, and puts it into the lists of all that were found on the way and have farther ones: who is near to a
   *  sound in a crowd may have nobody nearer than it. */
  void join(int64_t id, int layer, const near_sounds& found) {
    const size_t most = kept_on(layer);
    for (const near_sound& each : found) {
      const near_sounds& known = cache_.list(layer, each.id);
      if (known.size() >= most && nearer(known.back(), {id, each.distance})) continue;
      near_sounds theirs = known;
      take_in(theirs, {id, each.distance}, most);
      cache_.put_list(layer, each.id, std::move(theirs));
    }
    cache_.put_list(layer, id, {found.begin(), found.begin() + static_cast<ptrdiff_t>(std::min(found.size(), most))});
  }

  // ---- Mending

  /** Whoever named one that has gone looks for another, if too few are left. */
  void mend() {
    for (;;) {
      const std::vector<sound_list> gone = of_.gone_sounds(k_at_once);
      if (gone.empty()) return;
      // The first layer is an id's last; where there is none, the catalogue is damaged, and what is there is done with.
      const bool ends = std::any_of(gone.begin(), gone.end(), [](const sound_list& each) { return each.layer == 0; });
      for (const sound_list& each : gone) {
        for (const near_sound& neighbour : each.nearest) forget(each.layer, each.id, neighbour.id);
        const bool last = each.layer == 0 || !ends;
        if (last) cache_.seen_to(each.id);
        step(last ? 1 : 0);
      }
      cache_.flush();
    }
  }

  void forget(int layer, int64_t gone, int64_t by) {
    near_sounds list = cache_.list(layer, by);
    const size_t former = list.size();
    std::erase_if(list, [&](const near_sound& each) { return each.id == gone; });
    if (list.size() == former) return;
    if (const auto of = cache_.profile(by); of && list.size() < kept_on(layer) / 2) {
      near_sounds found = search(*of, layer, list);
      found.resize(std::min(found.size(), kept_on(layer)));
      list = std::move(found);
    }
    cache_.put_list(layer, by, std::move(list));
  }

  store& of_;
  const std::function<bool(uint64_t, uint64_t)>& go_on_;
  const settling limits_;
  sound_cache cache_;
  std::vector<sound_profile> sample_;
  std::vector<sound_cache::profile_ptr> everyone_; /* where all are compared */
  int top_ = 0;
  std::vector<int64_t> entries_; /* of the layer above all */
  uint64_t done_ = 0, all_ = 0;
  clock::time_point flushed_ = clock::now();
};

}  // namespace

void settle_sounds(store& of, const std::function<bool(uint64_t done, uint64_t all)>& go_on, const settling& limits) {
  neighbourhood(of, go_on, limits).settle();
}

}  // namespace velox::catalog
