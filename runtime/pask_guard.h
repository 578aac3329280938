// Scope guard of a critical section, for work that goes on whatever becomes of the lock.
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
