// Threads over POSIX threads: start, end, priority, name.
//
// A new thread waits at its record's state_lock until its creator has filled the record; whoever waits for a thread's
// end holds its done_lock.
#include "pask_thread.h"

#include <sched.h>
#include <string.h>
#include <unistd.h>

#include "pask_atomic.h"
#include "pask_modules.h"
#include "pask_thread_error.h"
#include "pask_thread_record.h"
#include "pask_thread_wait.h"

static_assert(sizeof(pthread_t) == sizeof(pask_thread_id));

static constexpr uint32_t THREAD_ERR_NOT_INITED = status_error(PKG_THREAD, CODE_NOT_INITED);
static constexpr uint32_t THREAD_ERR_NOT_FOUND = status_error(PKG_THREAD, CODE_NOT_FOUND);
static constexpr int UNNAMED_ERROR = -1;  // what isn't told by an error number

// ---- Start and end ----

static void* _pask_thread_proc(void* record) {
  auto* thread = static_cast<pask_thread*>(record);
  if (mutex_lock(thread->state_lock) == 0) mutex_unlock(thread->state_lock);
  if (thread_current_set(thread) == 0) pask_atomic_inc(&thread->refcount, nullptr);
  thread->entry(thread->argument);
  thread_finish(thread);
  return nullptr;
}

static int locks_init(pask_thread* thread) {
  int error = pthread_mutex_init(&thread->state_lock.posix, nullptr);
  if (!error) error = pthread_mutex_init(&thread->done_lock.posix, nullptr);
  if (!error) error = pthread_cond_init(&thread->done_cond, nullptr);
  thread->completion_ready = !error;
  return error;
}

// Once the lock is left, a thread without a handle may have ended already and its record with it.
static int thread_begin(pask_thread* thread, const pthread_attr_t* attributes, pask_thread_handle* handle) {
  int error = mutex_lock(thread->state_lock);
  if (error) return error;
  error = pthread_create(&thread->thread_id, attributes, _pask_thread_proc, thread);
  if (!error && handle) {
    pask_atomic_inc(&thread->refcount, nullptr);
    *handle = thread;
  } else if (!error) {
    pthread_detach(thread->thread_id);
  }
  mutex_unlock(thread->state_lock);
  return error;
}

static int thread_start(pask_thread* thread, uint32_t stack_size, pask_thread_handle* handle) {
  if (const int error = locks_init(thread)) return error;
  pthread_attr_t attributes;
  if (const int error = pthread_attr_init(&attributes)) return error;
  int error = stack_size != 0 ? pthread_attr_setstacksize(&attributes, stack_size) : 0;
  if (!error) error = thread_begin(thread, &attributes, handle);
  pthread_attr_destroy(&attributes);
  return error;
}

uint32_t pask_thread_create(pask_thread_fn function, uint32_t stack_size, void* argument, pask_thread_handle* handle) {
  if (!pask_thread_initchecks()) return THREAD_ERR_NOT_INITED;
  if (!function) return THREAD_ERR_INVALID_ARG;
  pask_thread* const thread = thread_record_create();
  if (!thread) return THREAD_ERR_NO_MEMORY;
  thread->entry = function;
  thread->argument = argument;
  const int error = thread_start(thread, stack_size, handle);
  if (error) _free_thread_t(thread);
  return thread_status(error);
}

// The waiting thread was cancelled: the handle stays as it was.
PASK_NO_THREAD_SAFETY_ANALYSIS static void wait_cancelled(void* thread) {
  mutex_unlock(static_cast<pask_thread*>(thread)->done_lock);
}

static int done_await(pask_thread* thread, uint32_t timeout_ms) PASK_REQUIRES(thread->done_lock) {
  const wait_place place = {&thread->done_cond, &thread->done_lock.posix, wait_cancelled, thread};
  const wait_deadline deadline = wait_deadline_in(timeout_ms);
  int error = 0;
  while (!thread->done && !error) error = wait_once(place, deadline, &thread->done);
  return thread->done ? 0 : error;
}

static int thread_join(pask_thread* thread) PASK_REQUIRES(thread->done_lock) {
  int error;
  pthread_cleanup_push(wait_cancelled, thread);
  error = pthread_join(thread->thread_id, nullptr);
  pthread_cleanup_pop(0);
  return error;
}

uint32_t pask_thread_wait_and_cleanup(pask_thread_handle thread, uint32_t timeout_ms) {
  if (!pask_thread_initchecks()) return THREAD_ERR_NOT_INITED;
  if (!thread) return THREAD_ERR_INVALID_ARG;
  PASK_TRY(thread_check(thread));
  if (const int error = mutex_lock(thread->done_lock)) return _thread_map_error(error);
  int error = done_await(thread, timeout_ms);
  if (!error) error = thread_join(thread);
  mutex_unlock(thread->done_lock);
  if (!error) _free_thread_t(thread);
  return thread_status(error);
}

// ---- Properties ----

static int priority_set(pthread_t id, int32_t priority) {
  int policy = 0;
  sched_param parameters;
  if (const int error = pthread_getschedparam(id, &policy, &parameters)) return error;
  const int lowest = sched_get_priority_min(policy);
  const int highest = sched_get_priority_max(policy);
  if (lowest == -1 || highest == -1) return UNNAMED_ERROR;
  parameters.sched_priority = lowest + (highest - lowest) * (priority + 5) / 10;
  return pthread_setschedparam(id, policy, &parameters);
}

uint32_t pask_thread_set_priority(pask_thread_handle thread, int32_t priority) {
  if (!pask_thread_initchecks()) return THREAD_ERR_NOT_INITED;
  if (!thread || priority < -5 || priority > 5) return THREAD_ERR_INVALID_ARG;
  PASK_TRY(thread_check(thread));
  if (const int error = mutex_lock(thread->state_lock)) return _thread_map_error(error);
  const int error = thread->finished ? 0 : priority_set(thread->thread_id, priority);
  mutex_unlock(thread->state_lock);
  return thread_status(error);
}

uint32_t pask_thread_get_id(pask_thread_handle thread, pask_thread_id* id) {
  if (!pask_thread_initchecks()) return THREAD_ERR_NOT_INITED;
  if (!id) return THREAD_ERR_INVALID_ARG;
  if (thread) PASK_TRY(thread_check(thread));
  *id = thread ? thread->thread_id : pthread_self();
  return 0;
}

static uint32_t name_replace(pask_thread* thread, const char* name) PASK_REQUIRES(thread->state_lock) {
  const auto size = static_cast<uint32_t>(strlen(name) + 1);
  pask_memory_free(thread->name);
  thread->name = static_cast<char*>(pask_memory_alloc(size));
  if (!thread->name) return THREAD_ERR_NO_MEMORY;
  memcpy(thread->name, name, size);
  return 0;
}

uint32_t pask_thread_set_name(pask_thread_handle handle, const char* name) {
  if (!pask_thread_initchecks()) return THREAD_ERR_NOT_INITED;
  if (!name) return THREAD_ERR_INVALID_ARG;
  pask_thread* thread = nullptr;
  PASK_TRY(thread_find_or_add(handle, &thread));
  if (const int error = mutex_lock(thread->state_lock)) return _thread_map_error(error);
  const uint32_t status = name_replace(thread, name);
  mutex_unlock(thread->state_lock);
  return status;
}

static void name_copy(const char* name, char* buffer, uint32_t size) {
  const size_t whole = strlen(name) + 1;
  memcpy(buffer, name, whole < size ? whole : size);
}

uint32_t pask_thread_get_name(pask_thread_handle handle, char* buffer, uint32_t size) {
  if (!pask_thread_initchecks()) return THREAD_ERR_NOT_INITED;
  if (!buffer || size == 0) return THREAD_ERR_INVALID_ARG;
  pask_thread* thread = nullptr;
  PASK_TRY(thread_find(handle, &thread));
  if (!thread) return THREAD_ERR_NOT_FOUND;
  if (const int error = mutex_lock(thread->state_lock)) return _thread_map_error(error);
  name_copy(thread->name ? thread->name : "", buffer, size);
  mutex_unlock(thread->state_lock);
  return 0;
}

// ---- The machine ----

uint32_t pask_thread_core_count(uint32_t* count) {
  if (!count) return THREAD_ERR_INVALID_ARG;
  *count = static_cast<uint32_t>(sysconf(_SC_NPROCESSORS_ONLN));
  return 0;
}

uint32_t pask_thread_sleep(uint32_t milliseconds) {
  if (!pask_thread_initchecks()) return THREAD_ERR_NOT_INITED;
  return thread_status(usleep(milliseconds * 1000));
}
