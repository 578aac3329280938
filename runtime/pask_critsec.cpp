// The critical section: a recursive lock whose mutex is held for a few instructions only, never while the section is held.
//
// Recursion lives in `count` and `owner`. All three words are written under the mutex; delete reads them without it, hence
// the relaxed atomics, which cost nothing.
#include <pthread.h>

#include "pask_thread.h"
#include "pask_thread_error.h"

struct pask_critsec {
  int32_t waiters;  // threads blocked in enter
  int32_t count;    // depth of entry by the owner; 0 means free
  pthread_t owner;  // the last thread to enter; means something while count is above 0
  pthread_cond_t cond;
  pthread_mutex_t mutex;
};

template <class Word>
static Word word_get(const Word& word) {
  return __atomic_load_n(&word, __ATOMIC_RELAXED);
}
template <class Word>
static void word_set(Word& word, Word value) {
  __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

static bool held_by(const pask_critsec* cs, pthread_t thread) {
  return word_get(cs->count) > 0 && pthread_equal(word_get(cs->owner), thread);
}
static bool held_by_other(const pask_critsec* cs, pthread_t thread) {
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
  cs->waiters = 0;
  cs->count = 0;
  cs->owner = pthread_t{};
  if (const int error = mutex_make(&cs->mutex)) return error;
  const int error = cond_make(&cs->cond);
  if (error) pthread_mutex_destroy(&cs->mutex);
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

uint32_t pask_thread_critsec_delete(pask_critsec* cs) {
  if (!cs) return 0;
  if (word_get(cs->waiters) > 0 || held_by_other(cs, pthread_self())) return THREAD_ERR_BUSY;
  const int mutex_error = pthread_mutex_destroy(&cs->mutex);
  const int cond_error = pthread_cond_destroy(&cs->cond);
  pask_memory_free(cs);
  return thread_status(mutex_error ? mutex_error : cond_error);
}

// Blocks on the condition while another thread holds the section; the caller has the mutex.
[[gnu::noinline]] static int wait_for_other(pask_critsec* cs, pthread_t self) {
  int error = 0;
  while (!error && held_by_other(cs, self)) {
    word_set(cs->waiters, cs->waiters + 1);
    error = pthread_cond_wait(&cs->cond, &cs->mutex);
    word_set(cs->waiters, cs->waiters - 1);
  }
  return error;
}

// The status of an operation that ended with `error` under the mutex: a failure to unlock replaces it.
static uint32_t unlocked(pask_critsec* cs, int error) {
  const int unlock_error = pthread_mutex_unlock(&cs->mutex);
  return thread_status(unlock_error ? unlock_error : error);
}

uint32_t pask_thread_critsec_enter(pask_critsec* cs) {
  if (!cs) return THREAD_ERR_INVALID_ARG;
  if (const int error = pthread_mutex_lock(&cs->mutex)) return _thread_map_error(error);
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
  if (const int error = pthread_mutex_lock(&cs->mutex)) return _thread_map_error(error);
  int error = 0;
  if (held_by(cs, pthread_self())) {
    word_set(cs->count, cs->count - 1);
    if (cs->count == 0 && cs->waiters > 0) error = pthread_cond_broadcast(&cs->cond);
  }
  return unlocked(cs, error);
}
