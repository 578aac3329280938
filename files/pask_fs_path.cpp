// Operations on files by path: those that the system answers by name, and whole files read, written and copied through
// open files.
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "pask_fs_pool.h"
#include "pask_string.h"

namespace {

constexpr uint32_t BLOCK = 4096;

// A file that is closed at the end of the scope, or before.
struct open_file {
  pask_fs_file* file = nullptr;

  open_file() = default;
  ~open_file() { close(); }
  open_file(const open_file&) = delete;
  open_file& operator=(const open_file&) = delete;

  uint32_t close() {
    pask_fs_file* closing = file;
    file = nullptr;
    return pask_fs_file_close(closing);
  }
};

uint32_t path_check(const char* path) {
  return pask_string_isempty(path) || _fs_std_descriptor(path) >= 0 ? PASK_FS_ERR_BAD_PATH : 0;
}

// ---- Whole files

// Reads until the block is full or nothing more comes: a single read gives at most 2 GiB.
uint32_t read_block(pask_fs_file* file, char* block, uint32_t size, uint32_t* total) {
  *total = 0;
  uint32_t got = 0;
  do {
    PASK_TRY(pask_fs_file_read(file, block + *total, size - *total, &got));
    *total += got;
  } while (got != 0 && *total < size);
  return 0;
}

// Both give the caller a block of one byte more than the total, or null when it has none; also after a failure.
uint32_t read_file(pask_fs_file* file, char** data, uint32_t* total) {
  uint64_t size = 0;
  PASK_TRY(pask_fs_file_size(file, &size));
  if (size > UINT32_MAX - 1) return PASK_FS_ERR_TOO_LARGE;
  *data = static_cast<char*>(pask_memory_alloc(static_cast<uint32_t>(size) + 1));
  if (!*data) return PASK_FS_ERR_NO_MEMORY;
  return read_block(file, *data, static_cast<uint32_t>(size), total);
}

uint32_t read_stream(pask_fs_file* file, char** data, uint32_t* total) {
  char block[BLOCK];
  for (;;) {
    uint32_t got = 0;
    PASK_TRY(pask_fs_file_read(file, block, BLOCK, &got));
    if (got == 0) return 0;
    if (got >= UINT32_MAX - *total) return PASK_FS_ERR_TOO_LARGE;
    void* grown = pask_memory_realloc(*data, *total + got + 1);
    if (!grown) return PASK_FS_ERR_NO_MEMORY;
    *data = static_cast<char*>(grown);
    memcpy(*data + *total, block, got);
    *total += got;
  }
}

// ---- Copies

// Whether the target is the only name of the source's data, so that deleting it would delete the source.
bool is_source_itself(const char* source, const char* target) {
  struct stat from, to;
  return stat(source, &from) == 0 && lstat(target, &to) == 0 && from.st_ino == to.st_ino && from.st_dev == to.st_dev &&
         to.st_nlink == 1;
}

uint32_t make_way(const char* source, const char* target, uint32_t fail_if_exists) {
  uint8_t exists = 0;
  PASK_TRY(pask_fs_file_exists(source, &exists));
  if (!exists) return PASK_FS_ERR_NOT_FOUND;
  PASK_TRY(pask_fs_file_exists(target, &exists));
  if (!exists) return 0;
  if (fail_if_exists) return PASK_FS_ERR_EXISTS;
  return is_source_itself(source, target) ? PASK_FS_ERR_INVALID_ARG : pask_fs_file_delete(target);
}

uint32_t copy_blocks(pask_fs_file* source, pask_fs_file* target) {
  char block[BLOCK];
  uint32_t got = 0;
  do {
    PASK_TRY(pask_fs_file_read(source, block, BLOCK, &got));
    if (got == 0) return 0;
    uint32_t written = 0;
    PASK_TRY(pask_fs_file_write(target, block, got, &written));
    if (written != got) return PASK_FS_ERR_NO_SPACE;
  } while (got == BLOCK);
  return 0;
}

// Closes both files; after a success the target's data has been sent to the disk.
uint32_t copy_data(const char* source, pask_fs_file* made) {
  open_file target, from;
  target.file = made;
  PASK_TRY(pask_fs_file_open(source, PASK_FS_OPEN_READ, 3, &from.file));
  PASK_TRY(copy_blocks(from.file, target.file));
  from.close();
  pask_fs_file_commit(target.file);
  return 0;
}

}  // namespace

uint32_t _fs_mode_attributes(uint32_t mode) {
  return (mode & S_IRUSR ? PASK_FS_ATTRIBUTE_READABLE : 0) | (mode & S_IWUSR ? PASK_FS_ATTRIBUTE_WRITABLE : 0);
}

uint32_t pask_fs_file_delete(const char* path) {
  PASK_TRY(path_check(path));
  return fs_system_status(remove(path));
}

uint32_t pask_fs_file_exists(const char* path, uint8_t* exists) {
  PASK_TRY(path_check(path));
  if (!exists) return PASK_FS_ERR_INVALID_ARG;
  struct stat info;
  *exists = stat(path, &info) == 0 && !(info.st_mode & S_IFDIR);
  return 0;
}

uint32_t pask_fs_file_rename(const char* old_path, const char* new_path) {
  PASK_TRY(path_check(old_path));
  PASK_TRY(path_check(new_path));
  return fs_system_status(rename(old_path, new_path));
}

uint32_t pask_fs_file_get_attributes(const char* path, uint32_t* attributes) {
  PASK_TRY(path_check(path));
  if (!attributes) return PASK_FS_ERR_INVALID_ARG;
  struct stat info;
  PASK_TRY(fs_system_status(stat(path, &info)));
  *attributes = _fs_mode_attributes(info.st_mode);
  return 0;
}

uint32_t pask_fs_file_set_attributes(const char* path, uint32_t attributes) {
  PASK_TRY(path_check(path));
  return fs_system_status(chmod(path, attributes & PASK_FS_ATTRIBUTE_WRITABLE ? 0666 : 0444));
}

uint32_t pask_fs_file_get_size(const char* path, uint64_t* size) {
  if (!size) return PASK_FS_ERR_INVALID_ARG;
  PASK_TRY(path_check(path));
  struct stat info;
  PASK_TRY(fs_system_status(stat(path, &info)));
  *size = static_cast<uint64_t>(info.st_size);
  return 0;
}

uint32_t pask_fs_file_write_to_file(const char* path, const void* data, uint32_t size, uint32_t append) {
  if (pask_string_isempty(path) || !data) return PASK_FS_ERR_INVALID_ARG;
  constexpr uint32_t ANEW = PASK_FS_OPEN_WRITE | PASK_FS_OPEN_CREATE | PASK_FS_OPEN_TRUNCATE;
  open_file to;
  PASK_TRY(pask_fs_file_open(path, append ? PASK_FS_OPEN_APPEND | PASK_FS_OPEN_CREATE : ANEW, 3, &to.file));
  return pask_fs_file_write(to.file, data, size, nullptr);
}

uint32_t pask_fs_file_read_to_buffer(const char* path, void** buffer, uint32_t* size, uint32_t terminate) {
  if (pask_string_isempty(path) || !buffer) return PASK_FS_ERR_INVALID_ARG;
  open_file from;
  PASK_TRY(pask_fs_file_open(path, PASK_FS_OPEN_READ, PASK_FS_PERMIT_READ, &from.file));
  char* data = nullptr;
  uint32_t total = 0;
  uint32_t status = (from.file->is_std ? read_stream : read_file)(from.file, &data, &total);
  const uint32_t closed = from.close();
  if (!status) status = closed;
  if (status) {
    pask_memory_free(data);
    return status;
  }
  if (terminate && data) data[total++] = 0;
  *buffer = data;
  if (size) *size = total;
  return 0;
}

uint32_t pask_fs_file_copy(const char* source, const char* target, uint32_t fail_if_exists) {
  PASK_TRY(path_check(source));
  PASK_TRY(path_check(target));
  PASK_TRY(make_way(source, target, fail_if_exists));
  pask_fs_file* made = nullptr;
  PASK_TRY(pask_fs_file_open(target, PASK_FS_OPEN_WRITE | PASK_FS_OPEN_CREATE, 3, &made));
  if (const uint32_t status = copy_data(source, made)) {
    pask_fs_file_delete(target);
    return status;
  }
  uint32_t attributes = 0;
  PASK_TRY(pask_fs_file_get_attributes(source, &attributes));
  return pask_fs_file_set_attributes(target, attributes);
}
