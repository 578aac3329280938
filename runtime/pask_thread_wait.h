// Waits on a condition that a time limit ends, by the wall clock.
#pragma once

#include <pthread.h>
#include <time.h>

#include <cstdint>

static_assert(sizeof(time_t) == 8, "deadlines reach past 2038");

struct wait_deadline {
  timespec at;  // on CLOCK_REALTIME; unset without a limit
  bool limited;
};

// So many milliseconds from now; PASK_THREAD_NO_LIMIT never comes.
wait_deadline wait_deadline_in(uint32_t timeout_ms);

// Waits once for the condition; the caller has its mutex. Gives the error number of the wait. A timeout counts once the
// clock has really reached the deadline; until then it waits again, unless the flag, which the mutex guards, has been
// set.
int wait_once(pthread_cond_t* cond, pthread_mutex_t* mutex, const wait_deadline& deadline, const uint8_t* flag);
