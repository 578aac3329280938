// A POSIX mutex inside the library's locks, with the marks that let clang check what it guards. Error numbers come back as POSIX
// gives them.
#pragma once

#include <pthread.h>

#include "pask_thread_safety.h"

struct PASK_CAPABILITY("mutex") pask_mutex {
  pthread_mutex_t posix;
};

PASK_NO_THREAD_SAFETY_ANALYSIS inline int mutex_lock(pask_mutex& mutex) PASK_ACQUIRE_ON_0(mutex) {
  return pthread_mutex_lock(&mutex.posix);
}
PASK_NO_THREAD_SAFETY_ANALYSIS inline int mutex_unlock(pask_mutex& mutex) PASK_RELEASE(mutex) {
  return pthread_mutex_unlock(&mutex.posix);
}
