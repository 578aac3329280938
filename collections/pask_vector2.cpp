// The vector of records: the frame of handle and lock around the operations, and the working functions behind them, which are
// exported too. A failed word is reported once by each function that makes or returns it.
#include "pask_vector2.h"

#include <string.h>

#include "pask_modules.h"
#include "pask_sort.h"
#include "pask_vector_record.h"

struct pask_vector2 {
  uint32_t magic;
  pask_critsec_handle lock;  // null unless thread-safe
  uint8_t* buffer;           // null until the first growth
  uint32_t capacity;
  uint32_t element_size;
  uint32_t count;
  bool owns_buffer;
  uint32_t flags;
  pask_vector2_compare_fn compare;
  pask_vector2_free_fn free_value;
};
static_assert(sizeof(void*) != 4 || sizeof(pask_vector2) == 40);
static_assert(PASK_VECTOR2_THREADSAFE == VECTOR_FLAG_THREADSAFE);

static constexpr uint32_t VECTOR2_MAGIC = 0xabcdef13u;
static constexpr uint32_t FIRST_CAPACITY = 16;
static constexpr uint32_t NO_HINT = UINT32_MAX;

static uint32_t failed(uint32_t status, int32_t line = __builtin_LINE()) {
  pask_report(status, "pask_vector2", line);
  return status;
}

[[maybe_unused]] static bool is_sound(const pask_vector2& v) {
  return v.count <= v.capacity && (v.buffer || v.capacity == 0) && (v.element_size != 0 || v.count == 0);
}

// The frame of an operation with a handle. `arguments` tells whether the other required arguments are there; `bad_handle` is
// the word for a record that is no vector2; `fits` looks at sizes. The work runs under the lock, if there is one.
template <class Fits, class Work>
static uint32_t framed(const pask_vector2* v, bool arguments, uint32_t bad_handle, Fits fits, Work work,
                       int32_t line = __builtin_LINE()) {
  uint32_t status = vector_record_check(v, VECTOR2_MAGIC, arguments, bad_handle);
  if (!status && !fits()) status = DATATYPES_ERR_WRONG_SIZE;
  return failed(status ? status : vector_record_within(v, work), line);
}

template <class Work>
static uint32_t framed(const pask_vector2* v, bool arguments, uint32_t bad_handle, Work work,
                       int32_t line = __builtin_LINE()) {
  return framed(
      v, arguments, bad_handle, [] { return true; }, work, line);
}

static size_t bytes_of(const pask_vector2* v, uint32_t elements) { return size_t{elements} * v->element_size; }

static uint8_t* at(const pask_vector2* v, uint32_t index) { return v->buffer + bytes_of(v, index); }

static int32_t compared(const pask_vector2* v, const void* a, const void* b) {
  return v->compare ? v->compare(a, b) : pask_memory_memcmp(a, b, v->element_size);
}

static bool is_sorted(const pask_vector2* v) { return (v->flags & PASK_VECTOR2_SORTED) != 0; }

// Elements of one to four pointers, the most usual ones, are copied without a call: by their first and last bytes, which may overlap.
static constexpr uint32_t LEAST_USUAL = 8, MOST_USUAL = 32;

static bool is_usual(uint32_t size) { return size - LEAST_USUAL <= MOST_USUAL - LEAST_USUAL; }

template <uint32_t Bytes>
static void copy_ends(uint8_t* to, const uint8_t* from, uint32_t size) {
  memcpy(to, from, Bytes);
  memcpy(to + size - Bytes, from + size - Bytes, Bytes);
}

static void copy_usual(uint8_t* to, const void* element, uint32_t size) {
  const auto* const from = static_cast<const uint8_t*>(element);
  size <= MOST_USUAL / 2 ? copy_ends<LEAST_USUAL>(to, from, size) : copy_ends<MOST_USUAL / 2>(to, from, size);
}

// Copies an element to its place.
static void put_one(pask_vector2* v, uint32_t index, const void* element) {
  if (is_usual(v->element_size))
    copy_usual(at(v, index), element, v->element_size);
  else
    memcpy(at(v, index), element, v->element_size);
}

static void move(pask_vector2* v, uint32_t to, uint32_t from, uint32_t count) {
  if (count != 0) memmove(at(v, to), at(v, from), bytes_of(v, count));
}

// Count and array are read afresh for each element: the callback may change the vector.
static void release(pask_vector2* v, uint32_t first, uint32_t end) {
  if (v->free_value)
    for (uint32_t i = first; i < end && i < v->count; ++i) v->free_value(at(v, i));
}

// Sets the array and whose it is; the old one is gone or another's.
static void take_buffer(pask_vector2* v, uint8_t* buffer, uint32_t capacity, bool owned) {
  v->buffer = buffer;
  v->capacity = capacity;
  v->owns_buffer = owned;
}

static void free_buffer(pask_vector2* v) {
  if (v->owns_buffer) pask_memory_free(v->buffer);
  take_buffer(v, nullptr, 0, true);
}

/* ---- Working functions: the caller holds the lock ------------------------------------------------------------------ */

uint32_t _pask_vector2_create(pask_vector2** vector, uint32_t element_size, uint32_t flags,
                              pask_vector2_compare_fn compare, pask_vector2_free_fn free_value) {
  if (!pask_datatypes_initchecks()) return DATATYPES_ERR_NOT_INITED;
  return failed(vector_record_create(vector, {.magic = VECTOR2_MAGIC,
                                              .lock = nullptr,
                                              .buffer = nullptr,
                                              .capacity = 0,
                                              .element_size = element_size,
                                              .count = 0,
                                              .owns_buffer = true,
                                              .flags = flags,
                                              .compare = compare,
                                              .free_value = free_value}));
}

uint32_t _pask_vector2_clear(pask_vector2* v) {
  if (!v) return 0;
  release(v, 0, v->count);
  v->count = 0;
  free_buffer(v);
  return 0;
}

uint32_t _pask_vector2_delete(pask_vector2* v) {
  if (!v) return 0;
  _pask_vector2_clear(v);
  return failed(vector_record_delete(v, nullptr));
}

uint32_t _pask_vector2_freevalue(pask_vector2* v, void* element) {
  if (!v || !element) return failed(DATATYPES_ERR_INVALID_ARG);
  if (v->free_value) v->free_value(element);
  return 0;
}

// A block of no bytes isn't asked for: what becomes of the old one then depends on the memory service.
uint32_t _pask_vector2_growarray(pask_vector2* v, uint32_t capacity) {
  if (!v) return failed(DATATYPES_ERR_INVALID_ARG);
  if (capacity < v->count || capacity == v->capacity) return 0;
  if (capacity == 0) {
    free_buffer(v);
    return 0;
  }
  uint32_t size = 0;
  if (__builtin_mul_overflow(capacity, v->element_size, &size)) return failed(DATATYPES_ERR_NO_MEMORY);
  if (size == 0) size = 1;  // elements of no bytes have an address all the same
  void* const buffer = v->owns_buffer ? pask_memory_realloc(v->buffer, size) : pask_memory_alloc(size);
  if (!buffer) return failed(DATATYPES_ERR_NO_MEMORY);
  if (!v->owns_buffer && v->count != 0) memcpy(buffer, v->buffer, bytes_of(v, v->count));
  take_buffer(v, static_cast<uint8_t*>(buffer), capacity, true);
  return 0;
}

// Makes room for so many elements, which may be more than can be counted.
static uint32_t grow(pask_vector2* v, uint64_t capacity) {
  return capacity > UINT32_MAX ? DATATYPES_ERR_NO_MEMORY : _pask_vector2_growarray(v, static_cast<uint32_t>(capacity));
}

[[gnu::noinline]] static uint32_t grow_by_half(pask_vector2* v) {
  return grow(v, v->capacity == 0 ? FIRST_CAPACITY : (uint64_t{v->capacity} / 2 + 1) * 3);
}

// Takes the mark away when the element new at an index sorts before its left or behind its right neighbour. Equal neighbours
// are in order.
static void check_order(pask_vector2* v, uint32_t index) {
  const auto unmark = [v] { v->flags &= ~PASK_VECTOR2_SORTED; };
  if (index != 0 && compared(v, at(v, index), at(v, index - 1)) < 0) unmark();
  if (is_sorted(v) && index + 1 < v->count && compared(v, at(v, index + 1), at(v, index)) < 0) unmark();
}

uint32_t _pask_vector2_insert(pask_vector2* v, uint32_t index, const void* element, uint8_t check) {
  if (!v || !element) return failed(DATATYPES_ERR_INVALID_ARG);
  if (v->count == v->capacity) [[unlikely]]
    if (const uint32_t status = grow_by_half(v)) return failed(status);
  if (index < v->count)
    move(v, index + 1, index, v->count - index);
  else
    index = v->count;
  put_one(v, index, element);
  ++v->count;
  if (check && is_sorted(v)) check_order(v, index);
  return 0;
}

int32_t _pask_vector2_comparevalues(pask_vector2* v, const void* a, const void* b) { return compared(v, a, b); }

int32_t _pask_vector2_qsort_compare(const void* a, const void* b, void* vector) {
  return compared(static_cast<const pask_vector2*>(vector), a, b);
}

// The order of a value against an element. A comparison may change the vector, so each search reads count and array afresh behind
// it and goes no further than what is there.
static int32_t order_at(const pask_vector2* v, const void* value, uint32_t index) {
  return compared(v, value, at(v, index));
}

static bool found_between(const pask_vector2* v, uint32_t first, uint32_t end, const void* value, uint32_t* position) {
  for (uint32_t i = first; i < end && i < v->count; ++i)
    if (order_at(v, value, i) == 0) {
      *position = i;
      return true;
    }
  return false;
}

// Walks from the start to the end, then from 0 up to the start.
static uint32_t find_unsorted(const pask_vector2* v, uint32_t start, const void* value, uint32_t* position) {
  if (found_between(v, start, UINT32_MAX, value, position) || found_between(v, 0, start, value, position)) return 0;
  *position = start;
  return DATATYPES_INFO_NOT_FOUND;
}

// Where the first element not below the value can be, from low to end, and whether an equal one was met.
struct bounds {
  uint32_t low;
  uint32_t end;
  bool met;
};

static void end_at_count(const pask_vector2* v, bounds* in) {
  if (in->end > v->count) [[unlikely]]
    in->end = v->count;
}

// Goes away from the hint in steps that double. Element 0 stays in the bounds even if it isn't below the value.
static bounds gallop(const pask_vector2* v, const void* value, uint32_t hint, bounds in) {
  for (uint32_t probe = hint, step = 1;; step *= 2) {
    const int32_t order = order_at(v, value, probe);
    in.met |= order == 0;
    if (order > 0) {
      in.low = probe + 1;
      end_at_count(v, &in);
      if (in.end <= in.low || in.end - in.low <= step) return in;
      probe += step;
    } else {
      in.end = probe == 0 ? 1 : probe;
      end_at_count(v, &in);
      if (in.end < probe || probe - in.low <= step) return in;
      probe -= step;
    }
  }
}

static bounds halve(const pask_vector2* v, const void* value, bounds in) {
  while (in.low < in.end) {
    const uint32_t middle = in.low + (in.end - 1 - in.low) / 2;
    const int32_t order = order_at(v, value, middle);
    in.met |= order == 0;
    if (order > 0)
      in.low = middle + 1;
    else
      in.end = middle;
    end_at_count(v, &in);
  }
  return in;
}

static uint32_t find_sorted(const pask_vector2* v, uint32_t hint, const void* value, uint32_t* position) {
  bounds in = {.low = 0, .end = v->count, .met = false};
  if (hint < v->count) in = gallop(v, value, hint, in);
  in = halve(v, value, in);
  *position = in.low < v->count ? in.low : v->count;
  return in.met ? 0 : uint32_t{DATATYPES_INFO_NOT_FOUND};
}

uint32_t _pask_vector2_findvalue(pask_vector2* v, uint32_t hint, const void* element, uint32_t* position) {
  if (!v || !element || !position) return failed(DATATYPES_ERR_INVALID_ARG);
  if (is_sorted(v)) return find_sorted(v, hint, element, position);
  return find_unsorted(v, hint < v->count ? hint : 0, element, position);
}

[[gnu::noinline]] static uint32_t append_any(pask_vector2* v, const void* element, uint32_t* index) {
  const uint32_t position = v->count;
  PASK_TRY(_pask_vector2_insert(v, position, element, 0));
  if (index) *index = position;
  return 0;
}

// As an insertion at the end; without a call for the usual elements while there is room.
static uint32_t append(pask_vector2* v, const void* element, uint32_t* index) {
  if (v->count == v->capacity || !is_usual(v->element_size)) [[unlikely]]
    return append_any(v, element, index);
  copy_usual(at(v, v->count), element, v->element_size);
  if (index) *index = v->count;
  ++v->count;
  return 0;
}

// Equal elements stay in the order of their adding, or the new one takes the old one's place.
[[gnu::noinline]] static uint32_t add_in_place(pask_vector2* v, const void* element, uint32_t* index) {
  uint32_t position = 0;
  const bool found = _pask_vector2_findvalue(v, NO_HINT, element, &position) == 0;
  const bool replaces = found && v->flags & PASK_VECTOR2_UNIQUE;
  if (replaces) release(v, position, position + 1);
  if (replaces && position < v->count) {
    put_one(v, position, element);
  } else {
    while (found && position < v->count && order_at(v, element, position) == 0) ++position;
    PASK_TRY(_pask_vector2_insert(v, position, element, 0));
  }
  if (index) *index = position;
  return 0;
}

static uint32_t delete_range(pask_vector2* v, uint32_t first, uint32_t last) {
  if (first >= v->count) return DATATYPES_INFO_RANGE;
  if (first > last) return 0;
  uint32_t end = last < v->count ? last + 1 : v->count;
  release(v, first, end);
  if (end > v->count) end = v->count;
  if (first >= end) return 0;
  move(v, first, end, v->count - end);
  v->count -= end - first;
  return 0;
}

// The room behind the last element holds the first of the two for a moment.
static uint32_t swap_elements(pask_vector2* v, uint32_t a, uint32_t b) {
  if (a >= v->count || b >= v->count) return DATATYPES_INFO_RANGE;
  if (a == b) return 0;
  if (v->count == v->capacity) PASK_TRY(grow(v, uint64_t{v->count} + 1));
  put_one(v, v->count, at(v, a));
  put_one(v, a, at(v, b));
  put_one(v, b, at(v, v->count));
  return 0;
}

static void mark_sorted(pask_vector2* v, bool sorted) {
  v->flags = sorted ? v->flags | PASK_VECTOR2_SORTED : v->flags & ~PASK_VECTOR2_SORTED;
}

// The elements as the sort has them, read afresh each time, since a comparison may change the vector.
struct sorted_elements {
  const pask_vector2* v;

  bool holds(uint32_t index) const { return index < v->count; }
  bool is_below(uint32_t a, uint32_t b) const { return compared(v, at(v, a), at(v, b)) < 0; }
  void exchange(uint32_t a, uint32_t b) const {
    exchange_bytes(reinterpret_cast<char*>(at(v, a)), reinterpret_cast<char*>(at(v, b)), v->element_size);
  }
};

static void sort_by(pask_vector2* v, pask_vector2_compare_fn compare, bool force) {
  if (compare != v->compare) {
    v->compare = compare;
    mark_sorted(v, false);
  }
  if (is_sorted(v) && !force) return;
  const uint32_t count = v->count;
  mark_sorted(v, false);  // not in order while it is sorted
  sort_elements(sorted_elements{v}, count);
  mark_sorted(v, v->count == count);
}

static uint32_t walk(const pask_vector2* v, pask_vector2_foreach_fn callback, void* context) {
  for (uint32_t i = 0; i < v->count; ++i)
    if (!callback(context, at(v, i))) return DATATYPES_INFO_STOPPED;
  return 0;
}

// Whether a block lies in the array that the vector owns, and would be freed with it.
static bool is_own(const pask_vector2* v, const void* block) {
  const auto first = reinterpret_cast<uintptr_t>(v->buffer);
  return v->owns_buffer && reinterpret_cast<uintptr_t>(block) - first < bytes_of(v, v->capacity);
}

static uint32_t attach(pask_vector2* v, void* buffer, uint32_t size, uint32_t element_size, bool owned, bool sorted) {
  if (is_own(v, buffer)) return DATATYPES_ERR_INVALID_ARG;
  _pask_vector2_clear(v);
  v->element_size = element_size;
  v->count = size / element_size;
  take_buffer(v, static_cast<uint8_t*>(buffer), v->count, owned);
  mark_sorted(v, sorted);
  return 0;
}

static void detach(pask_vector2* v, void** buffer, uint32_t* capacity, uint32_t* element_size) {
  if (buffer) *buffer = v->buffer;
  if (capacity) *capacity = v->capacity;
  if (element_size) *element_size = v->element_size;
  if (buffer && v->owns_buffer) {
    v->count = 0;
    v->buffer = nullptr;
  }
  _pask_vector2_clear(v);
}

static uint32_t create_like(const pask_vector2* source, pask_vector2_free_fn free_value, pask_vector2** made) {
  pask_vector2* v = nullptr;
  PASK_TRY(_pask_vector2_create(&v, source->element_size, source->flags, source->compare, free_value));
  if (const uint32_t status = _pask_vector2_growarray(v, source->count)) {
    _pask_vector2_delete(v);
    return status;
  }
  if (source->count != 0) memcpy(v->buffer, source->buffer, bytes_of(v, source->count));
  v->count = source->count;
  *made = v;
  return 0;
}

/* ---- Operations ---------------------------------------------------------------------------------------------------- */

uint32_t pask_vector2_create(pask_vector2** vector, uint32_t element_size, uint32_t flags,
                             pask_vector2_compare_fn compare, pask_vector2_free_fn free_value) {
  const uint32_t status = _pask_vector2_create(vector, element_size, flags, compare, free_value);
  return status == DATATYPES_ERR_NOT_INITED ? status : failed(status);
}

uint32_t pask_vector2_delete(pask_vector2* v) {
  if (!v) return 0;
  PASK_TRY(framed(v, true, DATATYPES_ERR_BAD_HANDLE, [=] { return _pask_vector2_clear(v); }));
  return failed(_pask_vector2_delete(v));
}

uint32_t pask_vector2_copy(pask_vector2* v, pask_vector2_free_fn free_value, pask_vector2** copy) {
  pask_vector2* made = nullptr;
  const uint32_t status = framed(v, copy != nullptr, DATATYPES_ERR_BAD_HANDLE_READ,
                                 [=, &made] { return create_like(v, free_value, &made); });
  if (status) {
    if (made) made->count = 0;  // what the elements hold is the source's
    _pask_vector2_delete(made);
    return status;
  }
  *copy = made;
  return 0;
}

uint32_t pask_vector2_attach(pask_vector2* v, void* buffer, uint32_t size, uint32_t element_size, uint8_t owned,
                             uint8_t sorted) {
  const bool arguments = element_size != 0 && (buffer || size == 0);
  return framed(
      v, arguments, DATATYPES_ERR_BAD_HANDLE, [=] { return size % element_size == 0; },
      [=] { return attach(v, buffer, size, element_size, owned != 0, sorted != 0); });
}

uint32_t pask_vector2_detach(pask_vector2* v, void** buffer, uint32_t* capacity, uint32_t* element_size) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE, [=] {
    detach(v, buffer, capacity, element_size);
    return 0u;
  });
}

uint32_t pask_vector2_get_buffer(pask_vector2* v, void** buffer, uint32_t* size, uint32_t* element_size) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE, [=] {
    if (buffer) *buffer = v->buffer;
    if (size) *size = v->count * v->element_size;
    if (element_size) *element_size = v->element_size;
    return 0u;
  });
}

uint32_t pask_vector2_set_min_size(pask_vector2* v, uint32_t capacity) {
  if (!v) return 0;
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE, [=] { return _pask_vector2_growarray(v, capacity); });
}

uint32_t pask_vector2_trim(pask_vector2* v) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return _pask_vector2_growarray(v, v->count); });
}

uint32_t pask_vector2_clear(pask_vector2* v) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return _pask_vector2_clear(v); });
}

uint32_t pask_vector2_add(pask_vector2* v, const void* element, uint32_t size, uint32_t* index) {
  return framed(
      v, element != nullptr, DATATYPES_ERR_BAD_HANDLE, [=] { return size == v->element_size; },
      [=] {
        const bool searched_for = (v->flags & (PASK_VECTOR2_SORTED | PASK_VECTOR2_UNIQUE)) != 0;
        return searched_for ? add_in_place(v, element, index) : append(v, element, index);
      });
}

uint32_t pask_vector2_insert(pask_vector2* v, uint32_t index, const void* element, uint32_t size) {
  return framed(
      v, element != nullptr, DATATYPES_ERR_BAD_HANDLE, [=] { return size == v->element_size; },
      [=] { return _pask_vector2_insert(v, index, element, 1); });
}

uint32_t pask_vector2_getindex(pask_vector2* v, uint32_t index, void** element) {
  return framed(v, element != nullptr, DATATYPES_ERR_BAD_HANDLE_READ, [=]() -> uint32_t {
    if (index >= v->count) return DATATYPES_INFO_RANGE;
    *element = at(v, index);
    return 0;
  });
}

uint32_t pask_vector2_deleteindex(pask_vector2* v, uint32_t index) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return delete_range(v, index, index); });
}

uint32_t pask_vector2_deleterange(pask_vector2* v, uint32_t first, uint32_t last) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return delete_range(v, first, last); });
}

uint32_t pask_vector2_swapindex(pask_vector2* v, uint32_t a, uint32_t b) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return swap_elements(v, a, b); });
}

uint32_t pask_vector2_count(pask_vector2* v, uint32_t* count) {
  if (!v && count) {
    *count = 0;
    return 0;
  }
  return framed(v, count != nullptr, DATATYPES_ERR_BAD_HANDLE_READ, [=] {
    *count = v->count;
    return 0u;
  });
}

uint32_t pask_vector2_sort(pask_vector2* v, pask_vector2_compare_fn compare, uint8_t force) {
  return framed(v, true, DATATYPES_ERR_BAD_HANDLE_READ, [=] {
    sort_by(v, compare, force != 0);
    return 0u;
  });
}

uint32_t pask_vector2_foreach(pask_vector2* v, pask_vector2_foreach_fn callback, void* context) {
  return framed(v, callback != nullptr, DATATYPES_ERR_BAD_HANDLE_READ, [=] { return walk(v, callback, context); });
}

uint32_t pask_vector2_find(pask_vector2* v, const void* element, uint32_t* index) {
  return failed(pask_vector2_hintfind(v, NO_HINT, element, index));
}

uint32_t pask_vector2_hintfind(pask_vector2* v, uint32_t hint, const void* element, uint32_t* index) {
  return framed(v, element != nullptr, DATATYPES_ERR_BAD_HANDLE_READ, [=] {
    uint32_t position = 0;
    const uint32_t status = _pask_vector2_findvalue(v, hint, element, &position);
    if (status == 0 && index) *index = position;
    return status;
  });
}
