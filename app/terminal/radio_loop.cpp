/* One thread that waits for input, signals and the end of a player. What the player has to say comes before what the listener
 * said meanwhile. */
#include "terminal/radio_loop.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "terminal/interrupts.h"
#include "terminal/terminal.h"

namespace app {

namespace {

constexpr std::chrono::milliseconds shortest_play{1000};
constexpr int most_too_short = 3;

/** A track that ended sooner wasn't played: a launcher returns at once, whatever it has launched. */
std::chrono::milliseconds shortest_play_of(const item& track) {
  const std::chrono::seconds length{track.duration_seconds.value_or(60)};
  return std::min(shortest_play, std::chrono::milliseconds(length) / 2);
}

int milliseconds_until(event_hook::clock::time_point due) {
  if (due == event_hook::clock::time_point::max()) return -1;
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(due - event_hook::clock::now()).count() + 1;
  return static_cast<int>(std::clamp<int64_t>(left, 0, 60'000));
}

/** Why a location can't be given to a player; empty when it can. */
std::string location_trouble(const std::string& location) {
  if (location.empty()) return "no file is known for it";
  if (location.front() != '/' || access(location.c_str(), R_OK) == 0) return {};
  return location + ": " + std::strerror(errno);
}

}  // namespace

radio_loop::radio_loop(station& on, radio_setup setup)
    : setup_(std::move(setup)),
      hook_(setup_.on_event, setup_.catalog),
      radio_(on, !setup_.player.empty(), [this](const radio_event& event) { take(event); }) {}

bool radio_loop::run(const std::string& name, const origin& from) {
  try {
    if (interrupted()) radio_.end("signal");
    radio_.begin(name, from);
    while (!radio_.over()) {
      wait();
      if (radio_.over() || orders_.empty()) continue;
      const order first = std::move(orders_.front());
      orders_.pop_front();
      give(first);
    }
  } catch (const failure& failed) {
    tell(failed.what(), failed.hint);
    radio_.end("failure");
    failed_ = true;
  }
  radio_.finish();
  hook_.finish();
  return !failed_ && radio_.went_well();
}

/** Waits for something to do; with orders left it only looks. */
void radio_loop::wait() {
  if (orders_.empty() && input_over_) return radio_.end("input");
  if (arrived_.any()) return take_signals();
  pollfd sources[] = {{signals_.descriptor(), POLLIN, 0}, {input_.descriptor(), POLLIN, 0}};
  const bool idle = orders_.empty();
  const int ready = poll(sources, idle ? 2 : 1, idle ? milliseconds_until(hook_.due()) : 0);
  if (ready < 0 && errno != EINTR) throw failure(std::string("waiting: ") + std::strerror(errno));

  if (ready > 0 && sources[0].revents != 0) take_signals();
  hook_.update();
  if (ready > 0 && idle && sources[1].revents != 0) input_over_ = !input_.read(orders_);
}

void radio_loop::take_signals() {
  arrived_ |= signals_.take();
  const signal_watch::arrived arrived = std::exchange(arrived_, {});
  if (arrived.end) return radio_.end("signal");
  if (arrived.suspend) {
    input_.suspend();
    player_.pause();
    raise(SIGSTOP);
    if (!radio_.paused()) player_.resume();
    input_.resume();
  }
  if (arrived.child) look_at_player();
}

void radio_loop::look_at_player() {
  const std::optional<child_end> how = player_.ended();
  if (!how) return;
  if (!how->fine) return orders_.push_front({action::unplayable, "the player ended with " + how->how});
  const bool played = std::chrono::steady_clock::now() - began_ >= shortest_;
  too_short_ = played ? 0 : too_short_ + 1;
  if (played) return orders_.push_front({action::ended});
  if (too_short_ < most_too_short) return orders_.push_front({action::unplayable, "the player ended at once"});
  tell("the player " + setup_.player.front() + " ends at once, three times in a row",
       "give one that stays until the track is over");
  failed_ = true;
  radio_.end("player");
}

void radio_loop::give(const order& given) {
  if (given.what == action::pause && !radio_.played())
    return tell_of({.what = happening::misunderstood,
                    .texts = {{"what", "there is no player to pause"}, {"next", "give one with --player COMMAND"}}});
  radio_.obey(given);
  if (given.what == action::settings && given.text.empty() && input_.has_keys() && !setup_.setting_prompt.empty()) {
    write(setup_.setting_prompt);
    input_.ask_for_setting();
  }
}

void radio_loop::take(const radio_event& event) {
  if (event.what == happening::silence) return player_.stop();
  if (event.what == happening::notice || event.what == happening::misunderstood) return tell_of(event);
  write(setup_.text_of(event));
  if (event.of_record()) hook_.add(event.name(), radio_.station_id(), event.track);

  if (event.what == happening::track && radio_.played()) play(*event.track);
  if (event.what == happening::paused) player_.pause();
  if (event.what == happening::resumed) player_.resume();
}

void radio_loop::tell_of(const radio_event& trouble) {
  tell(trouble.texts[0].second, trouble.texts[1].second);
  if (trouble.what == happening::misunderstood && !input_.has_keys()) failed_ = true;
}

void radio_loop::play(const item& track) {
  if (std::string trouble = location_trouble(track.location); !trouble.empty())
    return orders_.push_front({action::unplayable, std::move(trouble)});
  std::vector<std::string> words = setup_.player;
  words.push_back(track.location.front() == '-' ? "./" + track.location : track.location);
  began_ = std::chrono::steady_clock::now();
  shortest_ = shortest_play_of(track);
  if (const int error = player_.start(words); error != 0) {
    tell("the player " + words.front() + " can't be started: " + std::strerror(error), "going on without it");
    orders_.push_front({action::by_hand});
  }
}

/** A reader that went away ends the session; while one is slow, signals are heard. */
void radio_loop::write(const std::string& text) {
  if (!output_there_) return;
  for (std::string_view rest = text; !write_output(rest, signals_.descriptor());) {
    if (errno != EINTR) return give_up_output();
    arrived_ |= signals_.take();
    if (!arrived_.end) continue;
    output_there_ = false;
    return radio_.end("signal");
  }
}

void radio_loop::give_up_output() {
  output_there_ = false;
  if (errno != EPIPE && errno != EIO) {
    tell(std::string("the output can't be written: ") + std::strerror(errno));
    failed_ = true;
  }
  radio_.end("output");
}

}  // namespace app
