// The operations of the hash table. Each takes the table's read-write lock, if it has one, for its work alone: keys are
// hashed before and what leaves the table is released after. The steps stand in pask_hashtable_items.cpp.
#include "pask_hashtable.h"

#include <cstring>

#include "pask_assert.h"
#include "pask_hashtable_items.h"
#include "pask_modules.h"

static uint32_t failed(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "pask_hashtable", line);
  return status;
}

// ---- The frame

static uint32_t check(const pask_hashtable* table, bool arguments = true) {
  if (!table || !arguments) return DATATYPES_ERR_INVALID_ARG;
  return table->magic == HASHTABLE_MAGIC ? 0 : uint32_t{DATATYPES_ERR_BAD_HANDLE_READ};
}

// A value is a pointer with a size, or neither.
static bool paired(const void* data, uint32_t size) { return (data == nullptr) == (size == 0); }

// What the work took out of the table, for release outside the lock.
struct taken {
  pask_hashtable_value* value = nullptr;
  pask_hashtable_item* item = nullptr;
};

// Runs the work under the lock, then releases what it took out.
template <uint32_t (*acquire)(pask_rwlock_handle), class Work>
static uint32_t locked(pask_hashtable* table, Work work) {
  taken out;
  if (table->lock) PASK_TRY(acquire(table->lock));
  PASK_ASSERT(_pask_hashtable_sound(table));
  const uint32_t status = work(out);
  PASK_ASSERT(_pask_hashtable_sound(table));
  if (table->lock) PASK_TRY(pask_thread_rwlock_unlock(table->lock));
  if (out.value) _pask_hashtable_freevalue(table, out.value);
  if (out.item) _pask_hashtable_freeitem(table, out.item);
  return status;
}

template <class Work>
static uint32_t reading(pask_hashtable* table, Work work) {
  return locked<pask_thread_rwlock_readlock>(table, [&](taken&) { return work(); });
}

template <class Work>
static uint32_t writing(pask_hashtable* table, Work work) {
  return locked<pask_thread_rwlock_writelock>(table, work);
}

// ---- Life

pask_status pask_hashtable_create(pask_hashtable_handle* table, uint32_t flags, pask_hashtable_free_fn free_value) {
  if (pask_datatypes_initchecks() == 0) return DATATYPES_ERR_NOT_INITED;
  if (!table) return failed(DATATYPES_ERR_INVALID_ARG);
  auto* made = static_cast<pask_hashtable*>(pask_memory_alloc(sizeof(pask_hashtable)));
  if (!made) return failed(DATATYPES_ERR_NO_MEMORY);
  *made = {};
  if (flags & PASK_HASHTABLE_THREADSAFE) {
    if (const uint32_t status = pask_thread_rwlock_create(&made->lock)) {
      pask_memory_free(made);
      return failed(status);
    }
  }
  made->magic = HASHTABLE_MAGIC;
  made->flags = flags;
  made->free_value = free_value;
  *table = made;
  return 0;
}

pask_status pask_hashtable_delete(pask_hashtable_handle table) {
  if (!table) return 0;
  if (const uint32_t status = check(table)) return failed(status);
  if (const uint32_t status = pask_hashtable_clear(table)) return failed(status);
  pask_thread_rwlock_delete(table->lock);
  pask_memory_free(table->buckets);
  pask_memory_free(table);
  return 0;
}

pask_status pask_hashtable_clear(pask_hashtable_handle table) {
  if (const uint32_t status = check(table)) return failed(status);
  pask_hashtable_item* items = nullptr;
  const uint32_t status = writing(table, [&](taken&) {
    for (uint32_t i = 0; i < table->retired.count; ++i) _pask_hashtable_freevalue(table, table->retired.array[i]);
    if (table->retired.owns_array) pask_memory_free(table->retired.array);
    table->retired = {};
    items = table->first_item;
    if (table->buckets) memset(table->buckets, 0, table->bucket_count * sizeof *table->buckets);
    table->first_item = table->last_item = nullptr;
    table->value_count = table->used_buckets = 0;
    hashtable_rewind(table);
    return 0u;
  });
  if (status) return failed(status);
  while (items) {
    auto* next = items->order_next;
    _pask_hashtable_freeitem(table, items);
    items = next;
  }
  return 0;
}

// Frees a record that has come into no list; its data stays whose it was.
static void give_up(const pask_hashtable* table, pask_hashtable_value* value) {
  value->data = nullptr;
  value->size = 0;
  _pask_hashtable_freevalue(table, value);
}

// The same for an item.
static void give_up(const pask_hashtable* table, pask_hashtable_item* item) {
  item->values.count = 0;
  _pask_hashtable_freeitem(table, item);
}

static uint32_t append_value(const pask_hashtable* table, pask_hashtable_item* item, const void* data, uint32_t size,
                             bool copy) {
  pask_hashtable_value* value;
  PASK_TRY(_pask_hashtable_createvalue(data, size, copy, &value));
  const uint32_t status = _pask_hashtable_addvalue(&item->values, value);
  if (status) give_up(table, value);
  return status;
}

static uint32_t copy_items(const pask_hashtable* from, pask_hashtable* to) {
  if (from->value_count == 0) return 0;
  PASK_TRY(_pask_hashtable_setsize(to, from->bucket_count));
  for (const auto* item = from->first_item; item; item = item->order_next) {
    const auto* value = item->values.array[0];
    pask_hashtable_item* made;
    PASK_TRY(_pask_hashtable_createitem(to, item->hash, item->key, value->data, value->size, value->is_copy, &made));
    for (uint32_t i = 1; i < item->values.count; ++i) {
      value = item->values.array[i];
      if (const uint32_t status = append_value(to, made, value->data, value->size, value->is_copy)) {
        _pask_hashtable_freeitem(to, made);
        return status;
      }
    }
    _pask_hashtable_additem(to, made);
  }
  return 0;
}

pask_status pask_hashtable_copy(pask_hashtable_handle table, pask_hashtable_handle* copy) {
  if (const uint32_t status = check(table, copy != nullptr)) return failed(status);
  pask_hashtable_handle made = nullptr;
  const uint32_t status = writing(table, [&](taken&) {
    PASK_TRY(pask_hashtable_create(&made, table->flags, table->free_value));
    return copy_items(table, made);
  });
  if (status) {
    pask_hashtable_delete(made);
    return failed(status);
  }
  *copy = made;
  return 0;
}

// ---- By key

// Makes room for one more key, in a table about to be three quarters full by its estimate: occupied buckets and collisions.
static uint32_t grow_if_full(pask_hashtable* table) {
  const uint64_t estimate = (uint64_t{table->used_buckets} + table->collisions) * 4 / 3;
  if (table->bucket_count > estimate) [[likely]]
    return 0;
  uint64_t bucket_count = 16;
  while (bucket_count <= estimate) bucket_count *= 2;
  if (bucket_count > UINT32_MAX) return failed(DATATYPES_ERR_NO_MEMORY);
  auto* const items = table->first_item;
  PASK_TRY(_pask_hashtable_setsize(table, static_cast<uint32_t>(bucket_count)));
  _pask_hashtable_additems(table, items);
  return 0;
}

static uint32_t add_key(pask_hashtable* table, uint32_t hash, const char* key, const void* data, uint32_t size,
                        bool copy) {
  pask_hashtable_item* item;
  PASK_TRY(_pask_hashtable_createitem(table, hash, key, data, size, copy, &item));
  if (table->bucket_count != 0 && table->buckets[hash & (table->bucket_count - 1)]) ++table->collisions;
  if (const uint32_t status = grow_if_full(table)) {
    give_up(table, item);
    return status;
  }
  _pask_hashtable_additem(table, item);
  hashtable_rewind(table);
  return 0;
}

static uint32_t replace_value(pask_hashtable* table, pask_hashtable_item* item, uint32_t index, const void* data,
                              uint32_t size, bool copy, taken& out) {
  if (index >= item->values.count) return DATATYPES_INFO_NOT_FOUND;
  pask_hashtable_value* fresh;
  PASK_TRY(_pask_hashtable_createvalue(data, size, copy, &fresh));
  return _pask_hashtable_updatevalue(table, item, index, fresh, &out.value);
}

// Unlinks an item, for release.
static void take_item(pask_hashtable* table, pask_hashtable_item* item, taken& out) {
  _pask_hashtable_removeitem(table, item);
  hashtable_rewind(table);
  out.item = item;
}

// Takes a value out, for release, and its item with the last one.
static uint32_t take_value(pask_hashtable* table, pask_hashtable_item* item, uint32_t index, taken& out) {
  PASK_TRY(_pask_hashtable_removevalue(table, item, index, &out.value));
  if (item->values.count == 0) take_item(table, item, out);
  return 0;
}

// Readers race to set the mark, and once it is set leave its cache line alone.
static void mark_read(pask_hashtable_value* value) {
  if (!__atomic_load_n(&value->was_read, __ATOMIC_RELAXED)) __atomic_store_n(&value->was_read, 1, __ATOMIC_RELAXED);
}

template <class T, class U>
static void put(T* out, U value) {
  if (out) *out = value;
}

pask_status pask_hashtable_value_add(pask_hashtable_handle table, const char* key, const void* data, uint32_t size,
                                     uint8_t copy) {
  if (const uint32_t status = check(table, key && paired(data, size))) return failed(status);
  const uint32_t hash = _pask_hashtable_genhash(table, key);
  return failed(writing(table, [&](taken& out) -> uint32_t {
    pask_hashtable_item* item;
    if (_pask_hashtable_finditem(table, hash, key, &item) != 0) return add_key(table, hash, key, data, size, copy != 0);
    if (table->flags & PASK_HASHTABLE_UNIQUE_KEYS) return DATATYPES_ERR_KEY_EXISTS;
    if (!(table->flags & PASK_HASHTABLE_MULTI_VALUE)) return replace_value(table, item, 0, data, size, copy != 0, out);
    PASK_TRY(append_value(table, item, data, size, copy != 0));
    ++table->value_count;
    hashtable_rewind(table);
    return 0;
  }));
}

pask_status pask_hashtable_value_update_ex(pask_hashtable_handle table, const char* key, uint32_t index,
                                           const void* data, uint32_t size, uint8_t copy) {
  if (const uint32_t status = check(table, key && paired(data, size))) return failed(status);
  const uint32_t hash = _pask_hashtable_genhash(table, key);
  return failed(writing(table, [&](taken& out) -> uint32_t {
    pask_hashtable_item* item;
    PASK_TRY(_pask_hashtable_finditem(table, hash, key, &item));
    return replace_value(table, item, index, data, size, copy != 0, out);
  }));
}

pask_status pask_hashtable_value_find_ex(pask_hashtable_handle table, const char* key, uint32_t index,
                                         const void** data, uint32_t* size) {
  if (!table) return DATATYPES_INFO_NOT_FOUND;
  if (const uint32_t status = check(table, key != nullptr)) return failed(status);
  const uint32_t hash = _pask_hashtable_genhash(table, key);
  pask_hashtable_value seen;
  const uint32_t status = reading(table, [&]() -> uint32_t {
    pask_hashtable_item* item;
    PASK_TRY(_pask_hashtable_finditem(table, hash, key, &item));
    if (index >= item->values.count) return DATATYPES_INFO_NOT_FOUND;
    auto* value = item->values.array[index];
    mark_read(value);
    seen.data = value->data;
    seen.size = value->size;
    return 0;
  });
  if (status) return failed(status);
  put(data, seen.data);
  put(size, seen.size);
  return 0;
}

pask_status pask_hashtable_value_remove_ex(pask_hashtable_handle table, const char* key, uint32_t index, void** data,
                                           uint32_t* size) {
  if (const uint32_t status = check(table, key != nullptr)) return failed(status);
  const uint32_t hash = _pask_hashtable_genhash(table, key);
  pask_hashtable_value gone = {};
  const uint32_t status = writing(table, [&](taken& out) -> uint32_t {
    pask_hashtable_item* item;
    PASK_TRY(_pask_hashtable_finditem(table, hash, key, &item));
    PASK_TRY(take_value(table, item, index, out));
    if (!out.value->is_copy) {
      gone.data = out.value->data;
      gone.size = out.value->size;
      out.value->data = nullptr;
      out.value->size = 0;
    }
    return 0;
  });
  if (status) return failed(status);
  put(data, gone.data);
  put(size, gone.size);
  return 0;
}

pask_status pask_hashtable_value_delete(pask_hashtable_handle table, const char* key) {
  if (const uint32_t status = check(table, key != nullptr)) return failed(status);
  const uint32_t hash = _pask_hashtable_genhash(table, key);
  return failed(writing(table, [&](taken& out) -> uint32_t {
    pask_hashtable_item* item;
    PASK_TRY(_pask_hashtable_finditem(table, hash, key, &item));
    take_item(table, item, out);
    return 0;
  }));
}

pask_status pask_hashtable_value_count(pask_hashtable_handle table, const char* key, uint32_t* count) {
  if (const uint32_t status = check(table, key && count)) return failed(status);
  const uint32_t hash = _pask_hashtable_genhash(table, key);
  uint32_t values = 0;
  const uint32_t status = reading(table, [&] {
    pask_hashtable_item* item;
    if (_pask_hashtable_finditem(table, hash, key, &item) == 0) values = item->values.count;
    return 0u;
  });
  if (status) return failed(status);
  if (values != 0) *count = values;  // a key has at least one
  return 0;
}

// ---- By flat index

pask_status pask_hashtable_count(pask_hashtable_handle table, uint32_t* count) {
  if (const uint32_t status = check(table, count != nullptr)) return failed(status);
  uint32_t values = 0;
  const uint32_t status = reading(table, [&] {
    values = table->value_count;
    return 0u;
  });
  if (status) return failed(status);
  *count = values;
  return 0;
}

// Moves the cursor to the item that holds a flat index; `rest` is the index under it.
static uint32_t seek(pask_hashtable* table, uint32_t index, uint32_t* rest) {
  if (!table->cursor_item || table->cursor_base > index) hashtable_rewind(table);
  auto* item = table->cursor_item;
  while (item && index - table->cursor_base >= item->values.count) {
    table->cursor_base += item->values.count;
    item = item->order_next;
  }
  table->cursor_item = item;
  *rest = index - table->cursor_base;
  return item ? 0 : uint32_t{DATATYPES_INFO_RANGE};
}

pask_status pask_hashtable_index_get(pask_hashtable_handle table, uint32_t index, const char** key, const void** data,
                                     uint32_t* size) {
  if (const uint32_t status = check(table)) return failed(status);
  const char* name = nullptr;
  pask_hashtable_value seen;
  const uint32_t status = writing(table, [&](taken&) -> uint32_t {
    uint32_t rest;
    PASK_TRY(seek(table, index, &rest));
    auto* value = table->cursor_item->values.array[rest];
    value->was_read = 1;
    name = table->cursor_item->key;
    seen.data = value->data;
    seen.size = value->size;
    return 0;
  });
  if (status) return failed(status);
  put(key, name);
  put(data, seen.data);
  put(size, seen.size);
  return 0;
}

pask_status pask_hashtable_index_remove(pask_hashtable_handle table, uint32_t index) {
  if (const uint32_t status = check(table)) return failed(status);
  return failed(writing(table, [&](taken& out) -> uint32_t {
    uint32_t rest;
    PASK_TRY(seek(table, index, &rest));
    return take_value(table, table->cursor_item, rest, out);
  }));
}
