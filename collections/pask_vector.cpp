// The vector: the frame of handle and lock around the operations, and the working functions behind them, which are exported
// too. A failed word is reported once by each function that makes or returns it.
#include "pask_vector.h"

#include <string.h>

#include "pask_modules.h"
#include "pask_sort.h"
#include "pask_vector_record.h"

struct pask_vector {
  uint32_t magic;
  pask_critsec_handle lock;  // null unless thread-safe
  uintptr_t* items;          // null until the first growth
  uint32_t capacity;
  uint32_t count;
  uint32_t flags;
  pask_vector_compare_fn compare;
  pask_vector_free_fn free_value;
};
static_assert(sizeof(void*) != 4 || sizeof(pask_vector) == 32);
static_assert(PASK_VECTOR_THREADSAFE == VECTOR_FLAG_THREADSAFE);

static constexpr uint32_t VECTOR_MAGIC = 0xabcdef12u;
static constexpr uint32_t FIRST_CAPACITY = 16;
static constexpr uint32_t BYTES_PER_ITEM = sizeof(uintptr_t);

static uint32_t failed(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "pask_vector", line);
  return status;
}

[[maybe_unused]] static bool is_sound(const pask_vector& v) {
  return v.count <= v.capacity && (v.items || v.capacity == 0);
}

// The frame of an operation with a handle. `arguments` tells whether the other required arguments are there; `bad_handle` is
// the word for a record that is no vector. The work runs under the lock, if there is one.
template <class Work>
static uint32_t framed(const pask_vector* v, bool arguments, uint32_t bad_handle, Work work,
                       int32_t line = __builtin_LINE()) {
  const uint32_t status = vector_record_check(v, VECTOR_MAGIC, arguments, bad_handle);
  return failed(status ? status : vector_record_within(v, work), line);
}

// The array with room for so many items, moved by the memory service; null, and the old one whole, when it is refused.
static uintptr_t* items_resized(const pask_vector* v, uint32_t capacity) {
  uint32_t size = 0;
  if (__builtin_mul_overflow(capacity, BYTES_PER_ITEM, &size)) return nullptr;
  return static_cast<uintptr_t*>(pask_memory_realloc(v->items, size));
}

// Half as much again, and at least one more: the first formula stands still at 1 and 3.
static uint32_t grown_capacity(uint32_t capacity) {
  if (capacity == 0) return FIRST_CAPACITY;
  const uint32_t half = capacity / 2;
  return half * 3 > capacity ? half * 3 : (half + 1) * 3;
}

static int32_t compared(const pask_vector* v, uintptr_t a, uintptr_t b) {
  if (v->compare) return v->compare(a, b);
  return (a > b) - (a < b);
}

static bool is_sorted(const pask_vector* v) { return (v->flags & PASK_VECTOR_SORTED) != 0; }

static void copy_items(uintptr_t* to, const uintptr_t* from, uint32_t count) {
  if (count != 0) memcpy(to, from, size_t{count} * BYTES_PER_ITEM);
}

/* ---- Working functions: the caller holds the lock ------------------------------------------------------------------ */

uint32_t _pask_vector_create(pask_vector** vector, uint32_t flags, pask_vector_compare_fn compare,
                             pask_vector_free_fn free_value) {
  return failed(vector_record_create(vector, {.magic = VECTOR_MAGIC,
                                              .lock = nullptr,
                                              .items = nullptr,
                                              .capacity = 0,
                                              .count = 0,
                                              .flags = flags,
                                              .compare = compare,
                                              .free_value = free_value}));
}

uint32_t _pask_vector_freevalue(pask_vector* v, uintptr_t value) {
  if (!v) return failed(DATATYPES_ERR_INVALID_ARG);
  if (v->free_value && value) v->free_value(value);
  return 0;
}

static void release_values(pask_vector* v) {
  if (v->free_value)
    for (uint32_t i = 0; i < v->count; ++i) _pask_vector_freevalue(v, v->items[i]);
  v->count = 0;
}

uint32_t _pask_vector_clear(pask_vector* v) {
  if (!v) return failed(DATATYPES_ERR_INVALID_ARG);
  release_values(v);
  if (v->items) memset(v->items, 0, size_t{v->capacity} * BYTES_PER_ITEM);
  return 0;
}

uint32_t _pask_vector_delete(pask_vector* v) {
  if (!v) return 0;
  release_values(v);  // no slot is zeroed that is freed at once
  return failed(vector_record_delete(v, v->items));
}

uint32_t _pask_vector_growarray(pask_vector* v, uint32_t capacity) {
  if (!v) return failed(DATATYPES_ERR_INVALID_ARG);
  if (capacity <= v->capacity) return 0;
  uintptr_t* const items = items_resized(v, capacity);
  if (!items) return failed(DATATYPES_ERR_NO_MEMORY);
  v->items = items;
  v->capacity = capacity;
  return 0;
}

// Takes the mark away when the value, new at an index, sorts before its left or behind its right neighbour. Equal neighbours are
// in order.
static void check_order(pask_vector* v, uint32_t index, uintptr_t value) {
  const auto unmark = [v] { v->flags &= ~PASK_VECTOR_SORTED; };
  if (index != 0 && compared(v, value, v->items[index - 1]) < 0) unmark();
  if (is_sorted(v) && index + 1 < v->count && compared(v, v->items[index + 1], value) < 0) unmark();
}

uint32_t _pask_vector_insert(pask_vector* v, uint32_t index, uintptr_t value, uint8_t check) {
  if (!v) return failed(DATATYPES_ERR_INVALID_ARG);
  if (v->count == v->capacity)
    if (const uint32_t status = _pask_vector_growarray(v, grown_capacity(v->capacity))) return failed(status);
  if (index < v->count)
    memmove(v->items + index + 1, v->items + index, size_t{v->count - index} * BYTES_PER_ITEM);
  else
    index = v->count;
  v->items[index] = value;
  ++v->count;
  if (check && is_sorted(v)) check_order(v, index, value);
  return 0;
}

int32_t _pask_vector_comparevalues(pask_vector* v, uintptr_t a, uintptr_t b) { return compared(v, a, b); }

int32_t _pask_vector_qsort_compare(const void* a, const void* b, void* vector) {
  return compared(static_cast<const pask_vector*>(vector), *static_cast<const uintptr_t*>(a),
                  *static_cast<const uintptr_t*>(b));
}

// Halves towards the first element that is above the value, or with `equal_goes_left` not below it. A comparison may shorten
// the vector: the end is never behind the count.
static uint32_t bound(const pask_vector* v, uintptr_t value, bool equal_goes_left, uint32_t* position) {
  if (!v || !value) return DATATYPES_ERR_INVALID_ARG;
  uint32_t status = DATATYPES_INFO_NOT_FOUND;
  uint32_t low = 0;
  uint32_t end = v->count;
  while (low < end) {
    const uint32_t mid = low + (end - 1 - low) / 2;
    const int32_t order = compared(v, value, v->items[mid]);
    if (order == 0) status = 0;
    if (order > 0 || (order == 0 && !equal_goes_left))
      low = mid + 1;
    else
      end = mid;
    if (end > v->count) [[unlikely]]
      end = v->count;
  }
  if (position) *position = low < v->count ? low : v->count;
  return status;
}

uint32_t _pask_vector_upper_bound(pask_vector* v, uintptr_t value, uint32_t* position) {
  return failed(bound(v, value, false, position));
}

uint32_t _pask_vector_lower_bound(pask_vector* v, uintptr_t value, uint32_t* position) {
  return failed(bound(v, value, true, position));
}

[[gnu::noinline]] static uint32_t add_in_place(pask_vector* v, uintptr_t value) {
  uint32_t position = v->count;
  if (is_sorted(v)) {
    const uint32_t status = _pask_vector_upper_bound(v, value, &position);
    if (status && status != DATATYPES_INFO_NOT_FOUND) return status;
  }
  return _pask_vector_insert(v, position, value, 0);
}

// A call only where there is no room, or an order.
static uint32_t add_value(pask_vector* v, uintptr_t value) {
  if (is_sorted(v) || v->count == v->capacity) [[unlikely]]
    return add_in_place(v, value);
  v->items[v->count++] = value;
  return 0;
}

static uint32_t remove_at(pask_vector* v, uint32_t index, uintptr_t* value) {
  if (index >= v->count) return DATATYPES_INFO_RANGE;
  if (value) *value = v->items[index];
  --v->count;
  memmove(v->items + index, v->items + index + 1, size_t{v->count - index} * BYTES_PER_ITEM);
  v->items[v->count] = 0;
  return 0;
}

// The items as the sort has them, read afresh each time, since a comparison may change the vector.
struct sorted_items {
  const pask_vector* v;

  bool holds(uint32_t index) const { return index < v->count; }
  bool is_below(uint32_t a, uint32_t b) const { return compared(v, v->items[a], v->items[b]) < 0; }
  void exchange(uint32_t a, uint32_t b) const {
    const uintptr_t value = v->items[a];
    v->items[a] = v->items[b];
    v->items[b] = value;
  }
};

static void sort_values(pask_vector* v, pask_vector_compare_fn compare, bool force) {
  if (compare != v->compare) {
    v->compare = compare;
    v->flags &= ~PASK_VECTOR_SORTED;
  }
  if (!compare || (is_sorted(v) && !force)) return;
  const uint32_t count = v->count;
  v->flags &= ~PASK_VECTOR_SORTED;  // not in order while it is sorted
  sort_elements(sorted_items{v}, count);
  if (v->count == count) v->flags |= PASK_VECTOR_SORTED;
}

static uint32_t walk(const pask_vector* v, pask_vector_foreach_fn callback, void* context) {
  for (uint32_t i = 0; i < v->count; ++i)
    if (!callback(context, v->items[i])) return DATATYPES_INFO_STOPPED;
  return 0;
}

static uint32_t found_at(uint32_t position, uint32_t* index) {
  if (index) *index = position;
  return 0;
}

static uint32_t find_equal(pask_vector* v, uintptr_t value, uint32_t* index) {
  if (is_sorted(v)) {
    uint32_t position = 0;
    PASK_TRY(_pask_vector_lower_bound(v, value, &position));
    return found_at(position, index);
  }
  for (uint32_t i = 0; i < v->count; ++i)
    if (v->items[i] == value || (v->compare && v->compare(v->items[i], value) == 0)) return found_at(i, index);
  return DATATYPES_INFO_NOT_FOUND;
}

static uint32_t find_identical(pask_vector* v, uintptr_t value, uint32_t* index) {
  const bool sorted = is_sorted(v);
  uint32_t i = 0;
  if (sorted) PASK_TRY(_pask_vector_lower_bound(v, value, &i));
  while (i < v->count) {
    if (v->items[i] == value) return found_at(i, index);
    ++i;
    if (sorted && i < v->count && compared(v, v->items[i], value) != 0) break;  // the run of equal ones has ended
  }
  return DATATYPES_INFO_NOT_FOUND;
}

// Makes a vector like another one with copies of so many of its items, and exactly the room for them.
static uint32_t create_from(const pask_vector* source, uint32_t first, pask_vector_free_fn free_value,
                            pask_vector** made) {
  pask_vector* v = nullptr;
  PASK_TRY(_pask_vector_create(&v, source->flags, source->compare, free_value));
  const uint32_t count = source->count - first;
  if (const uint32_t status = _pask_vector_growarray(v, count)) {
    _pask_vector_delete(v);
    return status;
  }
  if (count != 0) copy_items(v->items, source->items + first, count);
  v->count = count;
  *made = v;
  return 0;
}

// Moves the items from an index on into a new vector; on a failure to shrink, that one is there all the same.
static uint32_t split_at(pask_vector* v, uint32_t index, pask_vector** tail) {
  if (index >= v->count) return DATATYPES_INFO_RANGE;
  PASK_TRY(create_from(v, index, v->free_value, tail));
  v->count = index;
  const uint32_t capacity = index != 0 ? index : FIRST_CAPACITY;
  uintptr_t* const items = items_resized(v, capacity);
  if (!items) return DATATYPES_ERR_NO_MEMORY;
  v->items = items;
  v->capacity = capacity;
  return 0;
}

/* ---- Operations ---------------------------------------------------------------------------------------------------- */

uint32_t pask_vector_create(pask_vector** vector, uint32_t flags, pask_vector_compare_fn compare,
                            pask_vector_free_fn free_value) {
  if (!pask_datatypes_initchecks()) return DATATYPES_ERR_NOT_INITED;
  return failed(_pask_vector_create(vector, flags, compare, free_value));
}

uint32_t pask_vector_delete(pask_vector* v) {
  if (!v) return 0;
  PASK_TRY(framed(v, true, DATATYPES_ERR_BAD_HANDLE, [=] {
    release_values(v);
    return 0u;
  }));
  return failed(_pask_vector_delete(v));
}

uint32_t pask_vector_add(pask_vector* v, uintptr_t value) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE, [=] { return add_value(v, value); });
}

uint32_t pask_vector_insert(pask_vector* v, uint32_t index, uintptr_t value) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE, [=] { return _pask_vector_insert(v, index, value, 1); });
}

uint32_t pask_vector_set_min_size(pask_vector* v, uint32_t capacity) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE, [=] { return _pask_vector_growarray(v, capacity); });
}

uint32_t pask_vector_getindex(pask_vector* v, uint32_t index, uintptr_t* value) {
  return framed(v, value != nullptr, DATATYPES_ERR_BAD_HANDLE_READ, [=]() -> uint32_t {
    if (index >= v->count) return DATATYPES_INFO_RANGE;
    *value = v->items[index];
    return 0;
  });
}

uint32_t pask_vector_removeindex(pask_vector* v, uint32_t index, uintptr_t* value) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return remove_at(v, index, value); });
}

uint32_t pask_vector_deleteindex(pask_vector* v, uint32_t index) {
  uintptr_t value = 0;
  PASK_TRY(framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=, &value] { return remove_at(v, index, &value); }));
  return _pask_vector_freevalue(v, value);
}

uint32_t pask_vector_swapindex(pask_vector* v, uint32_t a, uint32_t b) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=]() -> uint32_t {
    if (a >= v->count || b >= v->count) return DATATYPES_INFO_RANGE;
    sorted_items{v}.exchange(a, b);
    return 0;
  });
}

uint32_t pask_vector_count(pask_vector* v, uint32_t* count) {
  if (!v && count) {
    *count = 0;
    return 0;
  }
  return framed(v, count != nullptr, DATATYPES_ERR_BAD_HANDLE_READ, [=] {
    *count = v->count;
    return 0u;
  });
}

uint32_t pask_vector_clear(pask_vector* v) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return _pask_vector_clear(v); });
}

uint32_t pask_vector_sort(pask_vector* v, pask_vector_compare_fn compare, uint8_t force) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] {
    sort_values(v, compare, force != 0);
    return 0u;
  });
}

uint32_t pask_vector_foreach(pask_vector* v, pask_vector_foreach_fn callback, void* context) {
  return framed(v, callback != nullptr, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return walk(v, callback, context); });
}

uint32_t pask_vector_find(pask_vector* v, uintptr_t value, uint32_t* index) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return find_equal(v, value, index); });
}

uint32_t pask_vector_find_literal(pask_vector* v, uintptr_t value, uint32_t* index) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return find_identical(v, value, index); });
}

uint32_t pask_vector_copy(pask_vector* v, pask_vector_free_fn free_value, pask_vector** copy) {
  pask_vector* made = nullptr;
  const uint32_t status = framed(v, copy != nullptr, DATATYPES_ERR_BAD_HANDLE_READ,
                                 [=, &made] { return create_from(v, 0, free_value, &made); });
  if (status) {
    if (made) made->count = 0;  // the values are the source's
    _pask_vector_delete(made);
    return status;
  }
  *copy = made;
  return 0;
}

uint32_t pask_vector_split(pask_vector* v, uint32_t index, pask_vector** tail) {
  pask_vector* made = nullptr;
  const uint32_t status =
      framed(v, tail != nullptr, DATATYPES_ERR_BAD_HANDLE_READ, [=, &made] { return split_at(v, index, &made); });
  if (status) {
    _pask_vector_delete(made);  // with what has moved
    return status;
  }
  *tail = made;
  return 0;
}
