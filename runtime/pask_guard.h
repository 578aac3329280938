// Ways to hold a lock: scope guards, for work that goes on whatever becomes of the lock, and for a critical section a frame that
// hands on the lock's failures.
#pragma once

#include "pask_spinlock.h"
#include "pask_thread.h"
#include "pask_thread_safety.h"

// Known to clang's checker as a lock, whatever is inside.
struct PASK_CAPABILITY("critical section") pask_critsec;

// A spinlock that is known so too; all zero it is ready.
struct PASK_CAPABILITY("spinlock") guarding_spinlock {
  pask_spinlock lock;
};

// Holds a spinlock to the end of the scope.
struct PASK_SCOPED_CAPABILITY spinlock_hold {
  explicit spinlock_hold(guarding_spinlock& held) PASK_ACQUIRE(held) : lock(&held.lock) { pask_spinlock_lock(lock); }
  ~spinlock_hold() PASK_RELEASE() { pask_spinlock_unlock(lock); }
  spinlock_hold(const spinlock_hold&) = delete;
  spinlock_hold& operator=(const spinlock_hold&) = delete;

  pask_spinlock* const lock;
};

// Holds a section to the end of the scope; a null section holds nothing.
struct PASK_SCOPED_CAPABILITY critsec_hold {
  explicit critsec_hold(pask_critsec_handle section) PASK_ACQUIRE(section) : critsec(section) {
    if (critsec) pask_thread_critsec_enter(critsec);
  }
  ~critsec_hold() PASK_RELEASE() {
    if (critsec) pask_thread_critsec_leave(critsec);
  }
  critsec_hold(const critsec_hold&) = delete;
  critsec_hold& operator=(const critsec_hold&) = delete;

  const pask_critsec_handle critsec;
};

// Does the work inside a section, where there is one. A failure to enter is the result, and nothing was done; a failure to
// leave replaces the work's result. What the work touches isn't marked: a section is there or not, and clang doesn't follow a lock
// into a lambda.
template <class Work>
uint32_t critsec_within(pask_critsec_handle critsec, Work work) {
  if (!critsec) return work();
  if (const uint32_t status = pask_thread_critsec_enter(critsec)) return status;
  const uint32_t status = work();
  const uint32_t left = pask_thread_critsec_leave(critsec);
  return left ? left : status;
}
