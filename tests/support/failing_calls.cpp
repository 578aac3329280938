#include "failing_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <type_traits>

namespace failing_calls {
namespace {

thread_local bool s_armed;
thread_local int s_error;
thread_local uint32_t s_granted;
thread_local const char* s_failed;

/** Whether this call is the one. */
bool chosen(const char* name) {
  if (!s_armed || s_failed || s_granted-- > 0) return false;
  s_failed = name;
  return true;
}

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/** A call that fails as a whole; what it would have done isn't done, but for a close. */
template <class Function, class... Args>
auto call(const char* name, const char* symbol, Args... args) {
  Function* const real = next<Function>(symbol);
  using result = decltype(real(args...));
  if (s_error == 0 || !chosen(name)) return real(args...);
  if (name[0] == 'c' && name[1] == 'l') real(args...);
  errno = s_error;
  if constexpr (std::is_pointer_v<result>)
    return result{nullptr};
  else
    return static_cast<result>(-1);
}

/** A transfer, which may also move less. */
template <class Function, class Buffer, class... Offset>
ssize_t transfer(const char* name, const char* symbol, int fd, Buffer buffer, size_t size, Offset... at) {
  Function* const real = next<Function>(symbol);
  if (size == 0 || !chosen(name)) return real(fd, buffer, size, at...);
  if (s_error == 0) return real(fd, buffer, (size + 1) / 2, at...);
  errno = s_error;
  return -1;
}

}  // namespace

void arm(int error, uint32_t nth) {
  s_error = error;
  s_granted = nth;
  s_failed = nullptr;
  s_armed = true;
}

const char* disarm() {
  s_armed = false;
  return s_failed;
}

}  // namespace failing_calls

#define FRONT [[gnu::visibility("default")]]
using failing_calls::call;
using failing_calls::transfer;

// What the names are bound to: 64-bit offsets everywhere, and 64-bit times, which on 32-bit targets have names of their own.
#define TIMED(name) (sizeof(void*) == 4 ? "__" #name "64_time64" : #name "64")
#define CALL_1(name, symbol, A) \
  FRONT int name(A a) { return call<int(A)>(#name, symbol, a); }
#define CALL_2(name, symbol, A, B) \
  FRONT int name(A a, B b) { return call<int(A, B)>(#name, symbol, a, b); }

CALL_1(close, "close", int)
CALL_1(fsync, "fsync", int)
CALL_1(remove, "remove", const char*)
CALL_1(rmdir, "rmdir", const char*)
CALL_2(rename, "rename", const char*, const char*)
CALL_2(mkdir, "mkdir", const char*, mode_t)
CALL_2(chmod, "chmod", const char*, mode_t)
CALL_2(ftruncate, "ftruncate64", int, off_t)
CALL_2(stat, TIMED(stat), const char*, struct stat*)
CALL_2(lstat, TIMED(lstat), const char*, struct stat*)
CALL_2(fstat, TIMED(fstat), int, struct stat*)

FRONT int open(const char* path, int flags, ...) {
  va_list args;
  va_start(args, flags);
  const mode_t mode = flags & O_CREAT ? va_arg(args, mode_t) : 0;
  va_end(args);
  return call<int(const char*, int, mode_t)>("open", "open64", path, flags, mode);
}
FRONT DIR* opendir(const char* path) { return call<DIR*(const char*)>("opendir", "opendir", path); }
FRONT dirent* readdir(DIR* of) { return call<dirent*(DIR*)>("readdir", "readdir64", of); }
FRONT int closedir(DIR* of) { return call<int(DIR*)>("closedir", "closedir", of); }
FRONT char* getcwd(char* to, size_t size) { return call<char*(char*, size_t)>("getcwd", "getcwd", to, size); }

FRONT ssize_t read(int fd, void* to, size_t size) {
  return transfer<ssize_t(int, void*, size_t)>("read", "read", fd, to, size);
}
FRONT ssize_t write(int fd, const void* from, size_t size) {
  return transfer<ssize_t(int, const void*, size_t)>("write", "write", fd, from, size);
}
FRONT ssize_t pread(int fd, void* to, size_t size, off_t at) {
  return transfer<ssize_t(int, void*, size_t, off_t)>("pread", "pread64", fd, to, size, at);
}
FRONT ssize_t pwrite(int fd, const void* from, size_t size, off_t at) {
  return transfer<ssize_t(int, const void*, size_t, off_t)>("pwrite", "pwrite64", fd, from, size, at);
}
