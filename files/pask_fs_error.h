// What a system error number becomes among the status words of pask_fs.h.
#pragma once

#include <errno.h>

#include "pask_fs.h"
#include "pask_status.h"

static_assert(PASK_FS_ERR_INVALID_ARG == status_error(PKG_FS, CODE_INVALID_ARG) &&
              PASK_FS_ERR_NO_MEMORY == status_error(PKG_FS, CODE_NO_MEMORY) &&
              PASK_FS_ERR_NOT_INITED == status_error(PKG_FS, CODE_NOT_INITED));

constexpr int FS_LAST_ERRNO = 89;

struct fs_error_table {
  uint32_t words[FS_LAST_ERRNO + 1];  // by error number
};

inline constexpr fs_error_table FS_ERRORS = [] {
  fs_error_table table{};
  for (uint32_t& word : table.words) word = PASK_FS_ERR_OTHER;
  table.words[EINVAL] = table.words[EDESTADDRREQ] = PASK_FS_ERR_INVALID_ARG;
  table.words[ENXIO] = PASK_FS_ERR_NO_DEVICE;
  table.words[EPERM] = table.words[EACCES] = PASK_FS_ERR_ACCESS;
  table.words[ENOENT] = PASK_FS_ERR_NOT_FOUND;
  table.words[EEXIST] = PASK_FS_ERR_EXISTS;
  table.words[ENOSPC] = PASK_FS_ERR_NO_SPACE;
  table.words[EMFILE] = PASK_FS_ERR_TOO_MANY_OPEN;
  table.words[EBADF] = PASK_FS_ERR_BAD_DESCRIPTOR;
  table.words[EISDIR] = PASK_FS_ERR_BAD_PATH;
  table.words[ENOTDIR] = PASK_FS_ERR_NOT_DIRECTORY;
  table.words[ENOTEMPTY] = PASK_FS_INFO_NOT_EMPTY;
  return table;
}();

// The status word of an error number. ENOTEMPTY gives an information word; all others fail, 0 among them.
inline uint32_t fs_map_error(int error) {
  return error > 0 && error <= FS_LAST_ERRNO ? FS_ERRORS.words[error] : PASK_FS_ERR_OTHER;
}

// The status of a system call that gives -1 when it fails.
inline uint32_t fs_system_status(int result) { return result == -1 ? fs_map_error(errno) : 0; }
