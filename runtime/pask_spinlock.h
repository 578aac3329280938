/* The small lock of every module's start and stop: in spite of its name a POSIX mutex with default attributes, which sleeps
 * and isn't recursive. All-zero static storage is a ready, unlocked lock. Works without any start. */
#ifndef PASK_SPINLOCK_H
#define PASK_SPINLOCK_H

#include "velox_types.h"

VELOX_BEGIN_DECLS

/** Room for a POSIX mutex. */
typedef union pask_spinlock {
  unsigned char room[sizeof(void*) == 8 ? 48 : 24];
  void* align;
} pask_spinlock;

/* Each returns 0, or 0x901f0001 for null; only pask_spinlock_delete takes null as success. Failures of the mutex itself
 * aren't reported. A lock must be unlocked on the thread that locked it, and taken by none that holds it. */

/** Makes a lock ready that doesn't lie in all-zero static storage. */
VELOX_API pask_status pask_spinlock_init(pask_spinlock* lock);
/** Blocks until the calling thread holds the lock. */
VELOX_API pask_status pask_spinlock_lock(pask_spinlock* lock);
VELOX_API pask_status pask_spinlock_unlock(pask_spinlock* lock);
/** Ends a lock that nobody holds. */
VELOX_API pask_status pask_spinlock_delete(pask_spinlock* lock);

VELOX_END_DECLS

#endif
