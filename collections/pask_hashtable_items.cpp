// The steps of the hash table: hashing, lookup, records, links, value lists and their release. Builds on the records of
// pask_hashtable_items.h; takes no lock.
#include "pask_hashtable_items.h"

#include <cstddef>
#include <cstring>

#include "pask_text.h"

static uint32_t failed(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "pask_hashtable", line);
  return status;
}

// ---- Hash
//
// djb2, h * 33 + byte, over the key in upper case. A whole word is folded and weighed at once, so that the chain from one
// step to the next is one multiplication by a power of 33.

constexpr uint32_t WORD = sizeof(text_word);

constexpr uint32_t power_of_33(uint32_t n) { return n == 0 ? 1 : 33 * power_of_33(n - 1); }
constexpr uint32_t POWERS[] = {power_of_33(0), power_of_33(1), power_of_33(2), power_of_33(3), power_of_33(4),
                               power_of_33(5), power_of_33(6), power_of_33(7), power_of_33(8)};

// The sum of the bytes, the first in memory weighted with 33^(WORD - 1), the last with 1: in pairs, fours and eight. A lane
// has room for its sum, since 255 * 34 < 2^16 and 255 * 34 * 1090 < 2^32.
static uint32_t weigh(text_word w) {
  constexpr text_word even = ~text_word{0} / 0xffff * 0xff;
  w = (w & even) * 33 + (w >> 8 & even);
  if constexpr (WORD == 8) {
    constexpr text_word low_half = 0x0000ffff0000ffffu & ~text_word{0};
    w = (w & low_half) * POWERS[2] + (w >> 16 & low_half);
    return static_cast<uint32_t>(w) * POWERS[4] + static_cast<uint32_t>(static_cast<uint64_t>(w) >> 32);
  } else {
    return static_cast<uint32_t>((w & 0xffff) * POWERS[2] + (w >> 16));
  }
}

template <bool fold>
static uint32_t hash_of(const char* key) {
  const size_t length = strlen(key);
  const char* at = key;
  const char* const end = key + length;
  uint32_t h = 5381;
  for (; static_cast<size_t>(end - at) >= WORD; at += WORD) {
    const text_word w = text_load(at);
    h = h * POWERS[WORD] + weigh(fold ? word_toupper(w) : w);
  }
  if (at == end) return h;
  if (length > WORD) {  // the last word once more, without the bytes that were counted
    const uint32_t rest = static_cast<uint32_t>(end - at);
    const text_word w = text_load(end - WORD) & ~text_word{0} << 8 * (WORD - rest);
    return h * POWERS[rest] + weigh(fold ? word_toupper(w) : w);
  }
  for (; at != end; ++at) {
    const uint8_t byte = static_cast<uint8_t>(*at);
    h = h * 33 + (fold && byte >= 'a' && byte <= 'z' ? byte - 0x20u : byte);
  }
  return h;
}

uint32_t _pask_hashtable_genhash(const pask_hashtable* table, const char* key) {
  return table->flags & PASK_HASHTABLE_CASE_SENSITIVE ? hash_of<false>(key) : hash_of<true>(key);
}

// ---- Lookup

// Mostly a key is asked for as it was added, which libc finds out faster than a comparison that folds.
static bool same_key(const pask_hashtable* table, const char* a, const char* b) {
  return strcmp(a, b) == 0 || (!(table->flags & PASK_HASHTABLE_CASE_SENSITIVE) && text_equal_nocase(a, b));
}

uint32_t _pask_hashtable_finditem(const pask_hashtable* table, uint32_t hash, const char* key,
                                  pask_hashtable_item** item) {
  if (table->value_count == 0) return DATATYPES_INFO_NOT_FOUND;
  for (auto* i = table->buckets[hash & (table->bucket_count - 1)]; i; i = i->chain_next)
    if (i->hash == hash && same_key(table, i->key, key)) {
      *item = i;
      return 0;
    }
  return DATATYPES_INFO_NOT_FOUND;
}

// ---- Making records

// A block of a header, a body and a tail, or null when it can't be had or its size passes 32 bits.
static void* block_of(uint32_t header, uint32_t body, size_t tail) {
  const uint64_t size = uint64_t{header} + body + tail;
  return size <= UINT32_MAX ? pask_memory_alloc(static_cast<uint32_t>(size)) : nullptr;
}

// Fills a fresh record; a copy's bytes go to `room`.
static pask_hashtable_value value_of(const void* data, uint32_t size, bool copy, bool separate, uint8_t* room) {
  pask_hashtable_value value = {};
  value.size = size;
  value.is_copy = copy;
  value.is_separate = separate;
  if (!copy) {
    value.data = static_cast<uint8_t*>(const_cast<void*>(data));
  } else if (size != 0) {
    value.data = room;
    memcpy(room, data, size);
  }
  return value;
}

uint32_t _pask_hashtable_createitem(const pask_hashtable* table, uint32_t hash, const char* key, const void* data,
                                    uint32_t size, bool copy, pask_hashtable_item** item) {
  const size_t key_size = table->flags & PASK_HASHTABLE_BORROW_KEYS ? 0 : strlen(key) + 1;
  auto* made = static_cast<pask_hashtable_item*>(
      block_of(sizeof(pask_hashtable_item) + (copy ? 1 : 0), copy ? size : 0, key_size));
  if (!made) return failed(DATATYPES_ERR_NO_MEMORY);

  *made = {};
  auto* room = reinterpret_cast<uint8_t*>(made + 1);
  made->hash = hash;
  made->first_value = value_of(data, size, copy, false, room);
  if (copy) {
    room += size;
    *room++ = 0;
  }
  made->key = key_size == 0 ? key : static_cast<const char*>(memcpy(room, key, key_size));
  made->first_slot = &made->first_value;
  made->values = {&made->first_slot, 1, 1, false};
  *item = made;
  return 0;
}

uint32_t _pask_hashtable_createvalue(const void* data, uint32_t size, bool copy, pask_hashtable_value** value) {
  auto* made = static_cast<pask_hashtable_value*>(block_of(sizeof(pask_hashtable_value), copy ? size : 0, 0));
  if (!made) return failed(DATATYPES_ERR_NO_MEMORY);
  *made = value_of(data, size, copy, true, reinterpret_cast<uint8_t*>(made + 1));
  *value = made;
  return 0;
}

// ---- Links

void _pask_hashtable_additem(pask_hashtable* table, pask_hashtable_item* item) {
  auto** bucket = &table->buckets[item->hash & (table->bucket_count - 1)];
  item->chain_next = *bucket;
  if (!*bucket) ++table->used_buckets;
  *bucket = item;

  item->order_next = nullptr;
  item->order_prev = table->last_item;
  (table->last_item ? table->last_item->order_next : table->first_item) = item;
  table->last_item = item;
  table->value_count += item->values.count;
}

void _pask_hashtable_additems(pask_hashtable* table, pask_hashtable_item* first) {
  // Buckets lie anywhere: each is asked for some items before it is needed.
  constexpr uint32_t AHEAD = 8;
  auto* ahead = first;
  for (uint32_t i = 0; ahead && i < AHEAD; ++i) ahead = ahead->order_next;
  for (auto* item = first; item;) {
    if (ahead) {
      __builtin_prefetch(&table->buckets[ahead->hash & (table->bucket_count - 1)], 1);
      ahead = ahead->order_next;
    }
    auto* const next = item->order_next;
    _pask_hashtable_additem(table, item);
    item = next;
  }
}

void _pask_hashtable_removeitem(pask_hashtable* table, pask_hashtable_item* item) {
  auto** bucket = &table->buckets[item->hash & (table->bucket_count - 1)];
  auto** link = bucket;
  while (*link != item) link = &(*link)->chain_next;
  *link = item->chain_next;
  if (!*bucket) --table->used_buckets;

  (item->order_prev ? item->order_prev->order_next : table->first_item) = item->order_next;
  (item->order_next ? item->order_next->order_prev : table->last_item) = item->order_prev;
  item->chain_next = item->order_next = item->order_prev = nullptr;
  table->value_count -= item->values.count;
}

uint32_t _pask_hashtable_setsize(pask_hashtable* table, uint32_t bucket_count) {
  uint32_t size;
  pask_hashtable_item** buckets = nullptr;
  if (!__builtin_mul_overflow(bucket_count, sizeof *buckets, &size))
    buckets = static_cast<pask_hashtable_item**>(pask_memory_alloc(size));
  if (!buckets) return failed(DATATYPES_ERR_NO_MEMORY);
  memset(buckets, 0, size);
  pask_memory_free(table->buckets);
  table->buckets = buckets;
  table->bucket_count = bucket_count;
  table->used_buckets = table->collisions = table->value_count = 0;
  table->first_item = table->last_item = nullptr;
  hashtable_rewind(table);
  return 0;
}

// ---- Value lists

uint32_t _pask_hashtable_addvalue(pask_hashtable_valuelist* list, pask_hashtable_value* value) {
  if (list->count == list->capacity) {
    const uint32_t capacity = list->count == 0 ? 1 : list->count * 2;
    uint32_t size;
    if (list->count > UINT32_MAX / 2 || __builtin_mul_overflow(capacity, sizeof *list->array, &size))
      return failed(DATATYPES_ERR_NO_MEMORY);
    void* array = list->owns_array ? pask_memory_realloc(list->array, size) : pask_memory_alloc(size);
    if (!array) return failed(DATATYPES_ERR_NO_MEMORY);
    if (!list->owns_array && list->count != 0) memcpy(array, list->array, list->count * sizeof *list->array);
    list->array = static_cast<pask_hashtable_value**>(array);
    list->capacity = capacity;
    list->owns_array = true;
  }
  list->array[list->count++] = value;
  return 0;
}

// A value has left its key's list. If it is an item's first one, it keeps the item's block alive until it is released.
static void left_list(pask_hashtable_value* value) {
  if (!value->is_separate) value->block_owners = 2;
}

uint32_t _pask_hashtable_updatevalue(pask_hashtable* table, pask_hashtable_item* item, uint32_t index,
                                     pask_hashtable_value* fresh, pask_hashtable_value** old) {
  *old = nullptr;
  if (index >= item->values.count) return DATATYPES_INFO_NOT_FOUND;
  auto* replaced = item->values.array[index];
  item->values.array[index] = fresh;
  left_list(replaced);
  if ((table->flags & (PASK_HASHTABLE_THREADSAFE | PASK_HASHTABLE_NO_RETIRE)) == PASK_HASHTABLE_THREADSAFE &&
      replaced->was_read) {
    const uint32_t status = _pask_hashtable_addvalue(&table->retired, replaced);
    if (status == 0) return 0;
    *old = replaced;
    return failed(status);
  }
  *old = replaced;
  return 0;
}

uint32_t _pask_hashtable_removevalue(pask_hashtable* table, pask_hashtable_item* item, uint32_t index,
                                     pask_hashtable_value** removed) {
  auto* list = &item->values;
  if (index >= list->count) return DATATYPES_INFO_NOT_FOUND;
  *removed = list->array[index];
  left_list(*removed);
  --list->count;
  memmove(list->array + index, list->array + index + 1, (list->count - index) * sizeof *list->array);
  --table->value_count;
  hashtable_rewind(table);
  return 0;
}

// ---- Release
//
// An item and its departed first value, replaced or removed, may be released in either order, by different threads, and a
// retired value long after its key. The later of the two frees the block that they share.

static void drop_block(pask_hashtable_item* item) {
  uint8_t* owners = &item->first_value.block_owners;
  const uint8_t now = __atomic_load_n(owners, __ATOMIC_ACQUIRE);  // 0: the value is in its list and falls with the item
  if (now <= 1 || __atomic_sub_fetch(owners, 1, __ATOMIC_ACQ_REL) == 0) pask_memory_free(item);
}

static pask_hashtable_item* item_around(pask_hashtable_value* first_value) {
  return reinterpret_cast<pask_hashtable_item*>(reinterpret_cast<char*>(first_value) -
                                                offsetof(pask_hashtable_item, first_value));
}

void _pask_hashtable_freevalue(const pask_hashtable* table, pask_hashtable_value* value) {
  if (value->data && table->free_value) table->free_value(value->data, value->size);
  if (value->is_separate)
    pask_memory_free(value);
  else if (__atomic_load_n(&value->block_owners, __ATOMIC_RELAXED) != 0)
    drop_block(item_around(value));
}

void _pask_hashtable_freeitem(const pask_hashtable* table, pask_hashtable_item* item) {
  for (uint32_t i = 0; i < item->values.count; ++i) _pask_hashtable_freevalue(table, item->values.array[i]);
  if (item->values.owns_array) pask_memory_free(item->values.array);
  drop_block(item);
}

// ---- Soundness

bool _pask_hashtable_sound(const pask_hashtable* table) {
  constexpr uint32_t MOST_ITEMS = 32;
  uint32_t items = 0, values = 0;
  const pask_hashtable_item *last = nullptr, *item = table->first_item;
  for (; item && items < MOST_ITEMS; ++items, last = item, item = item->order_next) {
    if (item->order_prev != last || item->values.count == 0 || item->values.count > item->values.capacity) return false;
    values += item->values.count;
  }
  if (table->used_buckets > table->bucket_count || (table->first_item && table->bucket_count == 0)) return false;
  return item ? values < table->value_count : values == table->value_count && last == table->last_item;
}
