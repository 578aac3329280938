// A listener that tries to break out: it answers with what it could do.
#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "sandbox.h"
#include "wire.h"

int main() {
  [[maybe_unused]] const pid_t scan = getppid();
  velox::sound::give_up_rights();
  char byte = 0;
  if (send(velox::sound::k_socket, &byte, 1, 0) != 1) return 1;
  const int file = velox::sound::file_message().receive(velox::sound::k_socket);
  if (file < 0) return 1;

  std::string could = read(file, &byte, 1) == 1 ? "read" : "not read";
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  if (open("/etc/hostname", O_RDONLY) >= 0) could += ", open";
  if (open("/tmp/velox-prisoner", O_WRONLY | O_CREAT, 0600) >= 0) could += ", create";
  if (socket(AF_INET, SOCK_STREAM, 0) >= 0) could += ", socket";
  close(file);
  if (void* const much = std::malloc(size_t{2} << 30)) could += ", 2 GB", std::free(much);
#ifdef VELOX_HAVE_SECCOMP
  const bool filtered = getppid() != scan;  // else this kernel has no filter, and the limits alone hold
  if (filtered && socket(AF_INET, SOCK_STREAM, 0) >= 0) could += ", socket in the place of the file";
  if (filtered && open("/etc/hostname", O_RDONLY) >= 0) could += ", open in the place of the file";
  if (filtered && mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) != MAP_FAILED)
    could += ", code";
  if (filtered && (kill(scan, 0) == 0 || syscall(SYS_tgkill, scan, scan, 0) == 0)) could += ", signals";
  if (const pid_t child = filtered ? fork() : -1; child == 0) {
    _exit(0);
  } else if (child > 0) {
    could += ", fork";
  }
#endif
#endif
  velox::sound::answer told = {};
  told.last = 1;
  std::snprintf(told.why, sizeof told.why, "%s", could.c_str());
  return send(velox::sound::k_socket, &told, sizeof told, 0) == sizeof told ? 0 : 1;
}
