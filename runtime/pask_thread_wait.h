// Waits on a condition: cancellable, and with a time limit by the wall clock.
#pragma once

#include <pthread.h>
#include <time.h>

#include <cstdint>

static_assert(sizeof(time_t) == 8, "deadlines reach past 2038");

// What is shared by those who wait: a condition, its mutex, which the caller of a wait has, and what puts the object right when a
// thread is cancelled in its wait. That gets the object and has the mutex, which it must unlock: nobody else will.
struct wait_place {
  pthread_cond_t* cond;
  pthread_mutex_t* mutex;
  void (*cancelled)(void* object);
  void* object;
};

struct wait_deadline {
  timespec at;  // on CLOCK_REALTIME; unset without a limit
  bool limited;
};

// So many milliseconds from now; PASK_THREAD_NO_LIMIT never comes.
wait_deadline wait_deadline_in(uint32_t timeout_ms);

// Waits once, until a wake that may be spurious. Gives the error number of the wait.
int wait_unlimited(const wait_place& place);

// The same with a limit. A timeout counts once the clock has really reached the deadline; until then it waits again, unless the
// flag, which the mutex guards, has been set.
int wait_once(const wait_place& place, const wait_deadline& deadline, const uint8_t* flag);
