// Ways to hold a critical section: a scope guard, for work that goes on whatever becomes of the lock, and a frame that hands
// on the lock's failures.
#pragma once

#include "pask_thread.h"

// Holds a section to the end of the scope; a null section holds nothing.
struct critsec_hold {
  explicit critsec_hold(pask_critsec_handle section) : critsec(section) {
    if (critsec) pask_thread_critsec_enter(critsec);
  }
  ~critsec_hold() {
    if (critsec) pask_thread_critsec_leave(critsec);
  }
  critsec_hold(const critsec_hold&) = delete;
  critsec_hold& operator=(const critsec_hold&) = delete;

  const pask_critsec_handle critsec;
};

// Does the work inside a section, where there is one. A failure to enter is the result, and nothing was done; a failure to
// leave replaces the work's result.
template <class Work>
uint32_t critsec_within(pask_critsec_handle critsec, Work work) {
  if (!critsec) return work();
  if (const uint32_t status = pask_thread_critsec_enter(critsec)) return status;
  const uint32_t status = work();
  const uint32_t left = pask_thread_critsec_leave(critsec);
  return left ? left : status;
}
