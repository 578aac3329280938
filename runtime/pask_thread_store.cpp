// Thread stores: an array of entries for each thread, reached through its record. No lock: a store is its thread's own.
#include "pask_thread_store.h"

#include <limits.h>
#include <string.h>

#include "pask_atomic.h"
#include "pask_thread_error.h"
#include "pask_thread_record.h"

struct thread_local_entry {
  uint8_t in_use;
  uintptr_t value;
  pask_thread_store_free_fn free_value;
};

struct thread_local_store {
  thread_local_entry* entries;  // null until the first set
  int32_t capacity;
};

static constexpr int32_t GROWTH = 16;  // entries
static constexpr int RELEASES = PTHREAD_DESTRUCTOR_ITERATIONS;

static uint32_t g_pask_thread_tls_next_slot = 0xffffffff;  // the last one handed out

// ---- By store ----

uint32_t thread_local_store_data_get_next_slot(int32_t* slot) {
  if (!slot) return THREAD_ERR_INVALID_ARG;
  uint32_t next = 0;
  PASK_TRY(pask_atomic_inc(&g_pask_thread_tls_next_slot, &next));
  if (next <= INT32_MAX) *slot = static_cast<int32_t>(next);
  return 0;
}

uint32_t thread_local_store_create(thread_local_store** store) {
  if (!store) return THREAD_ERR_INVALID_ARG;
  auto* made = static_cast<thread_local_store*>(pask_memory_alloc(sizeof(thread_local_store)));
  if (!made) return THREAD_ERR_NO_MEMORY;
  *made = {};
  *store = made;
  return 0;
}

// Releases what a slot holds, if it must be. The entry is emptied first and found anew each time, for the free function
// may call back, and make the array move. False when there was nothing to release.
static bool entry_release(thread_local_store* store, int32_t slot) {
  const thread_local_entry old = store->entries[slot];
  if (!old.free_value || old.value == 0) return false;
  store->entries[slot] = {};
  old.free_value(old.value);
  return true;
}

static void entry_empty(thread_local_store* store, int32_t slot) {
  for (int i = 0; i < RELEASES && entry_release(store, slot); ++i) {
  }
  store->entries[slot] = {};
}

static bool all_release(thread_local_store* store) {
  bool any = false;
  for (int32_t slot = 0; slot < store->capacity; ++slot) any |= entry_release(store, slot);
  return any;
}

uint32_t thread_local_store_delete(thread_local_store* store) {
  if (!store) return 0;
  for (int i = 0; i < RELEASES && all_release(store); ++i) {
  }
  pask_memory_free(store->entries);
  pask_memory_free(store);
  return 0;
}

static bool entries_resize(thread_local_store* store, uint32_t capacity) {
  const auto held = static_cast<uint32_t>(store->capacity);
  const uint64_t size = uint64_t{capacity} * sizeof(thread_local_entry);
  if (size > UINT32_MAX) return false;
  void* const block = held ? pask_memory_realloc(store->entries, static_cast<uint32_t>(size))
                           : pask_memory_alloc(static_cast<uint32_t>(size));
  if (!block) return false;
  store->entries = static_cast<thread_local_entry*>(block);
  memset(store->entries + held, 0, (capacity - held) * sizeof(thread_local_entry));
  store->capacity = static_cast<int32_t>(capacity);
  return true;
}

// Makes room for a slot: the first steps' worth, then at once as many steps as it takes.
static bool entries_reach(thread_local_store* store, int32_t slot) {
  if (!store->entries && !entries_resize(store, GROWTH)) return false;
  if (slot < store->capacity) return true;
  return entries_resize(store, (static_cast<uint32_t>(slot) / GROWTH + 1) * GROWTH);
}

uint32_t thread_local_store_data_set(thread_local_store* store, int32_t slot, uintptr_t value,
                                     pask_thread_store_free_fn free_value) {
  if (!store || slot < 0) return THREAD_ERR_INVALID_ARG;
  if (!entries_reach(store, slot)) return THREAD_ERR_NO_MEMORY;
  entry_empty(store, slot);
  store->entries[slot] = {1, value, free_value};
  return 0;
}

uint32_t thread_local_store_data_get(thread_local_store* store, int32_t slot, uintptr_t* value) {
  if (!store || slot < 0 || !value) return THREAD_ERR_INVALID_ARG;
  if (slot >= store->capacity || !store->entries[slot].in_use) return PASK_THREAD_ERR_NOT_FOUND;
  *value = store->entries[slot].value;
  return 0;
}

uint32_t thread_local_store_data_clear(thread_local_store* store, int32_t slot) {
  if (store && slot >= 0 && slot < store->capacity) entry_empty(store, slot);
  return 0;
}

// ---- By thread ----

uint32_t pask_thread_store_get_next_slot(int32_t* slot) {
  if (!slot) return THREAD_ERR_INVALID_ARG;
  int32_t next = 0;
  PASK_TRY(thread_local_store_data_get_next_slot(&next));
  *slot = next;
  return 0;
}

uint32_t pask_thread_store_set(pask_thread_handle handle, int32_t slot, uintptr_t value,
                               pask_thread_store_free_fn free_value) {
  if (!handle && thread_key() == 0) return 0;
  pask_thread* thread = nullptr;
  PASK_TRY(thread_find_or_add(handle, &thread));
  if (!thread->store) PASK_TRY(thread_local_store_create(&thread->store));
  return thread_local_store_data_set(thread->store, slot, value, free_value);
}

uint32_t pask_thread_store_get(pask_thread_handle handle, int32_t slot, uintptr_t* value) {
  pask_thread* thread = nullptr;
  PASK_TRY(thread_find(handle, &thread));
  if (!thread || !thread->store) return PASK_THREAD_ERR_NOT_FOUND;
  return thread_local_store_data_get(thread->store, slot, value);
}

uint32_t pask_thread_store_clear(pask_thread_handle handle, int32_t slot) {
  pask_thread* thread = nullptr;
  PASK_TRY(thread_find(handle, &thread));
  return thread ? thread_local_store_data_clear(thread->store, slot) : 0;
}
