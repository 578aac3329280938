/* Each result is in the catalogue before the next is waited for, so that whatever happens costs the files under way. What is near to
 * what is settled now and then, so that the catalogue can be used meanwhile; that takes a tenth of the time at most, for it keeps the
 * listeners waiting. */
#include "cli/listening.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <thread>

#include "terminal/interrupts.h"
#include "terminal/sound_workers.h"
#include "terminal/terminal.h"

namespace app {

namespace {

using clock = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr uint32_t asked_at_once = 256;
constexpr seconds between_settling{10};
constexpr int settling_rest = 9;  // at least so many times as long as one takes lies between it and the next
constexpr seconds between_looks{1};
constexpr seconds patience{60};       // with a file, while each core has one
constexpr uint64_t most_unread = 10;  // that are told by name: a disk that isn't there has many

/** "1:03". */
std::string length_of(seconds time) {
  const auto all = time.count();
  const std::string rest = std::to_string(all % 60);
  return std::to_string(all / 60) + (rest.size() < 2 ? ":0" : ":") + rest;
}

size_t cores() { return std::max(std::thread::hardware_concurrency(), 1u); }

class listening {
 public:
  /** `all` files are waiting. */
  listening(velox_catalog_handle catalog, std::string program, size_t jobs, uint64_t all)
      : catalog_(catalog), workers_(std::move(program), jobs, patience * ((jobs + cores() - 1) / cores())), all_(all) {}

  uint64_t run() {
    while (!interrupted()) {
      while (workers_.has_room() && ask()) {
        workers_.give(std::move(waiting_.front()));
        waiting_.pop_front();
      }
      if (!workers_.is_busy()) break;
      for (const sound_outcome& each : workers_.wait(between_looks)) keep(each);
      show();
      if (clock::now() >= next_settling_) settle();
    }
    if (!interrupted()) settle();
    line_.clear();
    if (unread_ > most_unread) tell(std::to_string(unread_ - most_unread) + " more files can't be read just now");
    return failed_;
  }

 private:
  /** Whether there is a file to give. */
  bool ask() {
    if (!waiting_.empty() || asked_all_) return !waiting_.empty();
    const auto take = [](void* self, const velox_catalog_unheard_track* track) {
      listening& of = *static_cast<listening*>(self);
      of.waiting_.push_back({track->track, track->content, track->path});
      of.after_ = track->track;
      return 0;
    };
    check(velox_catalog_unheard(catalog_, after_, asked_at_once, take, this));
    asked_all_ = waiting_.size() < asked_at_once;
    return !waiting_.empty();
  }

  void keep(const sound_outcome& outcome) {
    ++done_;
    std::string why = outcome.why;
    if (why.empty()) {
      const pask_status status = put(outcome, &outcome.sound, nullptr);
      if (status != VELOX_STANDIN_ERR_INVALID_ARG) return check(status);
      why = "can't be listened to: what was heard makes no sense";
    }
    ++failed_;
    if (!outcome.may_change) check(put(outcome, nullptr, why.c_str()));
    if (outcome.may_change && ++unread_ > most_unread) return;
    line_.clear();
    tell(outcome.of.path + ": " + why);
  }

  pask_status put(const sound_outcome& outcome, const velox_sound* sound, const char* why) const {
    return velox_catalog_sound_put(catalog_, outcome.of.track, outcome.of.content, sound, why);
  }

  void settle() {
    const auto go_on = [](void* self, uint64_t done, uint64_t all) {
      progress_line& line = static_cast<listening*>(self)->line_;
      if (line.due()) line.show("finding what sounds alike: " + std::to_string(done) + " of " + std::to_string(all));
      return interrupted() ? 1 : 0;
    };
    const clock::time_point began = clock::now();
    const pask_status status = velox_catalog_sound_settle(catalog_, go_on, this);
    if (status != VELOX_STANDIN_ERR_ABORTED) check(status);
    const clock::time_point done = clock::now();
    next_settling_ = done + std::max<clock::duration>(between_settling, settling_rest * (done - began));
  }

  void show() {
    if (!line_.due()) return;
    const double passed = std::max(std::chrono::duration<double>(clock::now() - began_).count(), 0.001);
    const double rate = static_cast<double>(done_) / passed;
    std::string text =
        "listening: " + std::to_string(done_) + " of " + std::to_string(std::max(all_, done_)) + " files";
    if (done_ > 0) {
      const auto tenths = static_cast<uint64_t>(rate * 10);
      const seconds left(static_cast<int64_t>(static_cast<double>(all_ > done_ ? all_ - done_ : 0) / rate));
      text += ", " + std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " a second, " + length_of(left) +
              " left";
    }
    line_.show(text);
  }

  velox_catalog_handle catalog_;
  sound_workers workers_;
  progress_line line_;
  std::deque<sound_task> waiting_;
  uint64_t all_, after_ = 0, done_ = 0, failed_ = 0, unread_ = 0;
  bool asked_all_ = false;
  clock::time_point began_ = clock::now(), next_settling_ = began_ + between_settling;
};

}  // namespace

uint64_t listen(velox_catalog_handle catalog, size_t jobs) {
  velox_catalog_sound_counts counts = {};
  check(velox_catalog_sound_count(catalog, &counts));
  const std::string program = sound_program();
  if (program.empty() && counts.unheard > 0) {
    tell("nobody listens to the music: cadenz-analyse isn't installed", "scan with --no-sound not to be told of it");
    return 0;
  }
  return listening(catalog, program, jobs > 0 ? jobs : cores(), counts.unheard).run();
}

}  // namespace app
