/* A request as it is waited for at a terminal: its progress in one line, and Ctrl-C ends it. */
#ifndef CADENZ_APP_REQUEST_PROGRESS_H
#define CADENZ_APP_REQUEST_PROGRESS_H

#include "core/start.h"
#include "terminal/interrupts.h"
#include "terminal/terminal.h"

namespace app {

class request_progress {
 public:
  explicit request_progress(std::optional<double> timeout_seconds)
      : watch_(timeout_seconds, [this](uint64_t looked_at) { return show(looked_at); }) {}
  request_progress(const request_progress&) = delete;
  request_progress& operator=(const request_progress&) = delete;

  request_watch& watch() { return watch_; }
  void clear() { line_.clear(); }

 private:
  bool show(uint64_t looked_at) {
    if (line_.due()) line_.show("looking for music: " + std::to_string(looked_at) + " looked at");
    return !interrupted();
  }

  progress_line line_{std::chrono::milliseconds(300)};
  request_watch watch_;
};

}  // namespace app

#endif
