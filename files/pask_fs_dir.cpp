// Directories, straight on POSIX: none of the file layer's pool is used, and no lock.
#include "pask_fs_dir.h"

#include <dirent.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pask_format.h"
#include "pask_fs_error.h"
#include "pask_string.h"

// The entries' names lie in the stream, which keeps each until the next is read.
struct pask_fs_dir {
  DIR* stream;
  char path[];
};

constexpr uint32_t FULL_PATH_BYTES = 260;
constexpr uint32_t CURRENT_PATH_BYTES = 1024;

static bool is_empty(const char* path) { return !path || *path == 0; }
static bool is_separator(char c) { return c == '/' || c == '\\'; }

static uint32_t _fs_dir_create(const char* path, DIR* stream, pask_fs_dir_handle* dir) {
  const uint32_t bytes = pask_string_bytelen(path);  // opendir() has taken the path: it is short
  auto* const made = static_cast<pask_fs_dir*>(pask_memory_alloc(static_cast<uint32_t>(sizeof(pask_fs_dir)) + bytes));
  if (!made) return PASK_FS_ERR_NO_MEMORY;
  made->stream = stream;
  memcpy(made->path, path, bytes);
  *dir = made;
  return 0;
}

static uint32_t _fs_dir_delete(pask_fs_dir_handle dir) {
  const uint32_t status = fs_system_status(closedir(dir->stream));
  pask_memory_free(dir);
  return status;
}

uint32_t pask_fs_dir_open(const char* path, pask_fs_dir_handle* dir) {
  if (is_empty(path) || !dir) return PASK_FS_ERR_INVALID_ARG;
  DIR* const stream = opendir(path);
  if (!stream) return fs_map_error(errno);
  const uint32_t status = _fs_dir_create(path, stream, dir);
  if (status) closedir(stream);
  return status;
}

uint32_t pask_fs_dir_create(const char* path, pask_fs_dir_handle* dir) {
  if (is_empty(path)) return PASK_FS_ERR_INVALID_ARG;
  const uint32_t status = fs_system_status(mkdir(path, 0775));
  if (status && status != PASK_FS_ERR_EXISTS) return status;
  return dir ? pask_fs_dir_open(path, dir) : 0;
}

uint32_t pask_fs_dir_close(pask_fs_dir_handle dir) { return dir ? _fs_dir_delete(dir) : 0; }

// --- Removing.

// Cuts the last level off the n bytes of path. Returns the bytes in front of the separator that then ends the path, 0 where no
// level is left: one in the first two bytes doesn't count.
static size_t cut_level(char* path, size_t n) {
  size_t i = n - 1;
  for (; i > 1 && !is_separator(path[i]); --i) path[i] = 0;
  return i > 1 ? i : 0;
}

static uint32_t remove_upwards(char* path) {
  size_t n = strlen(path);
  if (n > 2 && is_separator(path[n - 1])) --n;
  do PASK_TRY(fs_system_status(rmdir(path)));
  while ((n = cut_level(path, n)) != 0);
  return 0;
}

uint32_t pask_fs_dir_delete(const char* path, uint32_t remove_parents) {
  if (is_empty(path)) return PASK_FS_ERR_INVALID_ARG;
  if (!remove_parents) return fs_system_status(rmdir(path));
  char* const levels = pask_string_strdup(path);
  if (!levels) return PASK_FS_ERR_NO_MEMORY;
  const uint32_t status = remove_upwards(levels);
  pask_string_free(levels);
  return status;
}

// --- Looking.

uint32_t pask_fs_dir_exists(const char* path, uint8_t* exists) {
  if (is_empty(path) || !exists) return PASK_FS_ERR_INVALID_ARG;
  struct stat about;
  *exists = stat(path, &about) == 0 && (about.st_mode & S_IFDIR) != 0;  // the bit alone, as the header tells
  return 0;
}

uint32_t pask_fs_dir_current(char** path) {
  if (!path) return PASK_FS_ERR_INVALID_ARG;
  char current[CURRENT_PATH_BYTES];
  if (!getcwd(current, sizeof current)) return fs_map_error(errno);
  char* const copy = pask_string_strdup(current);
  if (!copy) return PASK_FS_ERR_NO_MEMORY;
  *path = copy;
  return 0;
}

uint32_t pask_fs_dir_set_current(const char* path) {
  return is_empty(path) ? PASK_FS_ERR_INVALID_ARG : fs_system_status(chdir(path));
}

static uint32_t entry_type(const pask_fs_dir* dir, const char* name, uint32_t* type) {
  char path[FULL_PATH_BYTES];
  pask_string_snprintf(path, sizeof path, "%s%c%s", dir->path, '/', name);
  struct stat about;
  *type = PASK_FS_ENTRY_OTHER;
  if (stat(path, &about) != 0) return fs_map_error(errno);
  if (S_ISDIR(about.st_mode)) *type = PASK_FS_ENTRY_DIRECTORY;
  if (S_ISREG(about.st_mode)) *type = PASK_FS_ENTRY_FILE;
  return 0;
}

uint32_t pask_fs_dir_next_entry(pask_fs_dir_handle dir, const char** name, uint32_t* type) {
  if (!dir || !name) return PASK_FS_ERR_INVALID_ARG;
  errno = 0;  // tells the end from a failure
  const dirent* const entry = readdir(dir->stream);
  if (!entry) return errno == 0 ? PASK_FS_ERR_NOT_FOUND : fs_map_error(errno);
  *name = entry->d_name;
  return type ? entry_type(dir, entry->d_name, type) : 0;
}
