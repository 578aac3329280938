/* The library's files and streams at work: a stream over a file, and digests. Results are written by the system's own calls,
 * which tell what is wrong and end when they are interrupted. */
#include "cli/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "terminal/interrupts.h"

namespace app {

namespace fs = std::filesystem;

namespace {

std::string words_of(pask_status status, const std::string& path) {
  switch (status) {
    case PASK_FS_ERR_ACCESS:
      return "permission denied";
    case PASK_FS_ERR_NOT_FOUND:
      return "no such file";
    case PASK_FS_ERR_NO_SPACE:
      return "the disk is full";
    case PASK_FS_ERR_TOO_MANY_OPEN:
      return "too many open files";
    case PASK_FS_ERR_BAD_PATH:
      return "it is a folder";
    case PASK_FS_ERR_NOT_DIRECTORY:
      return "a part of its path isn't a folder";
    default:  // the layer has no word of its own for it, the system has
      return ::access(path.c_str(), R_OK) != 0 ? std::strerror(errno) : "the system can't read it";
  }
}

void check_file(pask_status status, const std::string& path) {
  if (status != 0) throw failure(path + " can't be read: " + words_of(status, path));
}

constexpr uint32_t k_stream_buffer = 1 << 16;

/** What a stream does on a file, which it owns. */
constexpr pask_iostream_callbacks k_on_file = {
    [](void* file, void* buffer, uint32_t size, uint32_t* got) {
      return pask_fs_file_read(static_cast<pask_fs_file_handle>(file), buffer, size, got);
    },
    nullptr, nullptr, nullptr, [](void* file) { return pask_fs_file_close(static_cast<pask_fs_file_handle>(file)); }};

stream_owner stream_over(file_owner file, const std::string& path) {
  pask_iostream_handle stream = nullptr;
  check_file(pask_iostream_create(&stream, k_stream_buffer, &k_on_file, file.get()), path);
  file.release();
  return stream_owner(stream);
}

// ---- Writing

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw failure(path + " can't be written: " + why);
}

[[noreturn]] void refuse(const std::string& path) {
  if (interrupted()) throw failure("interrupted");
  refuse(path, std::strerror(errno));
}

/** A descriptor, closed at the end of the scope. */
struct descriptor {
  const int number;
  ~descriptor() {
    if (number >= 0) ::close(number);
  }
};

/** Writes all of a text; false, with errno, when it can't. A signal ends it only as an interrupt. */
bool write_all(int to, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(to, text.data(), text.size());
    if (written < 0 && (errno != EINTR || interrupted())) return false;
    if (written > 0) text.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

/** Writes what can't be exchanged for another file, or mayn't. */
void write_as_it_is(const std::string& path, std::string_view text, int flags) {
  const descriptor to{::open(path.c_str(), O_WRONLY | O_CLOEXEC | flags)};
  if (to.number < 0 || !write_all(to.number, text)) refuse(path);
}

bool same_file(const struct stat& one, const std::string& path) {
  struct stat other = {};
  return ::stat(path.c_str(), &other) == 0 && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/** A file beside the target that takes its place; gone, if it didn't come to that. */
class replacement {
 public:
  explicit replacement(const std::string& target)
      : target_(target), name_((fs::path(target).parent_path() / ".cadenz-XXXXXX").string()) {
    file_ = ::mkostemp(name_.data(), O_CLOEXEC);
  }
  ~replacement() {
    if (file_ >= 0) ::close(file_);
    if (file_ >= 0 && !done_) ::unlink(name_.c_str());
  }
  replacement(const replacement&) = delete;
  replacement& operator=(const replacement&) = delete;

  bool made() const { return file_ >= 0; }
  /** Writes it, and puts it in the target's place; `former` is null where there is no target yet. */
  bool take_place(std::string_view text, const struct stat* former) {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    if (former && ::fchown(file_, former->st_uid, former->st_gid) != 0)
      errno = 0;  // root keeps the owner, others can't
    done_ = write_all(file_, text) && ::fchmod(file_, former ? former->st_mode & 07777 : 0666 & ~mask) == 0 &&
            ::fsync(file_) == 0 && ::rename(name_.c_str(), target_.c_str()) == 0;
    return done_;
  }

 private:
  const std::string target_;
  std::string name_;
  int file_ = -1;
  bool done_ = false;
};

/** Adds `size` bytes from an offset on to a digest. */
bool digest_add(pask_md5_ctx& digest, pask_fs_file_handle file, uint64_t offset, uint32_t size) {
  char piece[1 << 14];
  while (size > 0) {
    uint32_t got = 0;
    const uint32_t wanted = std::min<uint32_t>(size, sizeof piece);
    if (pask_fs_file_read_at(file, offset, piece, wanted, &got) != 0 || got == 0) return false;
    pask_md5_compute(&digest, piece, got);
    offset += got;
    size -= got;
  }
  return true;
}

}  // namespace

file_layer::file_layer() {
  if (pask_fs_initialize() != 0) throw failure("the file layer doesn't start");
}

stream_owner open_text(const std::string& path) {
  pask_fs_file_handle file = nullptr;
  check_file(pask_fs_file_open(path.c_str(), PASK_FS_OPEN_READ, 0, &file), path);
  return stream_over(file_owner(file), path);
}

pask_status read_text(void* stream, void* buffer, uint32_t size, uint32_t* got) {
  const pask_status status = pask_iostream_read(static_cast<pask_iostream_handle>(stream), buffer, size, got);
  if (status == PASK_IOSTREAM_INFO_END) *got = 0;
  return status == PASK_IOSTREAM_INFO_END ? 0 : status;
}

int digest_of(void*, const char* path, uint8_t digest[16]) noexcept {
  constexpr uint32_t k_part = 1 << 16;
  pask_fs_file_handle opened = nullptr;
  if (pask_fs_file_open(path, PASK_FS_OPEN_READ, 0, &opened) != 0) return 1;
  const file_owner file(opened);
  uint64_t size = 0;
  if (pask_fs_file_size(opened, &size) != 0) return 1;

  pask_md5_ctx sum;
  pask_md5_start(&sum);
  pask_md5_compute(&sum, &size, sizeof size);
  const bool whole = size <= 2 * k_part;
  const bool read = whole ? digest_add(sum, opened, 0, static_cast<uint32_t>(size))
                          : digest_add(sum, opened, 0, k_part) && digest_add(sum, opened, size - k_part, k_part);
  if (!read) return 1;
  pask_md5_end(&sum);
  std::memcpy(digest, sum.digest, sizeof sum.digest);
  return 0;
}

void write_file(const std::string& path, std::string_view text, const std::string& catalog) {
  struct stat former = {};
  const bool there = ::stat(path.c_str(), &former) == 0;
  if (!there && errno != ENOENT) refuse(path);
  if (there && S_ISDIR(former.st_mode)) refuse(path, "it is a folder");
  for (const char* ending : {"", "-wal", "-shm"})
    if (there && same_file(former, catalog + ending)) refuse(path, "it is the catalogue itself");
  const std::string name = fs::absolute(path).lexically_normal().string();
  const bool of_the_system = name.starts_with("/dev/") || name.starts_with("/proc/");  // /dev/stdout may be a file
  if (there && (of_the_system || !S_ISREG(former.st_mode))) return write_as_it_is(path, text, 0);
  if (there && ::access(path.c_str(), W_OK) != 0) refuse(path);

  std::error_code error;
  const std::string target = fs::weakly_canonical(path, error).string();
  if (error) refuse(path, error.message());
  replacement file(target);
  if (!file.made() && there && errno == EACCES) return write_as_it_is(path, text, O_TRUNC);  // its folder isn't ours
  if (!file.made() || !file.take_place(text, there ? &former : nullptr)) refuse(path);
}

}  // namespace app
