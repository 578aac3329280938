/* A session of the radio: one track after the other, by hand or through a player, steered by the listener. */
#ifndef CADENZ_APP_RADIO_H
#define CADENZ_APP_RADIO_H

#include "cli/commands.h"
#include "core/radio_event.h"
#include "core/upcoming.h"
#include "terminal/child.h"
#include "terminal/event_hook.h"
#include "terminal/radio_input.h"
#include "terminal/signals.h"
#include "terminal/terminal.h"

namespace app {

class radio_session {
 public:
  radio_session(station& on, const std::string& catalog, const radio_request& request);

  /** Runs to its end; returns the exit status. `name` is the station's, `from` what a new one started from. */
  int run(const std::string& name, const origin& from);

 private:
  // The loop
  void wait();
  void take_signals();
  void obey(const order& given);
  void end(const char* why);
  void finish();

  // The tracks
  bool draw();
  void take_next();
  void leave(const listener_event& how);
  void like(const listener_event& how);
  bool record(const listener_event& how);
  void change_setting(const std::string& text);

  // The player
  bool start_player();
  void track_ended(const child_end& how);
  void pass_over(const std::string& why);
  void pause_or_go_on();

  // What is told
  void happened(const radio_event& event, const std::string& line);
  void answer(const radio_event& event, const std::string& text);
  void write(const std::string& text);
  void tell_of(const listener_event& how, const item& track);
  void not_understood(const std::string& what, const std::string& next);
  void show_station(const std::string& name, const origin& from);
  void show_playlist(bool steered);
  void show_track();
  void show_upcoming();
  void show_settings();
  void show_help();

  station& station_;
  const radio_request& request_;
  const terminal where_;

  upcoming coming_;
  std::optional<playlist_track> current_;
  uint64_t counts_[VELOX_CADENZ_EVENT_ARTIST_DISLIKE + 1] = {};

  signal_watch signals_;
  radio_input input_;
  std::deque<order> orders_;
  bool input_over_ = false;
  bool playlist_shown_ = false;
  child player_;
  bool with_player_, paused_ = false;
  event_hook hook_;

  const char* end_ = nullptr;  // why the session is over
  int status_ = exit_fine;
  bool output_there_ = true;
};

}  // namespace app

#endif
