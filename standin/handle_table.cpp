// The slots behind the manager's handles. The lock is held for taking a slot and giving it back only; counting
// references and telling whether a handle lives go without it.
#include "handle_table.h"

#include <new>

namespace standin {

uint32_t handle_table::take_slot() {
  if (free_count_ > RESTING || (used_ == SLOT_LIMIT && free_count_ != 0)) {
    const uint32_t index = oldest_free_;
    oldest_free_ = slot_at(index)->next_free;
    --free_count_;
    return index;
  }
  if (used_ == SLOT_LIMIT) throw std::bad_alloc();
  const place at = place_of(used_);
  if (at.offset == 0) chunks_[at.chunk].store(new slot[size_t{1} << (at.chunk + FIRST_CHUNK_BITS)]);
  return used_++;
}

uintptr_t handle_table::insert(void* object) {
  const std::lock_guard hold(lock_);
  const uint32_t index = take_slot();
  slot* at = slot_at(index);
  const uint64_t state = at->state.load(std::memory_order_relaxed) | 1;
  at->object.store(object, std::memory_order_relaxed);
  at->state.store(state, std::memory_order_release);
  return word_of(index, state);
}

// The generation has moved on, so nobody finds the slot: its object is the caller's.
void* handle_table::retire(slot* at, uintptr_t word) {
  void* object = at->object.load(std::memory_order_relaxed);
  const uint32_t index = index_of(word);
  const std::lock_guard hold(lock_);
  if (free_count_++ == 0)
    oldest_free_ = index;
  else
    slot_at(newest_free_)->next_free = index;
  newest_free_ = index;
  return object;
}

void* handle_table::addref(uintptr_t word) {
  slot* at = slot_of(word);
  if (!at) return nullptr;
  uint64_t state = at->state.load(std::memory_order_relaxed);
  do {
    if (!names_tenant(word, state) || static_cast<uint32_t>(state) == UINT32_MAX) return nullptr;
  } while (!at->state.compare_exchange_weak(state, state + 1, std::memory_order_acquire, std::memory_order_relaxed));
  return at->object.load(std::memory_order_relaxed);
}

handle_table::dropped handle_table::release(uintptr_t word) {
  slot* at = slot_of(word);
  if (!at) return {false, nullptr};
  uint64_t state = at->state.load(std::memory_order_relaxed);
  uint64_t next = 0;
  do {
    if (!names_tenant(word, state)) return {false, nullptr};
    next = static_cast<uint32_t>(state) == 1 ? next_generation(state) : state - 1;
  } while (!at->state.compare_exchange_weak(state, next, std::memory_order_acq_rel, std::memory_order_relaxed));
  return {true, static_cast<uint32_t>(next) == 0 ? retire(at, word) : nullptr};
}

handle_table::ending handle_table::release_if_only(uintptr_t word, void** object) {
  slot* at = slot_of(word);
  if (!at) return ending::dead;
  uint64_t state = at->state.load(std::memory_order_relaxed);
  do {
    if (!names_tenant(word, state)) return ending::dead;
    if (static_cast<uint32_t>(state) != 1) return ending::shared;
  } while (!at->state.compare_exchange_weak(state, next_generation(state), std::memory_order_acq_rel,
                                            std::memory_order_relaxed));
  *object = retire(at, word);
  return ending::ended;
}

void* handle_table::kill(uintptr_t word) {
  slot* at = slot_of(word);
  if (!at) return nullptr;
  uint64_t state = at->state.load(std::memory_order_relaxed);
  do {
    if (!names_tenant(word, state)) return nullptr;
  } while (!at->state.compare_exchange_weak(state, next_generation(state), std::memory_order_acq_rel,
                                            std::memory_order_relaxed));
  return retire(at, word);
}

uintptr_t handle_table::next_alive(uint32_t* index) const {
  const std::lock_guard hold(lock_);
  while (*index < used_) {
    const uint32_t at = (*index)++;
    const uint64_t state = slot_at(at)->state.load(std::memory_order_acquire);
    if (static_cast<uint32_t>(state) != 0) return word_of(at, state);
  }
  return 0;
}

int64_t handle_table::size() const {
  const std::lock_guard hold(lock_);
  return int64_t{used_} - free_count_;
}

}  // namespace standin
