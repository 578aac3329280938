/* An in-place sort of fixed-size elements, and hexadecimal text as bytes. Both work without a start of the module, keep
 * their state on the stack and may be called from any thread that nobody disturbs the data of. */
#ifndef PASK_UTILS_H
#define PASK_UTILS_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

/** Tells the order of two elements: negative when `a` sorts before `b`. Only the test for negative is ever made. */
typedef int32_t (*pask_utils_compare_fn)(const void* a, const void* b, void* context);

/** Sorts `count` elements of `size_bytes` each in place. `context` goes to the compare function unchanged, which sees pointers
 *  into the array; elements may have any size and alignment.
 *  Quicksort around the middle element: no allocation, no recursion, some 8 KiB of stack, about n log n comparisons for
 *  sorted input and about n squared / 2 for elements that are all equal. Not stable.
 *  Returns 0, also for 0 or 1 elements, which aren't compared; 0x900f0001, without a report, for a null base, a size of 0 or
 *  a null compare function, whatever the count. */
VELOX_API pask_status pask_utils_qsort(void* base, uint32_t count, uint32_t size_bytes, pask_utils_compare_fn compare,
                                       void* context);

/** Reads pairs of hexadecimal digits of either case, one pair for each of the `out_size` bytes of `out`; further text is
 *  ignored. A pair that isn't two digits gives the low 8 bits of what pask_string_strtoul makes of it: 0 for "zz", 1 for " 1".
 *  `text_length` is in bytes; the text needs no terminator.
 *  Returns 0; 0x900f0001 for null text or out, a length of 0 or one below twice `out_size`, and then writes nothing. */
VELOX_API pask_status pask_utils_asc2bin(const char* text, uint32_t text_length, uint8_t* out, uint32_t out_size);

VELOX_END_DECLS

#endif
