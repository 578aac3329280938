// The records of the hash table and the steps that its operations are made of. Whoever calls a step holds the table's lock,
// except for those that release.
#pragma once

#include "pask_collections.h"
#include "pask_hashtable.h"
#include "pask_thread.h"

struct pask_hashtable_value {
  uint8_t* data;  // null for an empty value
  uint32_t size;
  uint8_t is_copy;      // the bytes lie in this record's allocation
  uint8_t is_separate;  // an allocation of its own, not an item's first value
  uint8_t was_read;     // readers under the read lock set it: a relaxed atomic byte
  // Of a first value that has left its key's list: how many still need the item's block, the item and this record being two
  // then. 0 while the record is in the list, and falls with the item. Released outside the lock: an atomic byte.
  uint8_t block_owners;
};

struct pask_hashtable_valuelist {
  pask_hashtable_value** array;
  uint32_t capacity;
  uint32_t count;
  uint8_t owns_array;
};

// One key. Its chain runs one way, for what stands beside an item in it lies far away in memory: adding a key doesn't touch it, and
// removing one finds what leads to it where it begins. Behind the item the same block holds the bytes of a copied first value, then the copied key.
struct pask_hashtable_item {
  uint32_t hash;
  const char* key;
  pask_hashtable_item* chain_next;
  pask_hashtable_item *order_next, *order_prev;
  pask_hashtable_valuelist values;
  pask_hashtable_value* first_slot;  // the array of a key with one value
  pask_hashtable_value first_value;
};

struct pask_hashtable {
  uint32_t magic;
  pask_rwlock_handle lock;  // null without PASK_HASHTABLE_THREADSAFE
  uint32_t flags;
  pask_hashtable_free_fn free_value;
  pask_hashtable_item *first_item, *last_item;
  uint32_t value_count;
  pask_hashtable_item* cursor_item;  // where the last walk by flat index stopped
  uint32_t cursor_base;              // number of values ahead of cursor_item
  pask_hashtable_valuelist retired;
  uint32_t bucket_count;  // 0, or a power of two
  uint32_t used_buckets;
  uint32_t collisions;  // new keys since the last resize whose bucket was occupied
  pask_hashtable_item** buckets;
};

static_assert(sizeof(pask_hashtable_value) == sizeof(void*) + 8);

constexpr uint32_t HASHTABLE_MAGIC = 0x12abcdef;

// Whether lists and counts agree, looked at as far as it stays cheap: asserted around each operation.
bool _pask_hashtable_sound(const pask_hashtable* table);

// ---- Hashing and lookup

uint32_t _pask_hashtable_genhash(const pask_hashtable* table, const char* key);
uint32_t _pask_hashtable_finditem(const pask_hashtable* table, uint32_t hash, const char* key,
                                  pask_hashtable_item** item);

// ---- Making records

uint32_t _pask_hashtable_createitem(const pask_hashtable* table, uint32_t hash, const char* key, const void* data,
                                    uint32_t size, bool copy, pask_hashtable_item** item);
uint32_t _pask_hashtable_createvalue(const void* data, uint32_t size, bool copy, pask_hashtable_value** value);

// ---- Linking

void _pask_hashtable_additem(pask_hashtable* table, pask_hashtable_item* item);
// Links all items of an order list again, into new buckets.
void _pask_hashtable_additems(pask_hashtable* table, pask_hashtable_item* first);
void _pask_hashtable_removeitem(pask_hashtable* table, pask_hashtable_item* item);
uint32_t _pask_hashtable_addvalue(pask_hashtable_valuelist* list, pask_hashtable_value* value);
// `old` receives the replaced value for release, or null when it was retired.
uint32_t _pask_hashtable_updatevalue(pask_hashtable* table, pask_hashtable_item* item, uint32_t index,
                                     pask_hashtable_value* fresh, pask_hashtable_value** old);
uint32_t _pask_hashtable_removevalue(pask_hashtable* table, pask_hashtable_item* item, uint32_t index,
                                     pask_hashtable_value** removed);
// Gives the table new, empty buckets and lists; the caller links the items again.
uint32_t _pask_hashtable_setsize(pask_hashtable* table, uint32_t bucket_count);

// ---- Releasing, outside the lock

void _pask_hashtable_freevalue(const pask_hashtable* table, pask_hashtable_value* value);
void _pask_hashtable_freeitem(const pask_hashtable* table, pask_hashtable_item* item);

inline void hashtable_rewind(pask_hashtable* table) {
  table->cursor_item = table->first_item;
  table->cursor_base = 0;
}
