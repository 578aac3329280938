// Open files: a position of their own over positional transfers, so that a file goes on where it was when its descriptor has
// been exchanged. Builds on the pool (pask_fs_pool.h), which takes its lock by itself; nothing here takes one.
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pask_format.h"
#include "pask_fs_pool.h"
#include "pask_modules.h"
#include "pask_string_accum_append.h"

static_assert(sizeof(off_t) == 8 && sizeof(time_t) == 8);

namespace {

constexpr uint32_t FORMAT_ROOM = 1024;
constexpr uint32_t LINE_PIECE = 512;  // holds most lines

// The status of a transfer; the count is stored when it succeeded.
uint32_t transfer_status(ssize_t result, uint32_t* count) {
  if (result < 0) return fs_map_error(errno);
  *count = static_cast<uint32_t>(result);
  return 0;
}

void store(uint32_t* out, uint32_t count) {
  if (out) *out = count;
}

// ---- Descriptors

// The flags of the system's open, or -1 without read and write access.
int open_mode(uint32_t flags) {
  const bool reads = flags & PASK_FS_OPEN_READ;
  const bool writes = flags & (PASK_FS_OPEN_WRITE | PASK_FS_OPEN_APPEND);
  if (!reads && !writes) return -1;
  int mode = O_CLOEXEC | (reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY);
  if (flags & PASK_FS_OPEN_APPEND) mode |= O_APPEND;
  if (flags & PASK_FS_OPEN_CREATE) mode |= O_CREAT;
  if (flags & PASK_FS_OPEN_TRUNCATE) mode |= O_TRUNC;
  if (flags & PASK_FS_OPEN_EXCLUSIVE) mode |= O_EXCL;
  return mode;
}

mode_t created_mode(uint32_t permissions) {
  return (permissions & PASK_FS_PERMIT_READ ? 0444u : 0u) | (permissions & PASK_FS_PERMIT_WRITE ? 0222u : 0u);
}

uint32_t named_file_open(pask_fs_file* file, uint32_t flags, uint32_t permissions, int extra) {
  const int mode = open_mode(flags);
  if (mode == -1) return PASK_FS_ERR_INVALID_ARG;
  file->fd = open(file->name, mode | extra, created_mode(permissions));
  return fs_system_status(file->fd);
}

// Looks at what a descriptor is, once. Transfers of what isn't a regular file wait, however it was opened.
uint32_t see_kind(pask_fs_file* file, int fd) {
  if (file->is_regular != FS_UNSEEN) return 0;
  struct stat info;
  PASK_TRY(fs_system_status(fstat(fd, &info)));
  const bool regular = S_ISREG(info.st_mode);
  if (!regular && !file->is_std) PASK_TRY(fs_system_status(fcntl(fd, F_SETFL, open_mode(file->flags))));
  file->is_regular = regular ? FS_REGULAR : FS_OTHER;
  return 0;
}

// Gives the file its descriptor, or after a failure none. With an `extra` of O_NONBLOCK opening it waits for nobody at the other
// end of a pipe. What a name led to is looked at when it matters; a regular file is taken to stay one.
uint32_t _fs_file_get_handle(pask_fs_file* file, uint32_t flags, uint32_t permissions, int extra) {
  if (file->is_regular != FS_REGULAR) file->is_regular = FS_UNSEEN;
  const int32_t std_fd = _fs_std_descriptor(file->name);
  if (std_fd < 0) return named_file_open(file, flags, permissions, extra);
  file->is_std = 1;
  file->fd = std_fd;
  const uint32_t status = see_kind(file, std_fd);  // it may be closed
  if (status) file->fd = -1;
  return status;
}

// Closes a file and frees its record. Its slot comes free last, when the descriptor has gone.
uint32_t _fs_file_delete(pask_fs_file* file) {
  _fs_mgr_retain_fd(file);
  const uint32_t status = _pask_fs_close_internal(file);
  _pask_fs_mgr_close_fd(file);
  pask_memory_free(file);
  return status;
}

pask_fs_file* file_make(const char* name) {
  const size_t name_bytes = strlen(name) + 1;
  constexpr size_t HEAD = offsetof(pask_fs_file, name);
  if (name_bytes > UINT32_MAX - HEAD) return nullptr;
  auto* file = static_cast<pask_fs_file*>(pask_memory_alloc(static_cast<uint32_t>(HEAD + name_bytes)));
  if (!file) return nullptr;
  memset(file, 0, HEAD);
  file->file = file;
  file->fd = -1;
  memcpy(file->name, name, name_bytes);
  return file;
}

// ---- Work on a descriptor

// Holds the file's descriptor through work(fd), whose status is the result.
template <class Work>
uint32_t with_fd(pask_fs_file* file, Work work) {
  PASK_TRY(_pask_fs_mgr_acquire_fd(file));
  const uint32_t status = work(file->fd);
  _pask_fs_mgr_release_fd(file);
  return status;
}

uint32_t file_stat(pask_fs_file* file, struct stat* info) {
  return with_fd(file, [=](int fd) { return fs_system_status(fstat(fd, info)); });
}

// The figures of an operation that succeeded. The chain is made by open, so an empty one needs no lock to be seen.
void record(pask_fs_file* file, uint32_t bytes_read, uint32_t bytes_written, uint32_t seeks) {
  if (file->entries) _pask_fs_mgr_update_metrics(file, bytes_read, bytes_written, seeks);
}

off_t as_offset(uint64_t offset) { return static_cast<off_t>(offset); }

// Several threads may read at offsets at once.
void set_eof(pask_fs_file* file) { __atomic_store_n(&file->eof, uint8_t{1}, __ATOMIC_RELAXED); }
uint8_t get_eof(const pask_fs_file* file) { return __atomic_load_n(&file->eof, __ATOMIC_RELAXED); }

uint32_t read_here(pask_fs_file* file, int fd, void* buffer, uint32_t size, uint32_t* got) {
  PASK_TRY(see_kind(file, fd));
  return transfer_status(file->is_regular ? pread(fd, buffer, size, as_offset(file->position)) : read(fd, buffer, size),
                         got);
}

uint32_t write_here(pask_fs_file* file, int fd, const void* data, uint32_t size, uint32_t* written) {
  PASK_TRY(see_kind(file, fd));
  return transfer_status(file->is_regular ? pwrite(fd, data, size, as_offset(file->position)) : write(fd, data, size),
                         written);
}

void wrote_here(pask_fs_file* file, uint32_t written, uint32_t* out) {
  file->position += written;
  record(file, 0, written, 0);
  store(out, written);
}

// ---- Lines

// The first line end among the bytes, or their number.
uint32_t find_line_end(const char* text, uint32_t size) {
  if (const void* feed = memchr(text, '\n', size)) size = static_cast<uint32_t>(static_cast<const char*>(feed) - text);
  const void* carriage = memchr(text, '\r', size);
  return carriage ? static_cast<uint32_t>(static_cast<const char*>(carriage) - text) : size;
}

// Reads a line at the position and terminates it; `taken` receives its bytes, its end included. The first read asks for a
// piece only, and the following ones for a multiple, so that the cost is that of the line and not of the buffer.
uint32_t line_fetch(const pask_fs_file* file, int fd, char* buffer, uint32_t size, uint32_t* taken) {
  uint32_t there = 0;
  for (;;) {
    const uint32_t room = size - there;
    const uint32_t piece = there == 0 ? LINE_PIECE : there <= room / 7 ? there * 7 : room;
    const uint32_t asked = piece < room ? piece : room;
    uint32_t got = 0;
    PASK_TRY(transfer_status(pread(fd, buffer + there, asked, as_offset(file->position + there)), &got));
    const uint32_t seen = there != 0 && buffer[there - 1] == '\r' ? there - 1 : there;
    there += got;
    if (there == 0) return PASK_FS_ERR_END_OF_FILE;

    const bool last = got < asked || there == size;  // no more bytes, or none that fit
    const uint32_t end = seen + find_line_end(buffer + seen, there - seen);
    const bool found = end < there;
    if (!last && (!found || (buffer[end] == '\r' && end + 1 == there))) continue;

    const bool crlf = found && buffer[end] == '\r' && end + 1 < there && buffer[end + 1] == '\n';
    const uint32_t text = end < size ? end : size - 1;
    *taken = found ? end + 1 + crlf : text;
    buffer[text] = 0;
    return 0;
  }
}

}  // namespace

int32_t _fs_std_descriptor(const char* name) {
  constexpr const char* STREAMS[] = {PASK_FS_STDIN, PASK_FS_STDOUT, PASK_FS_STDERR};
  for (int32_t fd = 0; fd < 3; ++fd)
    if (strcmp(name, STREAMS[fd]) == 0) return fd;
  return -1;
}

uint32_t _pask_fs_close_internal(pask_fs_file* file) {
  const int fd = file->fd;
  file->fd = -1;
  if (fd == -1 || file->is_std) return 0;
  return fs_system_status(close(fd));
}

uint32_t _pask_fs_reopen_internal(pask_fs_file* file) {
  constexpr uint32_t MADE_ANEW = PASK_FS_OPEN_CREATE | PASK_FS_OPEN_TRUNCATE;
  return _fs_file_get_handle(file, file->flags & ~MADE_ANEW, file->permissions, O_NONBLOCK);
}

const char* _pask_fs_filename_internal(pask_fs_file* file) { return file->name; }

uint32_t pask_fs_file_open(const char* path, uint32_t flags, uint32_t permissions, pask_fs_file** file) {
  if (!pask_fs_initchecks()) return PASK_FS_ERR_NOT_INITED;
  if (!file) return PASK_FS_ERR_INVALID_ARG;
  pask_fs_file* made = file_make(path ? path : "");
  if (!made) return PASK_FS_ERR_NO_MEMORY;
  if (const uint32_t status = _pask_fs_mgr_new_fd(made)) {
    pask_memory_free(made);
    return status;
  }
  if (const uint32_t status = _fs_file_get_handle(made, flags, permissions, 0)) {
    _pask_fs_mgr_close_fd(made);
    pask_memory_free(made);
    return status;
  }
  made->flags = flags;
  made->permissions = permissions;
  *file = made;
  _pask_fs_mgr_release_fd(made);
  return 0;
}

uint32_t pask_fs_file_close(pask_fs_file* file) { return file ? _fs_file_delete(file) : 0; }

uint32_t pask_fs_file_read(pask_fs_file* file, void* buffer, uint32_t size, uint32_t* read) {
  if (!file || !buffer) return PASK_FS_ERR_INVALID_ARG;
  uint32_t got = 0;
  PASK_TRY(with_fd(file, [&](int fd) { return read_here(file, fd, buffer, size, &got); }));
  if (got == 0) set_eof(file);
  file->position += got;
  record(file, got, 0, 0);
  store(read, got);
  return 0;
}

uint32_t pask_fs_file_read_at(pask_fs_file* file, uint64_t offset, void* buffer, uint32_t size, uint32_t* read) {
  if (!file || !buffer) return PASK_FS_ERR_INVALID_ARG;
  uint32_t got = 0;
  PASK_TRY(with_fd(file, [&](int fd) { return transfer_status(pread(fd, buffer, size, as_offset(offset)), &got); }));
  if (got == 0) set_eof(file);
  record(file, got, 0, 1);
  store(read, got);
  return 0;
}

uint32_t pask_fs_file_read_line(pask_fs_file* file, char* buffer, uint32_t size) {
  if (!file || !buffer || size == 0) return PASK_FS_ERR_INVALID_ARG;
  uint32_t taken = 0;
  PASK_TRY(with_fd(file, [&](int fd) { return line_fetch(file, fd, buffer, size, &taken); }));
  file->position += taken;
  record(file, taken, 0, 1);
  return 0;
}

uint32_t pask_fs_file_write(pask_fs_file* file, const void* data, uint32_t size, uint32_t* written) {
  if (!file || !data) return PASK_FS_ERR_INVALID_ARG;
  uint32_t count = 0;
  PASK_TRY(with_fd(file, [&](int fd) { return write_here(file, fd, data, size, &count); }));
  file->eof = 0;
  wrote_here(file, count, written);
  return 0;
}

uint32_t pask_fs_file_vwrite(pask_fs_file* file, const char* format, va_list args, uint32_t* written) {
  if (!file || !format) return PASK_FS_ERR_INVALID_ARG;
  stack_accum<FORMAT_ROOM> text;
  uint32_t count = 0;
  PASK_TRY(with_fd(file, [&](int fd) {
    _pask_string_printf(&text.record, format, args);
    return write_here(file, fd, text.record.text, text.record.length, &count);
  }));
  wrote_here(file, count, written);
  return 0;
}

uint32_t pask_fs_file_write_at(pask_fs_file* file, uint64_t offset, const void* data, uint32_t size,
                               uint32_t* written) {
  if (!file || !data) return PASK_FS_ERR_INVALID_ARG;
  if (file->flags & PASK_FS_OPEN_APPEND && offset < file->position) return PASK_FS_ERR_APPEND_POSITION;
  uint32_t count = 0;
  PASK_TRY(with_fd(file, [&](int fd) { return transfer_status(pwrite(fd, data, size, as_offset(offset)), &count); }));
  record(file, 0, count, 1);
  store(written, count);
  return 0;
}

uint32_t pask_fs_file_get_position(pask_fs_file* file, uint64_t* position) {
  if (!file || !position) return PASK_FS_ERR_INVALID_ARG;
  *position = file->position;
  return 0;
}

uint32_t pask_fs_file_seek(pask_fs_file* file, int64_t offset, uint32_t whence) {
  if (!file || whence < PASK_FS_SEEK_START || whence > PASK_FS_SEEK_END) return PASK_FS_ERR_INVALID_ARG;
  uint64_t size = 0;
  PASK_TRY(pask_fs_file_size(file, &size));
  const uint64_t base = whence == PASK_FS_SEEK_CURRENT ? file->position : 0;
  const uint64_t reach = base + static_cast<uint64_t>(offset);  // a negative one wraps, down or far beyond the size
  if (reach > size) return PASK_FS_ERR_SEEK;
  file->position = whence == PASK_FS_SEEK_END ? size - reach : reach;
  record(file, 0, 0, 1);
  return 0;
}

uint32_t pask_fs_file_get_eof(pask_fs_file* file, uint8_t* eof) {
  if (!file || !eof) return PASK_FS_ERR_INVALID_ARG;
  uint32_t status = 0;
  if (!get_eof(file)) {
    uint64_t size = 0;
    status = pask_fs_file_size(file, &size);
    if (!status && file->position == size) set_eof(file);
  }
  *eof = get_eof(file);
  return status;
}

uint32_t pask_fs_file_truncate(pask_fs_file* file, uint64_t length) {
  if (!file) return PASK_FS_ERR_INVALID_ARG;
  PASK_TRY(with_fd(file, [=](int fd) { return fs_system_status(ftruncate(fd, as_offset(length))); }));
  file->position = length;
  return 0;
}

uint32_t pask_fs_file_get_name(pask_fs_file* file, const char** name) {
  if (!file || !name) return PASK_FS_ERR_INVALID_ARG;
  *name = file->name;
  return 0;
}

uint32_t pask_fs_file_size(pask_fs_file* file, uint64_t* size) {
  if (!file || !size) return PASK_FS_ERR_INVALID_ARG;
  struct stat info;
  PASK_TRY(file_stat(file, &info));
  *size = static_cast<uint64_t>(info.st_size);
  return 0;
}

uint32_t pask_fs_file_attributes(pask_fs_file* file, uint32_t* attributes) {
  if (!file || !attributes) return PASK_FS_ERR_INVALID_ARG;
  struct stat info;
  PASK_TRY(file_stat(file, &info));
  *attributes = _fs_mode_attributes(info.st_mode);
  return 0;
}

uint32_t pask_fs_file_timestamps(pask_fs_file* file, uint64_t* changed, uint64_t* accessed, uint64_t* modified) {
  if (!file) return PASK_FS_ERR_INVALID_ARG;
  struct stat info;
  PASK_TRY(file_stat(file, &info));
  if (changed) *changed = static_cast<uint64_t>(info.st_ctime);
  if (accessed) *accessed = static_cast<uint64_t>(info.st_atime);
  if (modified) *modified = static_cast<uint64_t>(info.st_mtime);
  return 0;
}

uint32_t pask_fs_file_commit(pask_fs_file* file) {
  if (!file) return PASK_FS_ERR_INVALID_ARG;
  return with_fd(file, [](int fd) { return fs_system_status(fsync(fd)); });
}
