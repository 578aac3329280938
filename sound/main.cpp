// cadenz-analyse: listens to the files that a scan sends it, one after the other. `cadenz scan` starts it, as many as there are
// cores; a file that takes a decoder down takes this process with it, and nothing else.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <new>

#include "analysis.h"
#include "sandbox.h"
#include "wire.h"

using namespace velox::sound;

namespace {

constexpr int k_most_files = 500; /* then a fresh process goes on: what a decoder leaks doesn't add up */

answer listen_to(int file, bool last) {
  answer made = {};
  made.last = last;
  const auto refuse = [&](const char* why) { std::snprintf(made.why, sizeof made.why, "%s", why); };
  try {
    made.sound = analyse(file);
  } catch (const std::bad_alloc&) {
    refuse("needs more memory than is allowed to listen to it");
  } catch (const std::exception& failed) {
    refuse(failed.what());
  }
  return made;
}

}  // namespace

int main() {
  int type = 0;
  socklen_t size = sizeof type;
  if (getsockopt(k_socket, SOL_SOCKET, SO_TYPE, &type, &size) != 0) {
    std::fputs("cadenz-analyse listens to music for \"cadenz scan\", which starts it\n", stderr);
    return 2;
  }
  give_up_rights();
  const char ready = 0;
  if (send(k_socket, &ready, sizeof ready, MSG_NOSIGNAL) != sizeof ready) return 1;
  for (int files = 0; files < k_most_files; ++files) {
    const int file = file_message().receive(k_socket);
    if (file < 0) break;
    const answer made = listen_to(file, files + 1 == k_most_files);
    close(file);
    if (send(k_socket, &made, sizeof made, MSG_NOSIGNAL) != sizeof made) break;
  }
  return 0;
}
