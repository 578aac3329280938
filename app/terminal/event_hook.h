/* The event program: run for each event of a session with the event's name as its argument and the track in its environment.
 * One runs at a time, in the order of the events, while the radio goes on; one that takes too long is ended. */
#ifndef CADENZ_APP_EVENT_HOOK_H
#define CADENZ_APP_EVENT_HOOK_H

#include <chrono>
#include <deque>

#include "core/item.h"
#include "terminal/child.h"

namespace app {

class event_hook {
 public:
  using clock = std::chrono::steady_clock;

  /** Does nothing when the program is empty. */
  event_hook(std::string program, std::string catalog) : program_(std::move(program)), catalog_(std::move(catalog)) {}

  /** Queues an event; `subject` may be null. */
  void add(const char* event, const std::string& station, const item* subject);
  /** Takes up what ended, and starts what waits. */
  void update();
  /** When update() is due at the latest; the clock's maximum when nothing runs. */
  clock::time_point due() const;
  /** Gives what is queued a bounded time; ends what is left then. */
  void finish();

 private:
  struct run {
    std::string event;
    std::vector<std::string> variables;
  };

  void start_next();
  void complain(const std::string& what);

  std::string program_, catalog_;
  std::deque<run> waiting_;
  child running_;
  clock::time_point deadline_ = clock::time_point::max();
  bool complained_ = false;
};

}  // namespace app

#endif
