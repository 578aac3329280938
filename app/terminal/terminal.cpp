/* Standard output and standard error: width, colours, the progress line. */
#include "terminal/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "core/handles.h"
#include "terminal/text_safe.h"

namespace app {

namespace {

constexpr std::chrono::milliseconds between_texts{100};

/** Writes all of the text; false, with errno, when it can't. */
bool write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written >= 0)
      text.remove_prefix(static_cast<size_t>(written));
    else if (errno != EINTR)
      return false;
  }
  return true;
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

bool write_output(std::string_view text) { return write_all(STDOUT_FILENO, text); }

void write_result(std::string_view text) {
  if (write_output(text) || errno == EPIPE) return;
  throw failure(std::string("the result can't be written: ") + std::strerror(errno));
}

void tell(std::string_view text, std::string_view hint) {
  std::string lines = "cadenz: " + safe(text) + '\n';
  if (!hint.empty()) lines += "  " + safe(hint) + '\n';
  write_all(STDERR_FILENO, lines);
}

progress_line::progress_line(std::chrono::milliseconds patience)
    : terminal_(terminal_of(STDERR_FILENO)), next_(std::chrono::steady_clock::now() + patience) {
  const char* kind = std::getenv("TERM");
  if (!kind || std::strcmp(kind, "dumb") == 0) terminal_.there = false;  // no line can be rewritten there
}

bool progress_line::due() const { return terminal_.there && std::chrono::steady_clock::now() >= next_; }

void progress_line::show(std::string_view text) {
  if (!due()) return;
  write_all(STDERR_FILENO, "\r" + fit(safe(text), terminal_.width - 1) + "\x1b[K");
  shown_ = true;
  next_ = std::chrono::steady_clock::now() + between_texts;
}

void progress_line::clear() {
  if (shown_) write_all(STDERR_FILENO, "\r\x1b[K");
  shown_ = false;
}

}  // namespace app
