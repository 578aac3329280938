// The critical section: a recursive lock. While nobody contends, entering and leaving are one atomic instruction each, on `state`.
// Whoever must wait, or wake a waiter, goes through the mutex, which is held for a few instructions only, and the condition.
//
//   FREE    nobody holds the section
//   HELD    somebody does; all who sleep have been woken
//   WANTED  somebody does; somebody sleeps who hasn't been woken
//
//   FREE -> HELD      enter. It takes its chance, in no order among those who want the section
//   HELD -> FREE      leave
//   HELD -> WANTED    enter, under the mutex, before it sleeps
//   WANTED -> FREE    leave, under the mutex; then it wakes all
//
// No wake-up is lost: a thread makes the word WANTED and sleeps without giving the mutex back in between, and from WANTED
// only a leave under the mutex leads on. So where the word is FREE all have been woken; each looks again, under the mutex, and
// makes the word WANTED anew if it must sleep on.
//
// The section may go with the thread that leaves it last: WANTED implies waiters, whom delete refuses, so that nobody can delete it
// before a leave that must wake has given the mutex back.
#include "pask_assert.h"
#include "pask_guard.h"
#include "pask_lock_word.h"
#include "pask_mutex.h"
#include "pask_thread_error.h"
#include "pask_thread_wait.h"

enum critsec_state : uint32_t { FREE, HELD, WANTED };

struct pask_critsec {
  int32_t waiters PASK_GUARDED_BY(mutex);  // threads blocked in enter
  int32_t count;                           // depth of entry by the owner
  void* owner;                             // the thread inside, by its thread pointer; null while there is none
  uint32_t state;
  pthread_cond_t cond;
  pask_mutex mutex;
};

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

// A glance without the mutex.
PASK_NO_THREAD_SAFETY_ANALYSIS static bool in_use(const pask_critsec* cs) {
  if (word_get(cs->waiters) > 0) return true;
  return word_get(cs->state) != FREE && word_get(cs->owner) != __builtin_thread_pointer();
}

uint32_t pask_thread_critsec_delete(pask_critsec* cs) {
  if (!cs) return 0;
  if (in_use(cs)) return THREAD_ERR_BUSY;
  const int mutex_error = pthread_mutex_destroy(&cs->mutex.posix);
  const int cond_error = pthread_cond_destroy(&cs->cond);
  pask_memory_free(cs);
  return thread_status(mutex_error ? mutex_error : cond_error);
}

static void own(pask_critsec* cs, void* self) {
  word_set(cs->owner, self);
  word_set(cs->count, 1);
}

static void disown(pask_critsec* cs) {
  word_set(cs->owner, static_cast<void*>(nullptr));
  word_set(cs->count, 0);
}

// The status of an operation that ended with `error` under the mutex: a failure to unlock replaces it.
static uint32_t unlocked(pask_critsec* cs, int error) PASK_RELEASE(cs->mutex) {
  PASK_ASSERT(cs->waiters >= 0 && (cs->waiters > 0 || word_get(cs->state) != WANTED));
  const int unlock_error = mutex_unlock(cs->mutex);
  return thread_status(unlock_error ? unlock_error : error);
}

// A wait has ended without the section. The last of those that wanted it takes the wish back.
static void give_up(pask_critsec* cs) PASK_REQUIRES(cs->mutex) {
  uint32_t seen = WANTED;
  if (cs->waiters == 0) word_change(cs->state, seen, HELD, __ATOMIC_RELAXED);
}

// The thread was cancelled in its wait, from which it comes back with the mutex.
PASK_NO_THREAD_SAFETY_ANALYSIS static void enter_cancelled(void* section) {
  auto* cs = static_cast<pask_critsec*>(section);
  word_set(cs->waiters, cs->waiters - 1);
  give_up(cs);
  unlocked(cs, 0);
}

// Leaves the word WANTED when it has found the section free.
static int wait_until_free(pask_critsec* cs) PASK_REQUIRES(cs->mutex) {
  const wait_place place = {&cs->cond, &cs->mutex.posix, enter_cancelled, cs};
  int error = 0;
  while (!error && __atomic_exchange_n(&cs->state, uint32_t{WANTED}, __ATOMIC_ACQUIRE) != FREE) {
    word_set(cs->waiters, cs->waiters + 1);
    error = wait_unlimited(place);
    word_set(cs->waiters, cs->waiters - 1);
  }
  return error;
}

[[gnu::noinline]] static uint32_t enter_contended(pask_critsec* cs, void* self) {
  if (const int error = mutex_lock(cs->mutex)) return _thread_map_error(error);
  const int error = wait_until_free(cs);
  if (error) {
    give_up(cs);
  } else {
    word_set(cs->state, uint32_t{HELD});  // it was free, so that nobody sleeps unwoken
    own(cs, self);
  }
  return unlocked(cs, error);
}

uint32_t pask_thread_critsec_enter(pask_critsec* cs) {
  if (!cs) return THREAD_ERR_INVALID_ARG;
  void* const self = __builtin_thread_pointer();
  if (word_get(cs->owner) == self) {
    word_set(cs->count, cs->count + 1);
    return 0;
  }
  uint32_t seen = FREE;
  if (!word_acquire(cs->state, seen, HELD)) return enter_contended(cs, self);
  own(cs, self);
  return 0;
}

[[gnu::noinline]] static uint32_t leave_contended(pask_critsec* cs, void* self) {
  if (const int error = mutex_lock(cs->mutex)) {
    own(cs, self);
    return _thread_map_error(error);
  }
  __atomic_store_n(&cs->state, uint32_t{FREE}, __ATOMIC_RELEASE);
  const int error = cs->waiters > 0 ? pthread_cond_broadcast(&cs->cond) : 0;
  return unlocked(cs, error);
}

uint32_t pask_thread_critsec_leave(pask_critsec* cs) {
  if (!cs) return THREAD_ERR_INVALID_ARG;
  void* const self = __builtin_thread_pointer();
  if (word_get(cs->owner) != self) return 0;
  PASK_ASSERT(cs->count > 0);
  if (cs->count > 1) {
    word_set(cs->count, cs->count - 1);
    return 0;
  }
  disown(cs);
  uint32_t seen = HELD;
  return word_release(cs->state, seen, FREE) ? 0 : leave_contended(cs, self);
}
