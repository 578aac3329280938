// A list that has changed is kept until it is in the store, whatever else is forgotten.
#include "hearing/sound_cache.h"

namespace velox::catalog {

sound_cache::profile_ptr sound_cache::profile(int64_t id) {
  const std::vector<profile_ptr> found = profiles({&id, 1});
  return found.empty() ? nullptr : found.front();
}

std::vector<sound_cache::profile_ptr> sound_cache::profiles(std::span<const int64_t> ids) {
  std::vector<profile_ptr> found;
  std::vector<int64_t> missing;
  for (const int64_t id : ids) {
    if (const profile_ptr* known = profiles_.find(id)) {
      found.push_back(*known);
    } else {
      missing.push_back(id);
    }
  }
  if (missing.empty()) return found;
  for (const kept_sound& each : of_.sounds(missing)) {
    const auto made = std::make_shared<const sound_profile>(each);
    profiles_.put(each.id, made);
    found.push_back(made);
  }
  return found;
}

const near_sounds& sound_cache::list(int layer, int64_t id) {
  if (const auto changed = changed_.find({layer, id}); changed != changed_.end()) return changed->second;
  const int64_t key = key_of(layer, id);
  if (const near_sounds* known = lists_.find(key)) return *known;
  std::vector<sound_list> found = of_.sound_lists(layer, {&id, 1});
  return lists_.put(key, found.empty() ? near_sounds() : std::move(found.front().nearest));
}

void sound_cache::put_profile(const sound_profile& of) {
  profiles_.put(of.id, std::make_shared<const sound_profile>(of));
  changes_.placed.emplace_back(of.id, of.scale);
}

void sound_cache::put_list(int layer, int64_t id, near_sounds nearest) {
  changed_[{layer, id}] = std::move(nearest);
  lists_.drop(key_of(layer, id));
}

void sound_cache::flush() {
  if (waiting() == 0) return;
  for (auto& [where, nearest] : changed_) changes_.lists.push_back({where.first, where.second, std::move(nearest)});
  of_.place(changes_);
  changed_.clear();
  changes_ = {};
}

}  // namespace velox::catalog
