// The life of a thread's record: made, found, finished, freed.
#include "pask_thread_record.h"

#include <errno.h>

#include "pask_atomic.h"
#include "pask_thread_error.h"

int thread_current_set(pask_thread* thread) {
  const pthread_key_t key = thread_key();
  return key != 0 ? pthread_setspecific(key, thread) : EINVAL;
}

uint32_t thread_find_or_add(pask_thread* handle, pask_thread** thread) {
  PASK_TRY(thread_find(handle, thread));
  return *thread ? 0 : _thread_add_specific(thread);
}

pask_thread* thread_record_create() {
  auto* made = static_cast<pask_thread*>(pask_memory_alloc(sizeof(pask_thread)));
  if (!made) return nullptr;
  *made = {};
  made->magic = THREAD_MAGIC;
  made->refcount = 1;
  return made;
}

uint32_t _thread_add_specific(pask_thread** thread) {
  pask_thread* const made = thread_record_create();
  if (!made) return THREAD_ERR_NO_MEMORY;
  made->thread_id = pthread_self();
  int error = pthread_mutex_init(&made->state_lock.posix, nullptr);
  if (!error) error = thread_current_set(made);
  if (error) {
    _free_thread_t(made);
    return _thread_map_error(error);
  }
  *thread = made;
  return 0;
}

void thread_finish(pask_thread* thread) {
  if (mutex_lock(thread->state_lock) == 0) {
    thread->finished = 1;
    mutex_unlock(thread->state_lock);
  }
  if (mutex_lock(thread->done_lock) == 0) {
    thread->done = 1;
    pthread_cond_signal(&thread->done_cond);
    mutex_unlock(thread->done_lock);
  }
  _free_thread_t(thread);
}

// With the last reference nobody else is left to guard against.
PASK_NO_THREAD_SAFETY_ANALYSIS void _free_thread_t(pask_thread* thread) {
  uint32_t left = 0;
  pask_atomic_dec(&thread->refcount, &left);
  if (left != 0) return;
  thread_local_store_delete(thread->store);
  pask_memory_free(thread->name);
  pthread_mutex_destroy(&thread->state_lock.posix);
  if (thread->completion_ready) {
    pthread_mutex_destroy(&thread->done_lock.posix);
    pthread_cond_destroy(&thread->done_cond);
  }
  pask_memory_free(thread);
}

// Asked by the thread itself, which alone sets it.
PASK_NO_THREAD_SAFETY_ANALYSIS static bool left_early(const pask_thread* thread) {
  return thread->entry && !thread->finished;
}

void _free_thread_specific(void* value) {
  auto* thread = static_cast<pask_thread*>(value);
  if (left_early(thread)) thread_finish(thread);  // by pthread_exit, or cancelled
  _free_thread_t(thread);
}
