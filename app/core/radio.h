/* The radio: one track after the other on a station, steered by a listener. Orders come in and events go out, on the caller's
 * thread and one after the other: it knows no person and no program, neither a player nor the time. */
#ifndef CADENZ_APP_RADIO_H
#define CADENZ_APP_RADIO_H

#include <functional>

#include "core/radio_event.h"
#include "core/upcoming.h"

namespace app {

enum class action {
  // Of the listener:
  next,
  skip,
  love,
  ban,
  love_artist,
  ban_artist,
  explain,
  upcoming,
  settings,  // tells them, or changes the one in the text
  pause,
  help,
  quit,
  unknown,  // the text is no order
  // Of whoever plays the tracks:
  ended,       // the track was played to its end
  unplayable,  // it can't be played, for the reason in the text
  by_hand      // nothing is played any more: the listener walks on
};

struct order {
  action what;
  std::string text = {};
};

class radio_session {
 public:
  /** An order must not be given while an event is being told. */
  using listener = std::function<void(const radio_event&)>;

  /** `played`: something plays the tracks and tells of their ends; otherwise the listener walks from one to the next. */
  radio_session(station& on, bool played, listener told)
      : station_(on), coming_(on), played_(played), told_(std::move(told)) {}

  /** Begins, unless it is over already. `name` is the station's, `from` what a new one started from. */
  void begin(const std::string& name, const origin& from);
  /** Does what is ordered. A failure that ends the session is thrown. */
  void obey(const order& given);
  /** Ends it for the first reason that is given; may be called while an event is being told. */
  void end(const char* why);
  /** Reports what isn't reported yet, and tells how it went. The service waits for another process a bounded time only. */
  void finish();

  bool over() const { return end_ != nullptr; }
  bool paused() const { return paused_; }
  bool played() const { return played_; }
  /** False when something was lost, or nothing could be played at all. */
  bool went_well() const { return well_; }
  const std::string& station_id() const { return station_.id(); }

 private:
  bool draw();
  void take_next();
  void leave(uint32_t event);
  void like(uint32_t event);
  bool record(const listener_event& how);
  void pass_over(const std::string& why);
  void pause_or_go_on();
  void change_setting(const std::string& text);
  void tell_settings();
  void tell_of(const listener_event& how, const item& track);
  void tell_playlist(bool steered);
  void tell_trouble(const std::string& what, const std::string& next = {}, happening kind = happening::notice);

  station& station_;
  upcoming coming_;
  bool played_;
  const listener told_;
  std::optional<playlist_track> current_;
  uint64_t counts_[VELOX_CADENZ_EVENT_ARTIST_DISLIKE + 1] = {};
  bool paused_ = false, well_ = true;
  bool reportable_ = true;  // the station is there
  const char* end_ = nullptr;
};

}  // namespace app

#endif
