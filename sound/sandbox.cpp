// Two walls: limits of the process, by which no descriptor is left for anything but a file that is sent; and, where the kernel has
// it, a list of the system calls that decoding needs.
#include "sandbox.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#ifdef VELOX_HAVE_SECCOMP
#include <seccomp.h>
#endif

#include "wire.h"

namespace velox::sound {
namespace {

constexpr rlim_t k_memory = rlim_t{1} << 30;
constexpr int k_niceness = 10;

void limit(int what, rlim_t most) {
  const rlimit both = {most, most};
  setrlimit(what, &both);
}

#if defined(VELOX_HAVE_SECCOMP) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
void allow_calls_of_decoding() {
  const int allowed[] = {SCMP_SYS(read),
                         SCMP_SYS(readv),
                         SCMP_SYS(pread64),
                         SCMP_SYS(lseek),
                         SCMP_SYS(_llseek),
                         SCMP_SYS(fstat),
                         SCMP_SYS(fstat64),
                         SCMP_SYS(newfstatat),
                         SCMP_SYS(close),
                         SCMP_SYS(recvmsg),
                         SCMP_SYS(sendmsg),
                         SCMP_SYS(sendto),
                         SCMP_SYS(mmap),
                         SCMP_SYS(mmap2),
                         SCMP_SYS(munmap),
                         SCMP_SYS(mremap),
                         SCMP_SYS(mprotect),
                         SCMP_SYS(madvise),
                         SCMP_SYS(brk),
                         SCMP_SYS(futex),
                         SCMP_SYS(clock_gettime),
                         SCMP_SYS(gettimeofday),
                         SCMP_SYS(getrandom),
                         SCMP_SYS(rt_sigreturn),
                         SCMP_SYS(rt_sigprocmask),
                         SCMP_SYS(restart_syscall),
                         SCMP_SYS(getpid),
                         SCMP_SYS(gettid),
                         SCMP_SYS(tgkill),
                         SCMP_SYS(sched_getaffinity),
                         SCMP_SYS(exit),
                         SCMP_SYS(exit_group)};
  scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(EPERM));
  if (!filter) return;
  bool whole = true;
  for (const int call : allowed) whole = seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) == 0 && whole;
  if (whole) seccomp_load(filter);
  seccomp_release(filter);
}
#else
void allow_calls_of_decoding() {}
#endif

}  // namespace

void give_up_rights() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  if (nice(k_niceness) == -1) errno = 0;  // it runs all the same
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, 0);
  limit(RLIMIT_NOFILE, k_socket + 2);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  limit(RLIMIT_AS, k_memory);
#endif
  allow_calls_of_decoding();
}

}  // namespace velox::sound
