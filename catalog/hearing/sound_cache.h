// Sounds and lists as they were read, a bounded number of each, under the changes that aren't in the store yet.
#ifndef VELOX_CATALOG_HEARING_SOUND_CACHE_H
#define VELOX_CATALOG_HEARING_SOUND_CACHE_H

#include <map>
#include <memory>
#include <unordered_map>
#include <utility>

#include "hearing/profile.h"
#include "store/store.h"

namespace velox::catalog {

/** Keeps what was used lately: when the younger half is full, the older one goes. */
template <class Key, class Value>
class recent {
 public:
  explicit recent(size_t most) : half_(most / 2) {}
  Value* find(const Key& key) {
    if (const auto found = young_.find(key); found != young_.end()) return &found->second;
    const auto found = old_.find(key);
    if (found == old_.end()) return nullptr;
    Value value = std::move(found->second);
    old_.erase(found);
    return &put(key, std::move(value));
  }
  Value& put(const Key& key, Value value) {
    if (young_.size() >= half_) old_ = std::exchange(young_, {});
    return young_.insert_or_assign(key, std::move(value)).first->second;
  }
  void drop(const Key& key) { young_.erase(key), old_.erase(key); }

 private:
  const size_t half_;
  std::unordered_map<Key, Value> young_, old_;
};

class sound_cache {
 public:
  using profile_ptr = std::shared_ptr<const sound_profile>;
  explicit sound_cache(store& of) : of_(of), profiles_(k_profiles), lists_(k_lists) {}

  /** By number; null for one that has gone. */
  profile_ptr profile(int64_t id);
  /** The profiles of some sounds, those that have gone left out. */
  std::vector<profile_ptr> profiles(std::span<const int64_t> ids);
  /** Valid until the next call. */
  const near_sounds& list(int layer, int64_t id);

  void put_profile(const sound_profile& of);
  void put_list(int layer, int64_t id, near_sounds nearest);
  void seen_to(int64_t gone) { changes_.seen_to.push_back(gone); }
  /** How much waits for flush(). */
  size_t waiting() const { return changes_.placed.size() + changed_.size() + changes_.seen_to.size(); }
  void flush();

 private:
  static constexpr size_t k_profiles = sizeof(void*) == 8 ? 65536 : 8192, k_lists = k_profiles;
  static int64_t key_of(int layer, int64_t id) { return id * 16 + layer; }

  store& of_;
  recent<int64_t, profile_ptr> profiles_;
  recent<int64_t, near_sounds> lists_;
  std::map<std::pair<int, int64_t>, near_sounds> changed_;
  sound_placing changes_;
};

}  // namespace velox::catalog

#endif
