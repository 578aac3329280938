// POSIX error numbers as status words of the thread module.
#include "pask_thread_error.h"

#include <errno.h>

uint32_t _thread_map_error(int error) {
  switch (error) {
    case 0:
      return 0;
    case EPERM:
      return status_error(PKG_THREAD, 0x0284);
    case ESRCH:
      return status_error(PKG_THREAD, CODE_NOT_FOUND);
    case EINTR:
      return status_error(PKG_THREAD, 0x0283);
    case EAGAIN:
      return status_error(PKG_THREAD, 0x0282);
    case ENOMEM:
      return THREAD_ERR_NO_MEMORY;
    case EFAULT:
    case EINVAL:
    case EOPNOTSUPP:
      return THREAD_ERR_INVALID_ARG;
    case EBUSY:
      return THREAD_ERR_BUSY;
    case EDEADLK:
      return status_error(PKG_THREAD, 0x0281);
    case ETIMEDOUT:
      return status_info(PKG_THREAD, 0x0084);
    default:
      return status_error(PKG_THREAD, 0x003e);
  }
}
