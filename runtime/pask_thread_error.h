// What the thread module's operations make of a POSIX error number.
#pragma once

#include "pask_status.h"

constexpr uint32_t THREAD_ERR_INVALID_ARG = status_error(PKG_THREAD, CODE_INVALID_ARG);
constexpr uint32_t THREAD_ERR_NO_MEMORY = status_error(PKG_THREAD, CODE_NO_MEMORY);
constexpr uint32_t THREAD_ERR_BUSY = status_error(PKG_THREAD, 0x0006);

// Maps a POSIX error number to a status word of the thread module. ETIMEDOUT gives an information word.
uint32_t _thread_map_error(int error);

// The same with success, the common case, decided in place.
inline uint32_t thread_status(int error) {
  if (error == 0) [[likely]]
    return 0;
  return _thread_map_error(error);
}
