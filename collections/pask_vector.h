/* The vector: a growable array of words as wide as a pointer, as a rule pointers to objects that it owns through a callback.
 * A compare function can keep it in order, and a lock of its own can protect it.
 *
 * A vector is a heap object behind an opaque handle. Indices, counts and capacities are in elements. Unless told otherwise an
 * operation with a handle returns 0, or
 *   0x900d0001  a null handle or another required null argument
 *   0x900d0320, 0x900d0321  the handle is no vector: the former from delete, add, insert and set_min_size, else the latter
 *   0x900d0002  out of memory; the vector is as it was
 *   0x9002....  its lock failed (pask_thread.h); a failure to leave the lock replaces the result of the work
 *   0x100d0361  the index isn't below the count; an information word, no failure
 * Out-parameters are written on success only, and failures are reported to the log under "pask_vector".
 *
 * Threads: with PASK_VECTOR_THREADSAFE each operation is one critical section, and may come from any thread; without it a
 * vector belongs to one thread at a time. The section is recursive, so all callbacks may call back into the vector; they run
 * inside it, but for free_value in pask_vector_deleteindex. An operation whose callback changes the vector goes on with what is
 * there then: a search or an insertion may miss its place by the change, a sort leaves
 * elements that it hasn't reached and, when their number has changed, the vector unmarked. Only deleting the vector in a callback
 * is forbidden. */
#ifndef PASK_VECTOR_H
#define PASK_VECTOR_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

typedef struct pask_vector* pask_vector_handle;

#define PASK_VECTOR_THREADSAFE 0x1u
/** The elements are in order, and add and the searches rely on it. Set by pask_vector_sort; cleared when a sort names another
 *  compare function and when an insertion breaks the order. */
#define PASK_VECTOR_SORTED 0x10u

/** Negative, zero or positive as `a` sorts before, with or after `b`. Without one, words compare as unsigned numbers. */
typedef int32_t (*pask_vector_compare_fn)(uintptr_t a, uintptr_t b);
/** Releases what an element holds. Never called for a zero element. */
typedef void (*pask_vector_free_fn)(uintptr_t value);
/** Sees an element; 0 ends the walk. */
typedef uint8_t (*pask_vector_foreach_fn)(void* context, uintptr_t value);

/* ---- Life ---------------------------------------------------------------------------------------------------------- */

/** Makes an empty vector without an array; `compare` and `free_value` may be null. An empty vector may be made sorted.
 *  0x900d0007, unreported, when pask_datatypes isn't initialised. */
VELOX_API pask_status pask_vector_create(pask_vector_handle* vector, uint32_t flags, pask_vector_compare_fn compare,
                                         pask_vector_free_fn free_value);
/** Releases all elements and the vector; null is a success. When the lock fails the vector stays. */
VELOX_API pask_status pask_vector_delete(pask_vector_handle vector);
/** Makes a vector of the same elements, flags and compare function, with exactly the room that they need. The elements are
 *  shared: with a null `free_value` the copy owns nothing. */
VELOX_API pask_status pask_vector_copy(pask_vector_handle vector, pask_vector_free_fn free_value,
                                       pask_vector_handle* copy);
/** Moves the elements from `index` on into a new vector of the same flags and callbacks, with exactly the room that they need;
 *  the old one keeps room for `index` elements, or for 16 when that is 0. Should shrinking it fail with 0x900d0002, it stays
 *  truncated and the elements that it lost are released. */
VELOX_API pask_status pask_vector_split(pask_vector_handle vector, uint32_t index, pask_vector_handle* tail);

/* ---- Elements ------------------------------------------------------------------------------------------------------ */

/** Appends; in a sorted vector inserts behind all equal elements, where a value of 0 is 0x900d0001. */
VELOX_API pask_status pask_vector_add(pask_vector_handle vector, uintptr_t value);
/** Inserts before the element at `index`; past the end means at the end. */
VELOX_API pask_status pask_vector_insert(pask_vector_handle vector, uint32_t index, uintptr_t value);
/** Grows the array to at least so many elements; never shrinks it. */
VELOX_API pask_status pask_vector_set_min_size(pask_vector_handle vector, uint32_t capacity);
VELOX_API pask_status pask_vector_getindex(pask_vector_handle vector, uint32_t index, uintptr_t* value);
/** Takes an element out without releasing it; `value` may be null. */
VELOX_API pask_status pask_vector_removeindex(pask_vector_handle vector, uint32_t index, uintptr_t* value);
/** Takes an element out and releases it, the latter outside the lock. */
VELOX_API pask_status pask_vector_deleteindex(pask_vector_handle vector, uint32_t index);
/** Exchanges two elements. A sorted vector stays marked as such, even if this breaks its order. */
VELOX_API pask_status pask_vector_swapindex(pask_vector_handle vector, uint32_t a, uint32_t b);
/** Gives the number of elements: of a null handle 0, with success. */
VELOX_API pask_status pask_vector_count(pask_vector_handle vector, uint32_t* count);
/** Releases all elements and keeps the array. */
VELOX_API pask_status pask_vector_clear(pask_vector_handle vector);

/* ---- Order and search ---------------------------------------------------------------------------------------------- */

/** Takes `compare` as the vector's compare function and sorts with it, unless the vector is already marked as sorted by it and
 *  `force` is 0. Null forgets the stored function and sorts nothing. Not stable. */
VELOX_API pask_status pask_vector_sort(pask_vector_handle vector, pask_vector_compare_fn compare, uint8_t force);
/** Shows each element to the callback, in order, and reads count and array afresh for each. 0x100d01a0 when the callback ended
 *  the walk. */
VELOX_API pask_status pask_vector_foreach(pask_vector_handle vector, pask_vector_foreach_fn callback, void* context);
/** Finds the first element that equals the value: in a sorted vector by halving, where a value of 0 is 0x900d0001, else one by
 *  one, identity before comparison. `index` may be null. 0x100d0003 when there is none. */
VELOX_API pask_status pask_vector_find(pask_vector_handle vector, uintptr_t value, uint32_t* index);
/** Finds the identical value among those that equal it; otherwise as pask_vector_find. */
VELOX_API pask_status pask_vector_find_literal(pask_vector_handle vector, uintptr_t value, uint32_t* index);

/* ---- Working functions ---------------------------------------------------------------------------------------------
 * What the operations above do, for a caller that holds the lock: no test of the handle but for null, no lock. */

VELOX_API pask_status _pask_vector_create(pask_vector_handle* vector, uint32_t flags, pask_vector_compare_fn compare,
                                          pask_vector_free_fn free_value);
VELOX_API pask_status _pask_vector_delete(pask_vector_handle vector);
VELOX_API pask_status _pask_vector_clear(pask_vector_handle vector);
/** Inserts at `index`; with `check` the mark of a sorted vector is taken away when the value breaks the order. */
VELOX_API pask_status _pask_vector_insert(pask_vector_handle vector, uint32_t index, uintptr_t value, uint8_t check);
/** Reallocates the array to exactly `capacity` elements if that is more than it has. */
VELOX_API pask_status _pask_vector_growarray(pask_vector_handle vector, uint32_t capacity);
VELOX_API pask_status _pask_vector_freevalue(pask_vector_handle vector, uintptr_t value);
VELOX_API int32_t _pask_vector_comparevalues(pask_vector_handle vector, uintptr_t a, uintptr_t b);
/** Compares the elements behind two pointers; `vector` is the handle. For pask_utils_qsort. */
VELOX_API int32_t _pask_vector_qsort_compare(const void* a, const void* b, void* vector);
/** Gives the position of the first element above the value, or of the first not below it. 0 when an equal element was met, else
 *  0x100d0003, which writes the position too; 0x900d0001 for a value of 0. `position` may be null. */
VELOX_API pask_status _pask_vector_upper_bound(pask_vector_handle vector, uintptr_t value, uint32_t* position);
VELOX_API pask_status _pask_vector_lower_bound(pask_vector_handle vector, uintptr_t value, uint32_t* position);

VELOX_END_DECLS

#endif
