// The waits beneath locks, events, and the wait for a thread's end.
#include "pask_thread_wait.h"

#include <errno.h>

#include "pask_thread.h"

wait_deadline wait_deadline_in(uint32_t timeout_ms) {
  wait_deadline deadline = {{}, timeout_ms != PASK_THREAD_NO_LIMIT};
  if (!deadline.limited) return deadline;
  timespec& at = deadline.at;
  clock_gettime(CLOCK_REALTIME, &at);
  at.tv_sec += timeout_ms / 1000;
  at.tv_nsec += static_cast<long>(timeout_ms % 1000) * 1000000;
  if (at.tv_nsec > 999999999) {
    at.tv_nsec -= 1000000000;
    ++at.tv_sec;
  }
  return deadline;
}

static bool has_passed(const timespec& at) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec != at.tv_sec ? now.tv_sec > at.tv_sec : now.tv_nsec >= at.tv_nsec;
}

// The frame of both waits holds no variable that a cancellation could leave in doubt.
static int wait_on(const wait_place& place, const timespec* limit) {
  int error;
  pthread_cleanup_push(place.cancelled, place.object);
  error = limit ? pthread_cond_timedwait(place.cond, place.mutex, limit) : pthread_cond_wait(place.cond, place.mutex);
  pthread_cleanup_pop(0);
  return error;
}

int wait_unlimited(const wait_place& place) { return wait_on(place, nullptr); }

int wait_once(const wait_place& place, const wait_deadline& deadline, const uint8_t* flag) {
  if (!deadline.limited) return wait_unlimited(place);
  int error = 0;
  do {
    error = wait_on(place, &deadline.at);
  } while (error == ETIMEDOUT && !*flag && !has_passed(deadline.at));
  return error;
}
