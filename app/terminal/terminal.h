/* The two ends of the program: results on standard output, everything else on standard error. */
#ifndef CADENZ_APP_TERMINAL_H
#define CADENZ_APP_TERMINAL_H

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace app {

struct terminal {
  bool there;    // a person is looking
  bool colours;  // and wants colours: NO_COLOR isn't set, and it isn't dumb
  size_t width;  // columns; 80 when nothing tells
};

/** What lies behind a descriptor. */
terminal terminal_of(int descriptor);

/** Writes a result to standard output, which is to be fit for where it goes. A reader that went away ends the program
 *  quietly; any other trouble is a failure. */
void write_result(std::string_view text);

/** Writes to standard output and takes off the text what was written; false, with errno, for any trouble. It waits for a slow
 *  reader until `stop` becomes readable, where that is a descriptor, or a signal comes: EINTR. */
bool write_output(std::string_view& text, int stop = -1);

/** Tells something on standard error, as "cadenz: ..."; the text is made safe. The hint, if any, follows in a line of its
 *  own. */
void tell(std::string_view text, std::string_view hint = {});

/** One line on standard error that is written again and again, only on a terminal. */
class progress_line {
 public:
  /** Nothing is shown before `patience` has passed. */
  explicit progress_line(std::chrono::milliseconds patience = {});
  ~progress_line() { clear(); }
  progress_line(const progress_line&) = delete;
  progress_line& operator=(const progress_line&) = delete;

  /** True when it is time for another text; saves making one. */
  bool due() const;
  void show(std::string_view text);
  /** Takes the line away, so that something else can be told. */
  void clear();

 private:
  terminal terminal_;
  std::chrono::steady_clock::time_point next_;
  bool shown_ = false;
};

}  // namespace app

#endif
