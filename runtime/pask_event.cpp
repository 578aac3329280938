// The event: a state under a mutex, with automatic or manual reset, and a wait that is timed by the wall clock.
#include "pask_mutex.h"
#include "pask_thread.h"
#include "pask_thread_error.h"
#include "pask_thread_wait.h"

struct pask_event {
  uint8_t signalled PASK_GUARDED_BY(mutex);  // beside its neighbour, so that one load serves a test of both
  uint8_t manual_reset;                      // stays signalled until it is reset, and a signal wakes all
  pask_mutex mutex;
  pthread_cond_t cond;
};

static int event_setup(pask_event* ev, uint8_t signalled, uint8_t manual_reset) {
  *ev = {.signalled = signalled, .manual_reset = manual_reset, .mutex = {}, .cond = {}};
  int error = pthread_mutex_init(&ev->mutex.posix, nullptr);
  if (error) return error;
  error = pthread_cond_init(&ev->cond, nullptr);
  if (error) pthread_mutex_destroy(&ev->mutex.posix);
  return error;
}

uint32_t pask_thread_event_create(pask_event** event, uint8_t signalled, uint8_t manual_reset) {
  if (!event) return THREAD_ERR_INVALID_ARG;
  auto* ev = static_cast<pask_event*>(pask_memory_alloc(sizeof(pask_event)));
  if (!ev) return THREAD_ERR_NO_MEMORY;
  if (const int error = event_setup(ev, signalled, manual_reset)) {
    pask_memory_free(ev);
    return _thread_map_error(error);
  }
  *event = ev;
  return 0;
}

uint32_t pask_thread_event_delete(pask_event* ev) {
  if (!ev) return 0;
  pthread_mutex_destroy(&ev->mutex.posix);
  pthread_cond_destroy(&ev->cond);
  pask_memory_free(ev);
  return 0;
}

PASK_NO_THREAD_SAFETY_ANALYSIS static void wait_cancelled(void* event) {
  mutex_unlock(static_cast<pask_event*>(event)->mutex);
}

// Waits until signalled. With manual reset any wake is a signal, though the event may have been
// reset since; with automatic reset a wake without the state was spurious or served another waiter.
static int wait_signalled(pask_event* ev, uint32_t timeout_ms) PASK_REQUIRES(ev->mutex) {
  const wait_place place = {&ev->cond, &ev->mutex.posix, wait_cancelled, ev};
  const wait_deadline deadline = wait_deadline_in(timeout_ms);
  int error = 0;
  do {
    error = wait_once(place, deadline, &ev->signalled);
  } while (!error && !ev->signalled && !ev->manual_reset);
  return ev->signalled ? 0 : error;
}

uint32_t pask_thread_event_wait(pask_event* ev, uint32_t timeout_ms) {
  if (!ev) return THREAD_ERR_INVALID_ARG;
  if (const int error = mutex_lock(ev->mutex)) return _thread_map_error(error);
  const int error = ev->signalled ? 0 : wait_signalled(ev, timeout_ms);
  if (!ev->manual_reset) ev->signalled = 0;
  mutex_unlock(ev->mutex);
  return thread_status(error);
}

uint32_t pask_thread_event_signal(pask_event* ev) {
  if (!ev) return THREAD_ERR_INVALID_ARG;
  if (const int error = mutex_lock(ev->mutex)) return _thread_map_error(error);
  ev->signalled = 1;
  const int error = ev->manual_reset ? pthread_cond_broadcast(&ev->cond) : pthread_cond_signal(&ev->cond);
  mutex_unlock(ev->mutex);
  return thread_status(error);
}

uint32_t pask_thread_event_reset(pask_event* ev) {
  if (!ev) return THREAD_ERR_INVALID_ARG;
  if (mutex_lock(ev->mutex)) return 0;
  ev->signalled = 0;
  mutex_unlock(ev->mutex);
  return 0;
}
