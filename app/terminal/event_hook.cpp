/* A failing program is told of once: the next hundred failures would say the same. */
#include "terminal/event_hook.h"

#include <time.h>

#include <cstring>

#include "terminal/terminal.h"

namespace app {

namespace {

constexpr std::chrono::seconds longest_run{30}, longest_finish{5};
constexpr size_t most_waiting = 1000;

std::vector<std::string> variables_of(const char* event, const std::string& catalog, const std::string& station,
                                      const item& subject) {
  const auto number = [](const std::optional<long>& value) { return value ? std::to_string(*value) : std::string(); };
  return {std::string("CADENZ_EVENT=") + event,  "CADENZ_CATALOG=" + catalog,
          "CADENZ_STATION=" + station,           "CADENZ_TITLE=" + subject.title,
          "CADENZ_ARTIST=" + subject.artist,     "CADENZ_ALBUM=" + subject.album,
          "CADENZ_YEAR=" + number(subject.year), "CADENZ_DURATION=" + number(subject.duration_seconds),
          "CADENZ_LOCATION=" + subject.location, "CADENZ_REASON=" + subject.reason};
}

}  // namespace

void event_hook::add(const char* event, const std::string& station, const item* subject) {
  if (program_.empty()) return;
  if (waiting_.size() == most_waiting) {
    complain("too many events wait for it; some are left out");
    return;
  }
  waiting_.push_back({event, variables_of(event, catalog_, station, subject ? *subject : item{})});
  update();
}

void event_hook::update() {
  if (const std::optional<child_end> end = running_.ended(); end && !end->fine) complain(end->how);
  if (running_.running() && clock::now() >= deadline_) {
    running_.stop();
    complain("it took more than " + std::to_string(longest_run.count()) + " seconds, and was ended");
  }
  while (!running_.running() && !waiting_.empty()) start_next();
  if (!running_.running()) deadline_ = clock::time_point::max();
}

event_hook::clock::time_point event_hook::due() const { return deadline_; }

void event_hook::finish() {
  const clock::time_point end = clock::now() + longest_finish;
  for (update(); running_.running() && clock::now() < end; update()) {
    const timespec moment{0, 10'000'000};
    nanosleep(&moment, nullptr);
  }
  if (running_.running()) complain("it didn't finish in time for the end, and was ended");
  running_.stop();
  waiting_.clear();
}

void event_hook::start_next() {
  const run next = std::move(waiting_.front());
  waiting_.pop_front();
  if (const int error = running_.start({program_, next.event}, next.variables); error != 0) {
    complain(std::strerror(error));
    return;
  }
  deadline_ = clock::now() + longest_run;
}

void event_hook::complain(const std::string& what) {
  if (!complained_) tell("the event program " + program_ + ": " + what, "further trouble with it isn't told");
  complained_ = true;
}

}  // namespace app
