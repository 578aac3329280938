/* The handler only writes the signal's number into a pipe. */
#include "terminal/signals.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>

#include "core/handles.h"

namespace app {

namespace {

constexpr int watched[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD, SIGTSTP};

int s_pipe[2] = {-1, -1};
struct sigaction s_former[std::size(watched)];

extern "C" void on_signal(int signal) {
  const int kept = errno;
  const auto number = static_cast<unsigned char>(signal);
  // Full of unread signals, the pipe wakes the reader anyway.
  [[maybe_unused]] const ssize_t written = write(s_pipe[1], &number, 1);
  errno = kept;
}

}  // namespace

signal_watch::signal_watch() {
  if (pipe2(s_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
    throw failure(std::string("signals can't be watched: ") + std::strerror(errno));
  struct sigaction action = {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;
  sigfillset(&action.sa_mask);
  for (size_t i = 0; i < std::size(watched); ++i) {
    sigaction(watched[i], &action, &s_former[i]);
    if (s_former[i].sa_handler == SIG_IGN && watched[i] != SIGCHLD)
      sigaction(watched[i], &s_former[i], nullptr);  // nohup
  }
}

signal_watch::~signal_watch() {
  for (size_t i = 0; i < std::size(watched); ++i) sigaction(watched[i], &s_former[i], nullptr);
  for (int& end : s_pipe) {
    close(end);
    end = -1;
  }
}

int signal_watch::descriptor() const { return s_pipe[0]; }

signal_watch::arrived signal_watch::take() {
  arrived result;
  unsigned char numbers[64];
  for (ssize_t got = 0; (got = read(s_pipe[0], numbers, sizeof numbers)) > 0;) {
    for (ssize_t i = 0; i < got; ++i) {
      result.child |= numbers[i] == SIGCHLD;
      result.suspend |= numbers[i] == SIGTSTP;
      result.end |= numbers[i] != SIGCHLD && numbers[i] != SIGTSTP;
    }
  }
  return result;
}

}  // namespace app
