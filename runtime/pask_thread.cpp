// Threads over POSIX threads.
#include "pask_thread.h"

#include <pthread.h>

#include "pask_modules.h"
#include "pask_thread_error.h"

static_assert(sizeof(pthread_t) == sizeof(pask_thread_id));

static constexpr uint32_t THREAD_ERR_NOT_INITED = status_error(PKG_THREAD, CODE_NOT_INITED);
static constexpr uint32_t THREAD_ERR_BAD_HANDLE = status_error(PKG_THREAD, 0x0321);

uint32_t pask_thread_get_id(pask_thread_handle thread, pask_thread_id* id) {
  if (!pask_thread_initchecks()) return THREAD_ERR_NOT_INITED;
  if (!id) return THREAD_ERR_INVALID_ARG;
  if (thread) return THREAD_ERR_BAD_HANDLE;
  *id = pthread_self();
  return 0;
}
