/* Programs that the radio runs beside itself: a player, an event program. They run without a shell, in a process group of their
 * own, so that Ctrl-C in the terminal stays with the radio and a stop reaches what they started too. A watcher, a process of ours,
 * stands by each: the whole group ends with the program, and also when the radio is killed. */
#ifndef CADENZ_APP_CHILD_H
#define CADENZ_APP_CHILD_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace app {

/** A command taken apart at its blanks, as a shell does: quotes of both kinds and backslashes keep blanks and are taken away;
 *  nothing is expanded. Nothing for an empty command and for a quote that isn't closed. */
std::optional<std::vector<std::string>> split_words(const std::string& command);

/** How a program ended. */
struct child_end {
  bool fine;        // with exit status 0
  std::string how;  // "exit status 2", "signal 9 (Killed)"
};

class child {
 public:
  child() = default;
  ~child() { stop(); }
  child(const child&) = delete;
  child& operator=(const child&) = delete;

  /** Starts a program, found by $PATH; nothing may run yet. Standard input is empty, standard output goes to standard error.
   *  `variables` come before those of the own environment. Returns 0 or an errno. */
  int start(const std::vector<std::string>& words, const std::vector<std::string>& variables = {});
  bool running() const { return watcher_ > 0; }
  /** How it ended, once, when it did; doesn't wait. */
  std::optional<child_end> ended();
  /** Asks it and what it started to end, and makes them after a second. */
  void stop();
  void pause();
  void resume();

 private:
  bool read_report(void* to) const;
  void let_go();

  pid_t watcher_ = 0, group_ = 0;
  int life_ = -1;    // the watcher reads its end: the radio lives, and wants the program
  int report_ = -1;  // and writes here: that it has started, how it ended
};

}  // namespace app

#endif
