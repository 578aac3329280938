// Metadata objects: a context, values and children under keys. All that an object holds lies in memory of its own that only
// grows, so that the texts and tables given out stay where they are as long as the object. Built by one thread; once it is
// part of another object or an answer it takes nothing more, which also keeps objects from ending up inside themselves.
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <memory>
#include <memory_resource>
#include <new>

#include "handle_table.h"
#include "standin.h"

namespace standin {

namespace {

using arena = std::pmr::monotonic_buffer_resource;

// An array in an arena: its room is the power of two from 4 on that holds its items, so it need not be stored.
template <class T>
T* with_room_for_one(arena& memory, T* items, uint32_t count) {
  constexpr uint32_t first_room = 4;
  if (count != 0 && (count < first_room || !std::has_single_bit(count))) return items;
  const uint32_t room = count == 0 ? first_room : count * 2;
  T* moved = static_cast<T*>(memory.allocate(room * sizeof(T), alignof(T)));
  if (count != 0) std::memcpy(moved, items, count * sizeof(T));
  return moved;
}

// Items under keys; those of one key are counted from 1.
template <class T>
class keyed_items {
 public:
  uint32_t count(const key& name) const {
    const group* found = find(name);
    return found ? found->count : 0;
  }
  T get(const key& name, uint32_t ordinal) const {
    const group* found = find(name);
    if (!found || ordinal == 0 || ordinal > found->count) return nullptr;
    return ordinal == 1 ? found->first : found->more[ordinal - 2];
  }
  /** `kept` gives a text of the key that lives as long as the arena; it is asked for the first item of a key only. */
  template <class Kept>
  void add(arena& memory, const key& name, T item, Kept&& kept) {
    if (group* found = find(name)) {
      found->more = with_room_for_one(memory, found->more, found->count - 1);
      found->more[found->count - 1] = item;
      ++found->count;
      return;
    }
    key stored = name;
    stored.text = kept(name);
    if (used_ % block::ROOM == 0) append_block(memory);
    last_->groups[used_++ % block::ROOM] = {stored, 1, item, nullptr};
  }
  template <class Visit>
  void each(Visit&& visit) const {
    for (const block* at = first_; at; at = at->next)
      for (const group& of : at->groups) {
        if (of.count != 0) visit(of.first);
        for (uint32_t next = 0; next + 1 < of.count; ++next) visit(of.more[next]);
      }
  }

  static constexpr size_t block_bytes() { return sizeof(block); }

 private:
  struct group {
    key name;
    uint32_t count;
    T first;  // most keys have one item
    T* more;
  };
  // Keys are few and looked for one after the other; in blocks they are never copied. A free place has a length that no
  // key has.
  struct block {
    static constexpr uint32_t ROOM = 4;
    group groups[ROOM];
    block* next;
  };
  static constexpr uint32_t NO_LENGTH = UINT32_MAX;

  group* find(const key& name) const {
    for (block* at = first_; at; at = at->next)
      for (group& of : at->groups)
        if (of.name == name) return &of;
    return nullptr;
  }
  void append_block(arena& memory) {
    auto* made = static_cast<block*>(memory.allocate(sizeof(block), alignof(block)));
    made->next = nullptr;
    for (group& of : made->groups) {
      of.name.length = NO_LENGTH;
      of.count = 0;
    }
    (last_ ? last_->next : first_) = made;
    last_ = made;
  }

  block* first_ = nullptr;
  block* last_ = nullptr;
  uint32_t used_ = 0;
};

}  // namespace

struct mdo {
  arena memory;
  const char* context = nullptr;
  keyed_items<const char*> values;
  keyed_items<velox_mdo_handle> children;
  mdo* next_dead = nullptr;
  std::atomic<bool> sealed{false};

  mdo(void* first_block, size_t size) : memory(first_block, size) {}
};

namespace {

constinit typed_table<mdo, velox_mdo_handle> s_mdos{handle_kind::mdo};

const char* copy_text(mdo& object, std::string_view text) {
  char* copy = static_cast<char*>(object.memory.allocate(text.size() + 1, 1));
  if (!text.empty()) std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

const char* kept_as_it_is(const key& name) { return name.text; }

// Record and first memory of the arena are one allocation, with room for the first keys whatever the estimate.
mdo* allocate_mdo(size_t bytes) {
  bytes += keyed_items<const char*>::block_bytes();
  void* block = ::operator new(sizeof(mdo) + bytes);
  return new (block) mdo(static_cast<char*>(block) + sizeof(mdo), bytes);
}

void free_mdo(mdo* object) {
  object->~mdo();
  ::operator delete(object);
}

mdo* drop_reference(velox_mdo_handle handle) {
  return static_cast<mdo*>(s_mdos.handle_table::release(s_mdos.word(handle)).last);
}

// Frees dead objects with what dies with them, by a list and not by recursion: chains of children may be long.
void free_with_children(mdo* dead) {
  while (dead) {
    mdo* object = dead;
    dead = object->next_dead;
    object->children.each([&](velox_mdo_handle child) {
      if (mdo* gone = drop_reference(child)) {
        gone->next_dead = dead;
        dead = gone;
      }
    });
    free_mdo(object);
  }
}

struct mdo_freer {
  void operator()(mdo* object) const { free_with_children(object); }
};

pask_status mdo_addref(velox_mdo_handle handle) { return s_mdos.addref(handle) ? 0 : VELOX_STANDIN_ERR_HANDLE; }

pask_status mdo_release(velox_mdo_handle handle) {
  if (!handle) return 0;
  const handle_table::dropped gone = s_mdos.handle_table::release(s_mdos.word(handle));
  if (!gone.was_alive) return VELOX_STANDIN_ERR_HANDLE;
  if (gone.last) free_with_children(static_cast<mdo*>(gone.last));
  return 0;
}

pask_status mdo_get_context(velox_mdo_handle handle, const char** context) {
  if (!context) return VELOX_STANDIN_ERR_INVALID_ARG;
  const mdo* object = s_mdos.find(handle);
  if (!object) return VELOX_STANDIN_ERR_HANDLE;
  *context = object->context;
  return 0;
}

pask_status mdo_value_get(velox_mdo_handle handle, const char* name, uint32_t ordinal, const char** value) {
  if (!name || !value) return VELOX_STANDIN_ERR_INVALID_ARG;
  const mdo* object = s_mdos.find(handle);
  if (!object) return VELOX_STANDIN_ERR_HANDLE;
  const char* found = object->values.get(key(std::string_view(name)), ordinal);
  if (!found) return VELOX_STANDIN_ERR_NOT_FOUND;
  *value = found;
  return 0;
}

pask_status mdo_child_count(velox_mdo_handle handle, const char* name, uint32_t* count) {
  if (!name || !count) return VELOX_STANDIN_ERR_INVALID_ARG;
  const mdo* object = s_mdos.find(handle);
  if (!object) return VELOX_STANDIN_ERR_HANDLE;
  *count = object->children.count(key(std::string_view(name)));
  return 0;
}

pask_status child_find(velox_mdo_handle handle, const char* name, uint32_t ordinal, velox_mdo_handle* child) {
  if (!name || !child) return VELOX_STANDIN_ERR_INVALID_ARG;
  const mdo* object = s_mdos.find(handle);
  if (!object) return VELOX_STANDIN_ERR_HANDLE;
  const velox_mdo_handle found = object->children.get(key(std::string_view(name)), ordinal);
  if (!found) return VELOX_STANDIN_ERR_NOT_FOUND;
  *child = found;
  return 0;
}

pask_status mdo_child_get(velox_mdo_handle handle, const char* name, uint32_t ordinal, uintptr_t,
                          velox_mdo_handle* child) {
  velox_mdo_handle found = nullptr;
  if (const pask_status status = child_find(handle, name, ordinal, child ? &found : nullptr)) return status;
  if (const pask_status status = mdo_addref(found)) return status;
  *child = found;
  return 0;
}

// An object that may still be built upon.
pask_status building(velox_mdo_handle handle, mdo** object) {
  mdo* found = s_mdos.find(handle);
  if (!found) return VELOX_STANDIN_ERR_HANDLE;
  if (found->sealed.load(std::memory_order_relaxed)) return VELOX_STANDIN_ERR_IN_USE;
  *object = found;
  return 0;
}

// Takes a reference on the child only when nothing can fail any more.
template <class Kept>
pask_status add_child(mdo& object, const key& name, velox_mdo_handle child, Kept&& kept) {
  mdo* taken = s_mdos.addref(child);
  if (!taken) return VELOX_STANDIN_ERR_HANDLE;
  const pask_status status = guarded([&]() -> pask_status {
    object.children.add(object.memory, name, child, kept);
    return 0;
  });
  if (status != 0) {
    mdo_release(child);
    return status;
  }
  taken->sealed.store(true, std::memory_order_relaxed);
  return 0;
}

constexpr size_t DEFAULT_BYTES = 480;

}  // namespace

const velox_mdo_interface g_mdo_table = {
    interface_release, {},      mdo_addref,      mdo_release,   mdo_get_context, nullptr,
    mdo_value_get,     nullptr, mdo_child_count, mdo_child_get,
};

bool mdo_alive(velox_mdo_handle handle) { return s_mdos.alive(handle); }
int64_t live_mdos() { return s_mdos.size(); }

void mdo_seal(velox_mdo_handle handle) {
  if (mdo* object = s_mdos.find(handle)) object->sealed.store(true, std::memory_order_relaxed);
}

// A builder's object has no handle before it is finished: an abandoned one is freed by its address.
mdo_builder::mdo_builder(size_t bytes, const char* context) : object_(allocate_mdo(bytes)) {
  object_->context = context;
}

mdo_builder::~mdo_builder() {
  if (object_) free_with_children(object_);
}

mdo_builder& mdo_builder::value(const key& name, std::string_view text) {
  object_->values.add(object_->memory, name, copy_text(*object_, text), kept_as_it_is);
  return *this;
}

mdo_builder& mdo_builder::value(const key& name, int64_t number) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
  return value(name, std::string_view(digits.begin(), end));
}

mdo_builder& mdo_builder::child(const key& name, velox_mdo_handle child) {
  if (add_child(*object_, name, child, kept_as_it_is) == VELOX_STANDIN_ERR_NO_MEMORY) throw std::bad_alloc();
  return *this;
}

mdo_ref mdo_builder::finish() {
  const velox_mdo_handle handle = s_mdos.insert(object_);
  object_ = nullptr;
  return mdo_ref(handle);
}

}  // namespace standin

using namespace standin;

pask_status velox_standin_mdo_create(const char* context, velox_mdo_handle* handle) {
  if (!context || !handle) return VELOX_STANDIN_ERR_INVALID_ARG;
  return guarded([&]() -> pask_status {
    std::unique_ptr<mdo, mdo_freer> made(allocate_mdo(DEFAULT_BYTES));
    made->context = copy_text(*made, context);
    *handle = s_mdos.insert(made.get());
    made.release();
    return 0;
  });
}

pask_status velox_standin_mdo_value_add(velox_mdo_handle handle, const char* name, const char* value) {
  if (missing(name)) return VELOX_STANDIN_ERR_INVALID_ARG;
  mdo* object = nullptr;
  if (const pask_status status = building(handle, &object)) return status;
  if (!value) return 0;
  return guarded([&]() -> pask_status {
    object->values.add(object->memory, key(std::string_view(name)), copy_text(*object, value), [&](const key& stored) {
      return copy_text(*object, {stored.text, stored.length});
    });
    return 0;
  });
}

pask_status velox_standin_mdo_child_add(velox_mdo_handle handle, const char* name, velox_mdo_handle child) {
  if (missing(name) || child == handle) return VELOX_STANDIN_ERR_INVALID_ARG;
  mdo* object = nullptr;
  if (const pask_status status = building(handle, &object)) return status;
  return add_child(*object, key(std::string_view(name)), child, [&](const key& stored) {
    return copy_text(*object, {stored.text, stored.length});
  });
}

pask_status velox_standin_mdo_addref(velox_mdo_handle handle) { return mdo_addref(handle); }
void velox_standin_mdo_release(velox_mdo_handle handle) { mdo_release(handle); }

const char* velox_standin_mdo_context(velox_mdo_handle handle) {
  const char* context = nullptr;
  mdo_get_context(handle, &context);
  return context;
}

const char* velox_standin_mdo_value(velox_mdo_handle handle, const char* name, uint32_t ordinal) {
  const char* value = nullptr;
  mdo_value_get(handle, name, ordinal, &value);
  return value;
}

uint32_t velox_standin_mdo_child_count(velox_mdo_handle handle, const char* name) {
  uint32_t count = 0;
  mdo_child_count(handle, name, &count);
  return count;
}

velox_mdo_handle velox_standin_mdo_child(velox_mdo_handle handle, const char* name, uint32_t ordinal) {
  velox_mdo_handle child = nullptr;
  child_find(handle, name, ordinal, &child);
  return child;
}
