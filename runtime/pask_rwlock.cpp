// The read-write lock: readers together or one writer, and writers first. Who holds it stands in one word; while nobody waits, each
// operation is one atomic instruction on it.
//
// A bit of the word, QUEUED, closes it to everyone who hasn't the mutex. Whoever finds it set, or can't have the lock, takes the mutex
// and sets it: from there on the word is as good as a counter under the mutex, and what is decided is decided as with one mutex
// around everything. When the mutex is given back QUEUED stays set while a thread waits that no wake-up is on its way to: a
// writer, who keeps new readers out even when it has been woken, or a reader behind a writer.
//
// So no wake-up is lost: the unlock that a sleeper waits for meets QUEUED, goes through the mutex, and wakes it. And nobody overtakes
// a waiting writer but another writer, as the one that an unlock wakes tests again.
#include <errno.h>

#include "pask_assert.h"
#include "pask_lock_word.h"
#include "pask_mutex.h"
#include "pask_thread.h"
#include "pask_thread_error.h"
#include "pask_thread_wait.h"

static constexpr uint32_t WRITER = 1u << 31;     // the write lock is held
static constexpr uint32_t QUEUED = 1u << 30;     // the word is the mutex holder's
static constexpr uint32_t READERS = QUEUED - 1;  // how many read locks are held
static constexpr uint32_t HOLDERS = WRITER | READERS;

struct pask_rwlock {
  pask_mutex mutex;  // held for a few instructions
  pthread_cond_t read_cond;
  pthread_cond_t write_cond;
  uint32_t state;
  uint32_t read_waiters PASK_GUARDED_BY(mutex);
  uint32_t write_waiters PASK_GUARDED_BY(mutex);
};

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

// ---- Under the mutex ----

// Closes the word to all others. Gives who holds the lock.
static uint32_t state_close(pask_rwlock* rw) PASK_REQUIRES(rw->mutex) {
  return __atomic_fetch_or(&rw->state, QUEUED, __ATOMIC_ACQUIRE) & HOLDERS;
}

// Sets who holds the lock, and opens the word unless somebody waits who must be asked for or woken.
static void state_open(pask_rwlock* rw, uint32_t held) PASK_REQUIRES(rw->mutex) {
  PASK_ASSERT(!(held & WRITER) || held == WRITER);
  const bool queued = rw->write_waiters || ((held & WRITER) && rw->read_waiters);
  __atomic_store_n(&rw->state, queued ? held | QUEUED : held, __ATOMIC_RELEASE);
}

// Wakes those whose turn it is, once the write lock has become free or a waiting writer has gone away.
static void wake_next(pask_rwlock* rw) PASK_REQUIRES(rw->mutex) {
  if (rw->write_waiters)
    pthread_cond_signal(&rw->write_cond);
  else if (rw->read_waiters)
    pthread_cond_broadcast(&rw->read_cond);
}

// A thread was cancelled in its wait, from which it comes back with the mutex: it may have been woken in another's place, or have kept
// readers waiting.
static void waiter_gone(pask_rwlock* rw) PASK_RELEASE(rw->mutex) {
  const uint32_t held = state_close(rw);
  if (!(held & WRITER)) wake_next(rw);
  state_open(rw, held);
  mutex_unlock(rw->mutex);
}

PASK_NO_THREAD_SAFETY_ANALYSIS static void reader_cancelled(void* lock) {
  auto* rw = static_cast<pask_rwlock*>(lock);
  --rw->read_waiters;
  waiter_gone(rw);
}

PASK_NO_THREAD_SAFETY_ANALYSIS static void writer_cancelled(void* lock) {
  auto* rw = static_cast<pask_rwlock*>(lock);
  --rw->write_waiters;
  waiter_gone(rw);
}

// Gives who holds the lock besides, once a read lock may be taken.
static uint32_t read_wait(pask_rwlock* rw) PASK_REQUIRES(rw->mutex) {
  const wait_place place = {&rw->read_cond, &rw->mutex.posix, reader_cancelled, rw};
  uint32_t held = state_close(rw);
  while ((held & WRITER) || rw->write_waiters) {
    ++rw->read_waiters;
    wait_unlimited(place);
    --rw->read_waiters;
    held = state_close(rw);
  }
  return held;
}

static void write_wait(pask_rwlock* rw) PASK_REQUIRES(rw->mutex) {
  const wait_place place = {&rw->write_cond, &rw->mutex.posix, writer_cancelled, rw};
  while (state_close(rw) != 0) {
    ++rw->write_waiters;
    wait_unlimited(place);
    --rw->write_waiters;
  }
}

// ---- Operations ----

[[gnu::noinline]] static uint32_t readlock_queued(pask_rwlock* rw) {
  if (const int error = mutex_lock(rw->mutex)) return _thread_map_error(error);
  state_open(rw, read_wait(rw) + 1);
  mutex_unlock(rw->mutex);
  return 0;
}

uint32_t pask_thread_rwlock_readlock(pask_rwlock* rw) {
  if (!rw) return THREAD_ERR_INVALID_ARG;
  uint32_t seen = word_get(rw->state);
  while (!(seen & (WRITER | QUEUED)))
    if (word_acquire(rw->state, seen, seen + 1)) return 0;
  return readlock_queued(rw);
}

[[gnu::noinline]] static uint32_t writelock_queued(pask_rwlock* rw) {
  if (const int error = mutex_lock(rw->mutex)) return _thread_map_error(error);
  write_wait(rw);
  state_open(rw, WRITER);
  mutex_unlock(rw->mutex);
  return 0;
}

uint32_t pask_thread_rwlock_writelock(pask_rwlock* rw) {
  if (!rw) return THREAD_ERR_INVALID_ARG;
  uint32_t seen = 0;
  return word_acquire(rw->state, seen, WRITER) ? 0 : writelock_queued(rw);
}

// What is held after an unlock.
static uint32_t one_less(uint32_t held) { return held & WRITER ? 0 : held - 1; }

[[gnu::noinline]] static uint32_t unlock_queued(pask_rwlock* rw) {
  if (const int error = mutex_lock(rw->mutex)) return _thread_map_error(error);
  uint32_t held = state_close(rw);
  const uint32_t status = held ? 0 : _thread_map_error(EINVAL);
  if (held) {
    // Also with readers left a writer is woken, and tests again.
    if ((held & WRITER) || rw->write_waiters) wake_next(rw);
    held = one_less(held);
  }
  state_open(rw, held);
  mutex_unlock(rw->mutex);
  return status;
}

uint32_t pask_thread_rwlock_unlock(pask_rwlock* rw) {
  if (!rw) return THREAD_ERR_INVALID_ARG;
  uint32_t seen = word_get(rw->state);
  while (!(seen & QUEUED)) {
    if (seen == 0) return _thread_map_error(EINVAL);
    if (word_release(rw->state, seen, one_less(seen))) return 0;
  }
  return unlock_queued(rw);
}
