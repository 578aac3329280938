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
#include <initializer_list>

#ifdef VELOX_HAVE_SECCOMP
#include <seccomp.h>
#endif

#include "wire.h"

namespace velox::sound {
namespace {

// A sanitizer takes up terabytes of addresses, and makes calls of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool k_sanitized = true;
#else
constexpr bool k_sanitized = false;
#endif

constexpr rlim_t k_memory = rlim_t{1} << 30;
constexpr int k_niceness = 10;

void limit(int what, rlim_t most) {
  const rlimit both = {most, most};
  setrlimit(what, &both);
}

#ifdef VELOX_HAVE_SECCOMP
/** What decoding and answering need; each may be bound to a value of its arguments. */
bool allow_calls_of_decoding(scmp_filter_ctx filter) {
  const int free_calls[] = {SCMP_SYS(read),
                            SCMP_SYS(pread64),
                            SCMP_SYS(lseek),
                            SCMP_SYS(_llseek),
                            SCMP_SYS(fstat),
                            SCMP_SYS(fstat64),
                            SCMP_SYS(newfstatat),
                            SCMP_SYS(close),
                            SCMP_SYS(recvmsg),
                            SCMP_SYS(send),
                            SCMP_SYS(sendto),
                            SCMP_SYS(munmap),
                            SCMP_SYS(mremap),
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
                            SCMP_SYS(sched_getaffinity),
                            SCMP_SYS(exit),
                            SCMP_SYS(exit_group)};
  bool whole = true;
  for (const int call : free_calls) whole = seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) == 0 && whole;
  // Memory never becomes code, and a signal reaches nobody but the process itself: abort() sends one.
  const scmp_arg_cmp no_code = {2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0};
  for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mmap2), SCMP_SYS(mprotect)})
    whole = seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call, 1, &no_code) == 0 && whole;
  const scmp_arg_cmp itself = {0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(getpid()), 0};
  return seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, SCMP_SYS(tgkill), 1, &itself) == 0 && whole;
}

void filter_calls() {
  const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(EPERM));
  if (!filter) return;
  if (allow_calls_of_decoding(filter)) seccomp_load(filter);
  seccomp_release(filter);
}
#else
void filter_calls() {}
#endif

}  // namespace

void give_up_rights() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  if (nice(k_niceness) == -1) errno = 0;  // it runs all the same
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, 0);
  limit(RLIMIT_NOFILE, k_socket + 2);
  limit(RLIMIT_NPROC, 0);  // which holds for anybody but root
  if (k_sanitized) return;
  limit(RLIMIT_AS, k_memory);
  filter_calls();
}

}  // namespace velox::sound
