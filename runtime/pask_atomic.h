/* Atomic 32-bit words and pointers, for reference counts and slot numbers: plain aligned words of the caller's, unsigned,
 * wrapping on overflow. They are hardware atomics, sequentially consistent: what a thread wrote before an operation is seen
 * by any thread whose later operation meets its result. All access to a shared word goes through these operations.
 *
 * Each returns 0, or 0x901f0001 with nothing touched for a null word, pointer or, in pask_atomic_cas, out byte; other
 * out-parameters may be null. Any thread, at any time, without a start. */
#ifndef PASK_ATOMIC_H
#define PASK_ATOMIC_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

VELOX_API pask_status pask_atomic_set(uint32_t* word, uint32_t value);
VELOX_API pask_status pask_atomic_add(uint32_t* word, uint32_t amount);
VELOX_API pask_status pask_atomic_read(const uint32_t* word, uint32_t* value);
/** Adds one; the out value is the new one. */
VELOX_API pask_status pask_atomic_inc(uint32_t* word, uint32_t* value);
/** Subtracts one; the out value is the new one, 0xffffffff after 0. */
VELOX_API pask_status pask_atomic_dec(uint32_t* word, uint32_t* value);
/** Stores `desired` if the word equals `expected`; `swapped` receives 1 if it did, else 0. */
VELOX_API pask_status pask_atomic_cas(uint32_t* word, uint32_t expected, uint32_t desired, uint8_t* swapped);

VELOX_API pask_status pask_atomicPtr_read(void* const* pointer, void** value);
/** Stores `desired`; the out value is the old pointer. */
VELOX_API pask_status pask_atomicPtr_exchange(void** pointer, void* desired, void** old);

VELOX_END_DECLS

#endif
