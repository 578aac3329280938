#include "failing_disk.h"

#include <sqlite3.h>

#include <atomic>
#include <mutex>

namespace failing_disk {
namespace {

sqlite3_vfs* s_real;
sqlite3_vfs s_mine;
std::mutex s_lock;  // guards what follows
bool s_armed, s_met;
fault s_kind;
uint32_t s_granted;

/** Counts a call. The word that it fails with, or 0. */
int faulted(int word) {
  const std::lock_guard held(s_lock);
  if (!s_armed || (s_kind == fault::full && word != SQLITE_IOERR_WRITE)) return SQLITE_OK;
  if (s_granted > 0) return --s_granted, SQLITE_OK;
  if (s_met && s_kind == fault::once) return SQLITE_OK;
  s_met = true;
  return s_kind == fault::full ? SQLITE_FULL : word;
}

/** An open file: SQLite's own lies behind it in the same block. */
struct file {
  sqlite3_file base;
  sqlite3_io_methods methods;
};
sqlite3_file* behind(sqlite3_file* mine) { return reinterpret_cast<sqlite3_file*>(reinterpret_cast<file*>(mine) + 1); }

template <int word, auto method, class... Args>
int pass(sqlite3_file* mine, Args... args) {
  if constexpr (word != SQLITE_OK)
    if (const int failed = faulted(word)) return failed;
  sqlite3_file* real = behind(mine);
  return (real->pMethods->*method)(real, args...);
}

template <int word, auto method, class... Args>
void hook(sqlite3_io_methods* methods, int (*sqlite3_io_methods::*)(sqlite3_file*, Args...)) {
  if (methods->*method) methods->*method = pass<word, method, Args...>;
}
#define HOOK(methods, name, word) hook<word, &sqlite3_io_methods::name>(methods, &sqlite3_io_methods::name)

/** Data that is on its way to a disk for real costs a test its time and shows nothing. */
int sync(sqlite3_file*, int) { return faulted(SQLITE_IOERR_FSYNC); }

int open(sqlite3_vfs*, const char* name, sqlite3_file* mine, int flags, int* opened) {
  mine->pMethods = nullptr;
  if (const int failed = faulted(SQLITE_CANTOPEN)) return failed;
  sqlite3_file* real = behind(mine);
  const int status = s_real->xOpen(s_real, name, real, flags, opened);
  if (!real->pMethods) return status;
  sqlite3_io_methods& methods = reinterpret_cast<file*>(mine)->methods;
  methods = *real->pMethods;
  HOOK(&methods, xClose, SQLITE_OK);
  HOOK(&methods, xRead, SQLITE_IOERR_READ);
  HOOK(&methods, xWrite, SQLITE_IOERR_WRITE);
  HOOK(&methods, xTruncate, SQLITE_IOERR_TRUNCATE);
  methods.xSync = sync;
  HOOK(&methods, xFileSize, SQLITE_IOERR_FSTAT);
  HOOK(&methods, xLock, SQLITE_IOERR_LOCK);
  HOOK(&methods, xUnlock, SQLITE_OK);
  HOOK(&methods, xCheckReservedLock, SQLITE_IOERR_CHECKRESERVEDLOCK);
  HOOK(&methods, xFileControl, SQLITE_OK);
  HOOK(&methods, xSectorSize, SQLITE_OK);
  HOOK(&methods, xDeviceCharacteristics, SQLITE_OK);
  HOOK(&methods, xShmMap, SQLITE_IOERR_SHMMAP);
  methods.xShmBarrier = [](sqlite3_file* of) { behind(of)->pMethods->xShmBarrier(behind(of)); };
  methods.xShmLock = [](sqlite3_file* of, int first, int count, int how) {  // giving a lock back doesn't fail
    const int failed = how & SQLITE_SHM_LOCK ? faulted(SQLITE_IOERR_SHMLOCK) : SQLITE_OK;
    return failed ? failed : behind(of)->pMethods->xShmLock(behind(of), first, count, how);
  };
  HOOK(&methods, xShmUnmap, SQLITE_OK);
  HOOK(&methods, xFetch, SQLITE_IOERR_MMAP);
  HOOK(&methods, xUnfetch, SQLITE_OK);
  mine->pMethods = &methods;
  return status;
}

}  // namespace

void install() {
  if (s_real) return;
  s_real = sqlite3_vfs_find(nullptr);
  s_mine = *s_real;
  s_mine.zName = "failing";
  s_mine.szOsFile += static_cast<int>(sizeof(file));
  s_mine.xOpen = open;
  s_mine.xDelete = [](sqlite3_vfs*, const char* name, int flush) {
    const int failed = faulted(SQLITE_IOERR_DELETE);
    return failed ? failed : s_real->xDelete(s_real, name, flush);
  };
  s_mine.xAccess = [](sqlite3_vfs*, const char* name, int what, int* answer) {
    const int failed = faulted(SQLITE_IOERR_ACCESS);
    return failed ? failed : s_real->xAccess(s_real, name, what, answer);
  };
  sqlite3_vfs_register(&s_mine, 1);
}

void arm(fault kind, uint32_t nth) {
  const std::lock_guard held(s_lock);
  s_armed = true;
  s_met = false;
  s_kind = kind;
  s_granted = nth;
}

bool disarm() {
  const std::lock_guard held(s_lock);
  s_armed = false;
  return s_met;
}

}  // namespace failing_disk
