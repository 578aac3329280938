/* The vector of records: a growable array of elements of one fixed size, held by value without gaps. The array can also be a
 * block that the caller attaches. Order, search and locking are those of the vector (pask_vector.h).
 *
 * A vector2 is a heap object behind an opaque handle. Indices, counts and capacities are in elements, sizes in bytes. Unless
 * told otherwise an operation with a handle returns 0, or
 *   0x900d0001  a null handle or another required null argument
 *   0x900d0320, 0x900d0321  the handle is no vector2: the former from delete, add, insert, attach, detach, get_buffer and
 *               set_min_size, else the latter
 *   0x900d0209  a size that doesn't fit the element size; told before the lock is taken
 *   0x900d0002  out of memory, or a capacity of 4 GiB and more; the elements are as they were
 *   0x9002....  its lock failed (pask_thread.h); a failure to leave the lock replaces the result of the work
 *   0x100d0361  the index isn't below the count; an information word, no failure
 * Out-parameters are written on success only, and failures are reported to the log under "pask_vector2".
 *
 * An element that is handed in is copied, and may not lie in the vector's own array. Pointers to elements that the vector
 * hands out, also to callbacks, point into the array: they end with the next change of the vector, in a callback too.
 *
 * Threads: with PASK_VECTOR2_THREADSAFE each operation is one critical section, and may come from any thread; without it a
 * vector2 belongs to one thread at a time. The section is recursive and all callbacks run inside it: they may call back into
 * the vector. An operation whose callback changes it goes on with what is there then: a search or an insertion may miss its place
 * by the change, a sort leaves elements that it hasn't reached and, when their number has changed, the vector unmarked. Only
 * deleting the vector in a callback is forbidden. The section protects no pointer that an operation has handed out. */
#ifndef PASK_VECTOR2_H
#define PASK_VECTOR2_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

typedef struct pask_vector2* pask_vector2_handle;

#define PASK_VECTOR2_THREADSAFE 0x1u
/** The elements are in order, and add and the searches rely on it. Set by pask_vector2_sort and pask_vector2_attach; cleared
 *  by the latter, when a sort names another compare function and when an insertion breaks the order. */
#define PASK_VECTOR2_SORTED 0x10u
/** pask_vector2_add replaces an element that equals the new one. */
#define PASK_VECTOR2_UNIQUE 0x20u

/** Negative, zero or positive as element `a` sorts before, with or after `b`. Without one, the bytes of elements compare. */
typedef int32_t (*pask_vector2_compare_fn)(const void* a, const void* b);
/** Releases what an element holds; its bytes are the vector's. Elements of zero bytes are no exception. */
typedef void (*pask_vector2_free_fn)(void* element);
/** Sees an element; 0 ends the walk. */
typedef uint8_t (*pask_vector2_foreach_fn)(void* context, void* element);

/* ---- Life ---------------------------------------------------------------------------------------------------------- */

/** Makes an empty vector without an array; `compare` and `free_value` may be null. An empty vector may be made sorted.
 *  0x900d0007, unreported, when pask_datatypes isn't initialised. */
VELOX_API pask_status pask_vector2_create(pask_vector2_handle* vector, uint32_t element_size, uint32_t flags,
                                          pask_vector2_compare_fn compare, pask_vector2_free_fn free_value);
/** Clears the vector and ends it; null is a success. When the lock fails the vector stays. */
VELOX_API pask_status pask_vector2_delete(pask_vector2_handle vector);
/** Makes a vector of the same element size, flags, compare function and bytes of elements, in an array of its own with exactly
 *  the room that they need. What the elements hold is shared: with a null `free_value` the copy owns nothing. */
VELOX_API pask_status pask_vector2_copy(pask_vector2_handle vector, pask_vector2_free_fn free_value,
                                        pask_vector2_handle* copy);

/* ---- The array ----------------------------------------------------------------------------------------------------- */

/** Clears the vector and takes a block of whole elements as its array, full and unread, `sorted` or not. With `owned` the
 *  vector frees it with pask_memory_free. Otherwise it stays the caller's, changed in place until the vector first resizes
 *  its array, which moves the elements to a block of its own; clear and delete release the elements, not the block.
 *  0x900d0001 for an element size of 0, a null buffer with a size, or a block in the array that the vector owns. */
VELOX_API pask_status pask_vector2_attach(pask_vector2_handle vector, void* buffer, uint32_t size,
                                          uint32_t element_size, uint8_t owned, uint8_t sorted);
/** Gives array, capacity and element size, each unless its parameter is null, and empties the vector. An array that the vector
 *  owned passes with its elements, none of them released, to the caller, who frees it with pask_memory_free; ask for the count
 *  before. A block of the caller's, and an array that isn't taken because `buffer` is null, are left as by clear. */
VELOX_API pask_status pask_vector2_detach(pask_vector2_handle vector, void** buffer, uint32_t* capacity,
                                          uint32_t* element_size);
/** Gives array, bytes of all elements and element size, each unless its parameter is null. The array stays the vector's; it is
 *  null in an empty vector that has none. */
VELOX_API pask_status pask_vector2_get_buffer(pask_vector2_handle vector, void** buffer, uint32_t* size,
                                              uint32_t* element_size);
/** Resizes the array, also downward, to exactly so many elements, unless that is less than it holds. Null is a success. */
VELOX_API pask_status pask_vector2_set_min_size(pask_vector2_handle vector, uint32_t capacity);
/** Resizes the array to exactly the elements that it holds; that of an empty vector is freed. */
VELOX_API pask_status pask_vector2_trim(pask_vector2_handle vector);
/** Releases all elements from the first on and gives the array up: the vector is without one, as when new. */
VELOX_API pask_status pask_vector2_clear(pask_vector2_handle vector);

/* ---- Elements ------------------------------------------------------------------------------------------------------ */

/** Appends; in a sorted vector inserts behind all equal elements. With PASK_VECTOR2_UNIQUE an equal element is released and
 *  overwritten instead, and in an unsorted vector a new one goes to the front. `size` must be the element size; `index` may be
 *  null, else it receives the element's place. */
VELOX_API pask_status pask_vector2_add(pask_vector2_handle vector, const void* element, uint32_t size, uint32_t* index);
/** Inserts before the element at `index`, equal ones or not; past the end means at the end. */
VELOX_API pask_status pask_vector2_insert(pask_vector2_handle vector, uint32_t index, const void* element,
                                          uint32_t size);
/** Gives a pointer to an element in the array. */
VELOX_API pask_status pask_vector2_getindex(pask_vector2_handle vector, uint32_t index, void** element);
/** Releases an element and closes the gap. The array keeps its capacity. */
VELOX_API pask_status pask_vector2_deleteindex(pask_vector2_handle vector, uint32_t index);
/** The same from `first` to `last`, inclusive: past the end means to the end, `last` before `first` nothing. */
VELOX_API pask_status pask_vector2_deleterange(pask_vector2_handle vector, uint32_t first, uint32_t last);
/** Exchanges two elements through the room behind the last; a full array first grows by one element. A sorted vector stays
 *  marked as such, even if this breaks its order. */
VELOX_API pask_status pask_vector2_swapindex(pask_vector2_handle vector, uint32_t a, uint32_t b);
/** Gives the number of elements: of a null handle 0, with success. */
VELOX_API pask_status pask_vector2_count(pask_vector2_handle vector, uint32_t* count);

/* ---- Order and search ---------------------------------------------------------------------------------------------- */

/** Takes `compare`, or with null the order of bytes, as the vector's order and sorts by it, unless the vector is already marked
 *  as sorted by it and `force` is 0. Not stable. */
VELOX_API pask_status pask_vector2_sort(pask_vector2_handle vector, pask_vector2_compare_fn compare, uint8_t force);
/** Shows each element to the callback, in order, and reads count and array afresh for each. 0x100d01a0 when the callback ended
 *  the walk. */
VELOX_API pask_status pask_vector2_foreach(pask_vector2_handle vector, pask_vector2_foreach_fn callback, void* context);
/** Finds the first element that equals the given one: in a sorted vector by halving, else one by one. `index` may be null.
 *  0x100d0003 when there is none. */
VELOX_API pask_status pask_vector2_find(pask_vector2_handle vector, const void* element, uint32_t* index);
/** The same from a likely place: a sorted vector is searched in growing steps away from it, an unsorted one from there to the
 *  end and then from the start. A hint past the end is none. */
VELOX_API pask_status pask_vector2_hintfind(pask_vector2_handle vector, uint32_t hint, const void* element,
                                            uint32_t* index);

/* ---- Working functions ---------------------------------------------------------------------------------------------
 * What the operations above do, for a caller that holds the lock: no test of the handle but for null, no lock. */

VELOX_API pask_status _pask_vector2_create(pask_vector2_handle* vector, uint32_t element_size, uint32_t flags,
                                           pask_vector2_compare_fn compare, pask_vector2_free_fn free_value);
VELOX_API pask_status _pask_vector2_delete(pask_vector2_handle vector);
/** Always 0. */
VELOX_API pask_status _pask_vector2_clear(pask_vector2_handle vector);
/** Inserts at `index`; with `check` the mark of a sorted vector is taken away when the element breaks the order. */
VELOX_API pask_status _pask_vector2_insert(pask_vector2_handle vector, uint32_t index, const void* element,
                                           uint8_t check);
/** Resizes the array to exactly `capacity` elements, unless that is less than it holds; to none, it is freed. */
VELOX_API pask_status _pask_vector2_growarray(pask_vector2_handle vector, uint32_t capacity);
/** Releases what an element holds, if there is a callback for it; 0x900d0001 for a null vector or element. */
VELOX_API pask_status _pask_vector2_freevalue(pask_vector2_handle vector, void* element);
VELOX_API int32_t _pask_vector2_comparevalues(pask_vector2_handle vector, const void* a, const void* b);
/** Compares two elements; `vector` is the handle. For pask_utils_qsort. */
VELOX_API int32_t _pask_vector2_qsort_compare(const void* a, const void* b, void* vector);
/** Searches from a hint as pask_vector2_hintfind. 0 with the place of an equal element, in a sorted vector the first; else
 *  0x100d0003, with the place of the first element above it or, in an unsorted vector, where the search began. */
VELOX_API pask_status _pask_vector2_findvalue(pask_vector2_handle vector, uint32_t hint, const void* element,
                                              uint32_t* position);

VELOX_END_DECLS

#endif
