/* A session of the radio at a terminal or between pipes: orders from standard input, events to standard output and to an event
 * program, the tracks through a player. */
#ifndef CADENZ_APP_RADIO_LOOP_H
#define CADENZ_APP_RADIO_LOOP_H

#include "core/radio.h"
#include "terminal/child.h"
#include "terminal/event_hook.h"
#include "terminal/radio_input.h"
#include "terminal/signals.h"

namespace app {

struct radio_setup {
  std::string catalog;              // its file, for the event program
  std::vector<std::string> player;  // a program and its arguments; empty: the listener walks by hand
  std::string on_event;             // a program; empty for none
  /** What is written of an event; empty for nothing. */
  std::function<std::string(const radio_event&)> text_of;
  std::string setting_prompt;  // behind the settings, where keys are read; empty for none
};

class radio_loop {
 public:
  radio_loop(station& on, radio_setup setup);

  /** Runs to its end; false when something failed. `name` is the station's, `from` what a new one started from. */
  bool run(const std::string& name, const origin& from);

 private:
  void wait();
  void take_signals();
  void look_at_player();
  void give(const order& given);
  void take(const radio_event& event);
  void tell_of(const radio_event& event);
  void play(const item& track);
  void write(const std::string& text);
  void give_up_output();

  const radio_setup setup_;
  signal_watch signals_;
  radio_input input_;
  std::deque<order> orders_;
  bool input_over_ = false;
  child player_;
  std::chrono::steady_clock::time_point began_;  // the track, as the player has it
  std::chrono::milliseconds shortest_{};         // it counts as played after so much of it
  int too_short_ = 0;                            // tracks in a row that ended at once
  signal_watch::arrived arrived_;
  event_hook hook_;
  radio_session radio_;
  bool output_there_ = true;
  bool failed_ = false;
};

}  // namespace app

#endif
