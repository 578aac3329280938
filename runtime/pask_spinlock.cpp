// The spinlock: a POSIX mutex in the caller's storage.
#include "pask_spinlock.h"

#include <pthread.h>

#include "pask_status.h"

static_assert(sizeof(pthread_mutex_t) <= sizeof(pask_spinlock));
static_assert(alignof(pthread_mutex_t) <= alignof(pask_spinlock));

static constexpr uint32_t ATOMIC_ERR_INVALID_ARG = status_error(PKG_ATOMIC, CODE_INVALID_ARG);

static pthread_mutex_t* mutex_of(pask_spinlock* lock) { return reinterpret_cast<pthread_mutex_t*>(lock); }

uint32_t pask_spinlock_init(pask_spinlock* lock) {
  if (!lock) return ATOMIC_ERR_INVALID_ARG;
  pthread_mutex_init(mutex_of(lock), nullptr);
  return 0;
}

uint32_t pask_spinlock_lock(pask_spinlock* lock) {
  if (!lock) return ATOMIC_ERR_INVALID_ARG;
  pthread_mutex_lock(mutex_of(lock));
  return 0;
}

uint32_t pask_spinlock_unlock(pask_spinlock* lock) {
  if (!lock) return ATOMIC_ERR_INVALID_ARG;
  pthread_mutex_unlock(mutex_of(lock));
  return 0;
}

uint32_t pask_spinlock_delete(pask_spinlock* lock) {
  if (!lock) return 0;
  pthread_mutex_destroy(mutex_of(lock));
  return 0;
}
