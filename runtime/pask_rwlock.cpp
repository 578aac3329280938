// The read-write lock: counters under a mutex, one condition for readers and one for writers. Writers are preferred.
#include <errno.h>

#include "pask_assert.h"
#include "pask_mutex.h"
#include "pask_thread.h"
#include "pask_thread_error.h"

struct pask_rwlock {
  pask_mutex mutex;  // held for a few instructions
  pthread_cond_t read_cond;
  pthread_cond_t write_cond;
  uint32_t readers PASK_GUARDED_BY(mutex);  // read locks held
  uint32_t writer PASK_GUARDED_BY(mutex);   // 1 while the write lock is held
  uint32_t read_waiters PASK_GUARDED_BY(mutex);
  uint32_t write_waiters PASK_GUARDED_BY(mutex);
};

// Readers or one writer.
static bool rwlock_sound(const pask_rwlock* rw) PASK_REQUIRES(rw->mutex) {
  return rw->writer <= 1 && (rw->writer == 0 || rw->readers == 0);
}

// Makes the mutex and both conditions, or none of them.
static int rwlock_setup(pask_rwlock* rw) {
  *rw = {};
  int error = pthread_mutex_init(&rw->mutex.posix, nullptr);
  if (error) return error;
  error = pthread_cond_init(&rw->read_cond, nullptr);
  if (!error) {
    error = pthread_cond_init(&rw->write_cond, nullptr);
    if (!error) return 0;
    pthread_cond_destroy(&rw->read_cond);
  }
  pthread_mutex_destroy(&rw->mutex.posix);
  return error;
}

uint32_t pask_thread_rwlock_create(pask_rwlock** rwlock) {
  if (!rwlock) return THREAD_ERR_INVALID_ARG;
  auto* rw = static_cast<pask_rwlock*>(pask_memory_alloc(sizeof(pask_rwlock)));
  if (!rw) return THREAD_ERR_NO_MEMORY;
  if (const int error = rwlock_setup(rw)) {
    pask_memory_free(rw);
    return _thread_map_error(error);
  }
  *rwlock = rw;
  return 0;
}

uint32_t pask_thread_rwlock_delete(pask_rwlock* rw) {
  if (!rw) return 0;
  pthread_mutex_destroy(&rw->mutex.posix);
  pthread_cond_destroy(&rw->read_cond);
  pthread_cond_destroy(&rw->write_cond);
  pask_memory_free(rw);
  return 0;
}

uint32_t pask_thread_rwlock_readlock(pask_rwlock* rw) {
  if (!rw) return THREAD_ERR_INVALID_ARG;
  if (const int error = mutex_lock(rw->mutex)) return _thread_map_error(error);
  if (rw->writer || rw->write_waiters) {
    ++rw->read_waiters;
    while (rw->writer || rw->write_waiters) pthread_cond_wait(&rw->read_cond, &rw->mutex.posix);
    --rw->read_waiters;
  }
  ++rw->readers;
  PASK_ASSERT(rwlock_sound(rw));
  mutex_unlock(rw->mutex);
  return 0;
}

uint32_t pask_thread_rwlock_writelock(pask_rwlock* rw) {
  if (!rw) return THREAD_ERR_INVALID_ARG;
  if (const int error = mutex_lock(rw->mutex)) return _thread_map_error(error);
  if (rw->readers || rw->writer) {
    ++rw->write_waiters;
    while (rw->readers || rw->writer) pthread_cond_wait(&rw->write_cond, &rw->mutex.posix);
    --rw->write_waiters;
  }
  rw->writer = 1;
  PASK_ASSERT(rwlock_sound(rw));
  mutex_unlock(rw->mutex);
  return 0;
}

uint32_t pask_thread_rwlock_unlock(pask_rwlock* rw) {
  if (!rw) return THREAD_ERR_INVALID_ARG;
  if (const int error = mutex_lock(rw->mutex)) return _thread_map_error(error);
  uint32_t status = 0;
  if (rw->writer) {
    rw->writer = 0;
    if (rw->write_waiters)
      pthread_cond_signal(&rw->write_cond);
    else if (rw->read_waiters)
      pthread_cond_broadcast(&rw->read_cond);
  } else if (rw->readers) {
    --rw->readers;
    if (rw->write_waiters) pthread_cond_signal(&rw->write_cond);  // also with readers left: the writer tests again
  } else {
    status = _thread_map_error(EINVAL);
  }
  mutex_unlock(rw->mutex);
  return status;
}
