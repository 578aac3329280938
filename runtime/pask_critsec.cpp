// The critical section: a recursive lock whose mutex is held for a few instructions only, never while the section is held.
//
// Recursion lives in `count` and `owner`. All three words are written under the mutex; delete reads them without it, hence
// the relaxed atomics, which cost nothing.
#include "pask_assert.h"
#include "pask_guard.h"
#include "pask_mutex.h"
#include "pask_thread_error.h"

struct pask_critsec {
  int32_t waiters PASK_GUARDED_BY(mutex);  // threads blocked in enter
  int32_t count PASK_GUARDED_BY(mutex);    // depth of entry by the owner; 0 means free
  pthread_t owner PASK_GUARDED_BY(mutex);  // the last thread to enter; means something while count is above 0
  pthread_cond_t cond;
  pask_mutex mutex;
};

template <class Word>
static Word word_get(const Word& word) {
  return __atomic_load_n(&word, __ATOMIC_RELAXED);
}
template <class Word>
static void word_set(Word& word, Word value) {
  __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

// Also asked without the mutex, by delete.
PASK_NO_THREAD_SAFETY_ANALYSIS static bool held_by(const pask_critsec* cs, pthread_t thread) {
  return word_get(cs->count) > 0 && pthread_equal(word_get(cs->owner), thread);
}
PASK_NO_THREAD_SAFETY_ANALYSIS static bool held_by_other(const pask_critsec* cs, pthread_t thread) {
  return word_get(cs->count) > 0 && !pthread_equal(word_get(cs->owner), thread);
}

static int mutex_make(pthread_mutex_t* mutex) {
  pthread_mutexattr_t attributes;
  if (const int error = pthread_mutexattr_init(&attributes)) return error;
  const int error = pthread_mutex_init(mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return error;
}

static int cond_make(pthread_cond_t* cond) {
  pthread_condattr_t attributes;
  if (const int error = pthread_condattr_init(&attributes)) return error;
  const int error = pthread_cond_init(cond, &attributes);
  pthread_condattr_destroy(&attributes);
  return error;
}

static int critsec_setup(pask_critsec* cs) {
  *cs = {};
  if (const int error = mutex_make(&cs->mutex.posix)) return error;
  const int error = cond_make(&cs->cond);
  if (error) pthread_mutex_destroy(&cs->mutex.posix);
  return error;
}

uint32_t pask_thread_critsec_create(pask_critsec** critsec) {
  if (!critsec) return THREAD_ERR_INVALID_ARG;
  auto* cs = static_cast<pask_critsec*>(pask_memory_alloc(sizeof(pask_critsec)));
  if (!cs) return THREAD_ERR_NO_MEMORY;
  if (const int error = critsec_setup(cs)) {
    pask_memory_free(cs);
    return _thread_map_error(error);
  }
  *critsec = cs;
  return 0;
}

PASK_NO_THREAD_SAFETY_ANALYSIS static bool has_waiters(const pask_critsec* cs) { return word_get(cs->waiters) > 0; }

uint32_t pask_thread_critsec_delete(pask_critsec* cs) {
  if (!cs) return 0;
  if (has_waiters(cs) || held_by_other(cs, pthread_self())) return THREAD_ERR_BUSY;
  const int mutex_error = pthread_mutex_destroy(&cs->mutex.posix);
  const int cond_error = pthread_cond_destroy(&cs->cond);
  pask_memory_free(cs);
  return thread_status(mutex_error ? mutex_error : cond_error);
}

// Blocks on the condition while another thread holds the section.
[[gnu::noinline]] static int wait_for_other(pask_critsec* cs, pthread_t self) PASK_REQUIRES(cs->mutex) {
  int error = 0;
  while (!error && held_by_other(cs, self)) {
    word_set(cs->waiters, cs->waiters + 1);
    error = pthread_cond_wait(&cs->cond, &cs->mutex.posix);
    word_set(cs->waiters, cs->waiters - 1);
  }
  return error;
}

// The status of an operation that ended with `error` under the mutex: a failure to unlock replaces it.
static uint32_t unlocked(pask_critsec* cs, int error) PASK_RELEASE(cs->mutex) {
  PASK_ASSERT(cs->count >= 0 && cs->waiters >= 0);
  const int unlock_error = mutex_unlock(cs->mutex);
  return thread_status(unlock_error ? unlock_error : error);
}

uint32_t pask_thread_critsec_enter(pask_critsec* cs) {
  if (!cs) return THREAD_ERR_INVALID_ARG;
  if (const int error = mutex_lock(cs->mutex)) return _thread_map_error(error);
  const pthread_t self = pthread_self();
  const int error = held_by_other(cs, self) ? wait_for_other(cs, self) : 0;
  if (!error) {
    word_set(cs->count, cs->count + 1);
    word_set(cs->owner, self);
  }
  return unlocked(cs, error);
}

uint32_t pask_thread_critsec_leave(pask_critsec* cs) {
  if (!cs) return THREAD_ERR_INVALID_ARG;
  if (const int error = mutex_lock(cs->mutex)) return _thread_map_error(error);
  int error = 0;
  if (held_by(cs, pthread_self())) {
    word_set(cs->count, cs->count - 1);
    if (cs->count == 0 && cs->waiters > 0) error = pthread_cond_broadcast(&cs->cond);
  }
  return unlocked(cs, error);
}
