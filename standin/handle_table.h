// Handles of the manager's own objects: words that name a slot and the generation of its tenant, so that a dead handle is
// told from a live one without touching freed memory. Slots live in chunks that are never given back; a slot's count of
// references and its generation share one word, so that a reference is never taken on what has just died.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <mutex>

namespace standin {

/** The kind stands in the handle: a user's is never taken for a lookup's. */
enum class handle_kind : uint32_t { client, user, mdo, list_element, lookup, catalog };

// A word's bits from the lowest: 1 (no address of an object is odd), kind, index, generation.
class handle_table {
 public:
  explicit constexpr handle_table(handle_kind kind) : kind_(kind) {}

  /** Names an object, with one reference. Throws std::bad_alloc. */
  uintptr_t insert(void* object);

  bool alive(uintptr_t word) const {
    const slot* at = slot_of(word);
    return at && names_tenant(word, at->state.load(std::memory_order_acquire));
  }
  /** The object, null for a dead handle. The caller holds a reference, or nobody frees the object meanwhile. */
  void* find(uintptr_t word) const {
    const slot* at = slot_of(word);
    if (!at || !names_tenant(word, at->state.load(std::memory_order_acquire))) return nullptr;
    return at->object.load(std::memory_order_relaxed);
  }
  /** Takes a reference and gives the object; null for a dead handle. */
  void* addref(uintptr_t word);

  struct dropped {
    bool was_alive;
    void* last;  // the object that went with its last reference, now the caller's to free; else null
  };
  dropped release(uintptr_t word);

  enum class ending { dead, shared, ended };
  /** Ends a handle that has no reference but one; `object` receives what it named. */
  ending release_if_only(uintptr_t word, void** object);
  /** Ends a handle whatever its count; null for a dead one. */
  void* kill(uintptr_t word);
  /** The live handle that stands at or behind a slot index, 0 when there is none. `index` moves behind it. */
  uintptr_t next_alive(uint32_t* index) const;
  int64_t size() const;

 private:
  struct slot {
    std::atomic<uint64_t> state{0};  // generation in the high half, references in the low; none: dead
    std::atomic<void*> object{nullptr};
    uint32_t next_free = 0;
  };

  static constexpr unsigned WORD_BITS = sizeof(uintptr_t) * 8;
  static constexpr unsigned KIND_SHIFT = 1, INDEX_SHIFT = 4;
  static constexpr unsigned INDEX_BITS = WORD_BITS == 64 ? 28 : 21;
  static constexpr unsigned GENERATION_SHIFT = INDEX_SHIFT + INDEX_BITS;
  static constexpr unsigned GENERATION_BITS = WORD_BITS - GENERATION_SHIFT;
  static constexpr uint64_t GENERATION_MASK = (uint64_t{1} << GENERATION_BITS) - 1;
  static constexpr uint32_t INDEX_MASK = (uint32_t{1} << INDEX_BITS) - 1;
  static constexpr unsigned FIRST_CHUNK_BITS = 8;  // each chunk holds twice as many slots as the one before
  static constexpr uint32_t SLOT_LIMIT = INDEX_MASK - (1u << FIRST_CHUNK_BITS);
  // Slots that rest before the oldest is used again: generations of 32-bit handles are few.
  static constexpr uint32_t RESTING = 1024;

  struct place {
    uint32_t chunk, offset;
  };
  static constexpr place place_of(uint32_t index) {
    const uint32_t from_first = index + (1u << FIRST_CHUNK_BITS);
    const auto top = static_cast<uint32_t>(std::bit_width(from_first)) - 1;
    return {top - FIRST_CHUNK_BITS, from_first - (1u << top)};
  }
  static constexpr uint32_t index_of(uintptr_t word) { return static_cast<uint32_t>(word >> INDEX_SHIFT) & INDEX_MASK; }
  static constexpr bool names_tenant(uintptr_t word, uint64_t state) {
    return (state >> 32) == (word >> GENERATION_SHIFT) && static_cast<uint32_t>(state) != 0;
  }
  static constexpr uint64_t next_generation(uint64_t state) { return (((state >> 32) + 1) & GENERATION_MASK) << 32; }

  slot* slot_of(uintptr_t word) const {
    constexpr uintptr_t tag_mask = (uintptr_t{1} << INDEX_SHIFT) - 1;
    if ((word & tag_mask) != (static_cast<uintptr_t>(kind_) << KIND_SHIFT | 1)) return nullptr;
    const uint32_t index = index_of(word);
    return index < SLOT_LIMIT ? slot_at(index) : nullptr;
  }
  slot* slot_at(uint32_t index) const {
    const place at = place_of(index);
    slot* chunk = chunks_[at.chunk].load(std::memory_order_acquire);
    return chunk ? chunk + at.offset : nullptr;
  }
  uintptr_t word_of(uint32_t index, uint64_t state) const {
    return static_cast<uintptr_t>(state >> 32) << GENERATION_SHIFT | static_cast<uintptr_t>(index) << INDEX_SHIFT |
           static_cast<uintptr_t>(kind_) << KIND_SHIFT | 1;
  }
  uint32_t take_slot();
  void* retire(slot* at, uintptr_t word);

  handle_kind kind_;
  std::array<std::atomic<slot*>, INDEX_BITS - FIRST_CHUNK_BITS + 1> chunks_{};
  mutable std::mutex lock_;  // guards what follows and every next_free
  uint32_t used_ = 0;
  uint32_t free_count_ = 0;
  uint32_t oldest_free_ = 0, newest_free_ = 0;
};

/** A table of one type of objects under one type of handles. */
template <class T, class Handle>
class typed_table : public handle_table {
 public:
  using handle_table::handle_table;

  static uintptr_t word(Handle handle) { return reinterpret_cast<uintptr_t>(handle); }
  Handle insert(T* object) { return reinterpret_cast<Handle>(handle_table::insert(object)); }
  bool alive(Handle handle) const { return handle_table::alive(word(handle)); }
  T* find(Handle handle) const { return static_cast<T*>(handle_table::find(word(handle))); }
  T* addref(Handle handle) { return static_cast<T*>(handle_table::addref(word(handle))); }
  /** Drops a reference and deletes the object with the last one. False for a dead handle. */
  bool release(Handle handle) {
    const dropped gone = handle_table::release(word(handle));
    delete static_cast<T*>(gone.last);
    return gone.was_alive;
  }
};

}  // namespace standin
