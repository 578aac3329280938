/* Standard output and standard error: width, colours, the progress line. */
#include "terminal/terminal.h"

#include <limits.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "core/handles.h"
#include "core/text_safe.h"
#include "terminal/interrupts.h"

namespace app {

namespace {

constexpr std::chrono::milliseconds between_texts{100};

constexpr int patience_of_trouble = 1000;  // milliseconds; who doesn't read what is told can't hold the program

/** Writes what the descriptor takes at once; false, with errno, when it can't. A descriptor may block or not. */
bool write_some(int descriptor, std::string_view& text) {
  const ssize_t written = ::write(descriptor, text.data(), std::min<size_t>(text.size(), PIPE_BUF));
  if (written >= 0) text.remove_prefix(static_cast<size_t>(written));
  return written >= 0 || errno == EINTR || errno == EAGAIN;
}

/** To standard error. */
void write_trouble(std::string_view text) {
  pollfd place{STDERR_FILENO, POLLOUT, 0};
  while (!text.empty() && ::poll(&place, 1, patience_of_trouble) != 0)
    if (!write_some(STDERR_FILENO, text)) return;
}

}  // namespace

terminal terminal_of(int descriptor) {
  terminal found{::isatty(descriptor) == 1, false, 80};
  const char* kind = std::getenv("TERM");
  const char* no_colours = std::getenv("NO_COLOR");
  found.colours = found.there && kind && std::strcmp(kind, "dumb") != 0 && !(no_colours && *no_colours);

  winsize size = {};
  if (found.there && ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) found.width = size.ws_col;
  return found;
}

bool write_output(std::string_view& text, int stop) {
  while (!text.empty()) {
    pollfd places[] = {{STDOUT_FILENO, POLLOUT, 0}, {stop, POLLIN, 0}};
    if (::poll(places, 2, -1) < 0) {
      if (errno != EINTR || interrupted()) return false;
      continue;
    }
    if (places[0].revents == 0) {  // who reads on is told all
      errno = EINTR;
      return false;
    }
    if (!write_some(STDOUT_FILENO, text)) return false;
  }
  return true;
}

void write_result(std::string_view text) {
  if (write_output(text) || errno == EPIPE) return;
  if (interrupted()) throw failure("interrupted");
  throw failure(std::string("the result can't be written: ") + std::strerror(errno));
}

void tell(std::string_view text, std::string_view hint) {
  std::string lines = "cadenz: " + safe(text) + '\n';
  if (!hint.empty()) lines += "  " + safe(hint) + '\n';
  write_trouble(lines);
}

progress_line::progress_line(std::chrono::milliseconds patience)
    : terminal_(terminal_of(STDERR_FILENO)), next_(std::chrono::steady_clock::now() + patience) {
  const char* kind = std::getenv("TERM");
  if (!kind || std::strcmp(kind, "dumb") == 0) terminal_.there = false;  // no line can be rewritten there
}

bool progress_line::due() const { return terminal_.there && std::chrono::steady_clock::now() >= next_; }

void progress_line::show(std::string_view text) {
  if (!due()) return;
  write_trouble("\r" + fit(safe(text), terminal_.width - 1) + "\x1b[K");
  shown_ = true;
  next_ = std::chrono::steady_clock::now() + between_texts;
}

void progress_line::clear() {
  if (shown_) write_trouble("\r\x1b[K");
  shown_ = false;
}

}  // namespace app
