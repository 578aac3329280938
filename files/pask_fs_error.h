// The status words of files and directories, and what a system error number becomes among them.
#pragma once

#include <errno.h>

#include "pask_status.h"

constexpr uint32_t FS_ERR_INVALID_ARG = status_error(PKG_FS, CODE_INVALID_ARG);
constexpr uint32_t FS_ERR_NO_MEMORY = status_error(PKG_FS, CODE_NO_MEMORY);
constexpr uint32_t FS_ERR_NOT_INITED = status_error(PKG_FS, CODE_NOT_INITED);
constexpr uint32_t FS_ERR_NO_DEVICE = status_error(PKG_FS, 0x000b);
constexpr uint32_t FS_ERR_OTHER = status_error(PKG_FS, 0x003e);
constexpr uint32_t FS_ERR_ACCESS = status_error(PKG_FS, 0x0040);
constexpr uint32_t FS_ERR_NOT_FOUND = status_error(PKG_FS, 0x0041);
constexpr uint32_t FS_ERR_EXISTS = status_error(PKG_FS, 0x0042);
constexpr uint32_t FS_ERR_NO_SPACE = status_error(PKG_FS, 0x0043);
constexpr uint32_t FS_ERR_TOO_MANY_OPEN = status_error(PKG_FS, 0x0044);
constexpr uint32_t FS_ERR_BAD_DESCRIPTOR = status_error(PKG_FS, 0x0045);
constexpr uint32_t FS_ERR_BAD_PATH = status_error(PKG_FS, 0x0046);  // also: is a directory
constexpr uint32_t FS_ERR_NOT_DIRECTORY = status_error(PKG_FS, 0x0047);
constexpr uint32_t FS_ERR_TOO_LARGE = status_error(PKG_FS, 0x0048);  // for a buffer
constexpr uint32_t FS_ERR_END_OF_FILE = status_error(PKG_FS, 0x0049);
constexpr uint32_t FS_INFO_NOT_EMPTY = status_info(PKG_FS, 0x0050);
constexpr uint32_t FS_ERR_SEEK = status_error(PKG_FS, 0x0051);             // beyond the end
constexpr uint32_t FS_ERR_APPEND_POSITION = status_error(PKG_FS, 0x0053);  // in front of the position

constexpr int FS_LAST_ERRNO = 89;

struct fs_error_table {
  uint32_t words[FS_LAST_ERRNO + 1];  // by error number
};

inline constexpr fs_error_table FS_ERRORS = [] {
  fs_error_table table{};
  for (uint32_t& word : table.words) word = FS_ERR_OTHER;
  table.words[EINVAL] = table.words[EDESTADDRREQ] = FS_ERR_INVALID_ARG;
  table.words[ENXIO] = FS_ERR_NO_DEVICE;
  table.words[EPERM] = table.words[EACCES] = FS_ERR_ACCESS;
  table.words[ENOENT] = FS_ERR_NOT_FOUND;
  table.words[EEXIST] = FS_ERR_EXISTS;
  table.words[ENOSPC] = FS_ERR_NO_SPACE;
  table.words[EMFILE] = FS_ERR_TOO_MANY_OPEN;
  table.words[EBADF] = FS_ERR_BAD_DESCRIPTOR;
  table.words[EISDIR] = FS_ERR_BAD_PATH;
  table.words[ENOTDIR] = FS_ERR_NOT_DIRECTORY;
  table.words[ENOTEMPTY] = FS_INFO_NOT_EMPTY;
  return table;
}();

// The status word of an error number. ENOTEMPTY gives an information word; all others fail, 0 among them.
inline uint32_t fs_map_error(int error) {
  return error > 0 && error <= FS_LAST_ERRNO ? FS_ERRORS.words[error] : FS_ERR_OTHER;
}

// The status of a system call that gives -1 when it fails.
inline uint32_t fs_system_status(int result) { return result == -1 ? fs_map_error(errno) : 0; }
