/* What steers the station is reported at once, before it is told; plays are reported with the next playlist, and whatever is
 * left at the end. */
#include "core/radio.h"

#include <algorithm>

namespace app {

namespace {

const listener_event& event_of(uint32_t event) { return listener_events[event - 1]; }

}  // namespace

const char* radio_event::name() const {
  constexpr const char* names[] = {"station",  "playlist", "track",   "",        "unplayable",
                                   "paused",   "resumed",  "end",     "explain", "upcoming",
                                   "settings", "help",     "silence", "notice",  "misunderstood"};
  return what == happening::listened ? listened->name : names[static_cast<int>(what)];
}

void radio_session::begin(const std::string& name, const origin& from) {
  const bool another = draw();
  const station_settings settings = station_.settings();
  told_({.what = happening::station,
         .settings = &settings,
         .from = &from,
         .texts = {{"station", station_.id()}, {"name", name}, {"state", station_.reopened() ? "reopened" : "new"}}});
  if (another) tell_playlist(false);
  if (!over()) take_next();
}

void radio_session::obey(const order& given) {
  switch (given.what) {
    case action::next:
      return leave(played_ ? VELOX_CADENZ_EVENT_TRACK_SKIPPED : VELOX_CADENZ_EVENT_TRACK_PLAYED);
    case action::ended:
      return leave(VELOX_CADENZ_EVENT_TRACK_PLAYED);
    case action::skip:
      return leave(VELOX_CADENZ_EVENT_TRACK_SKIPPED);
    case action::ban:
      return leave(VELOX_CADENZ_EVENT_TRACK_DISLIKE);
    case action::ban_artist:
      return leave(VELOX_CADENZ_EVENT_ARTIST_DISLIKE);
    case action::love:
      return like(VELOX_CADENZ_EVENT_TRACK_LIKE);
    case action::love_artist:
      return like(VELOX_CADENZ_EVENT_ARTIST_LIKE);
    case action::explain:
      return told_({.what = happening::explain, .track = &current_->shown});
    case action::upcoming:
      return told_({.what = happening::upcoming, .coming = &coming_.tracks()});
    case action::settings:
      return given.text.empty() ? tell_settings() : change_setting(given.text);
    case action::pause:
      return pause_or_go_on();
    case action::help:
      return told_({.what = happening::help});
    case action::quit:
      return end("quit");
    case action::unknown:
      return tell_trouble("not understood: " + given.text, "help shows what there is", happening::misunderstood);
    case action::unplayable:
      pass_over(given.text);
      return take_next();
    case action::by_hand:
      played_ = false;
  }
}

void radio_session::end(const char* why) {
  if (!end_) end_ = why;
}

void radio_session::finish() {
  told_({.what = happening::silence});
  try {
    if (reportable_ && !station_.in_step()) station_.draw();
  } catch (const failure& failed) {
    tell_trouble(failed.what());
  }
  if (const size_t missing = station_.unreported() + station_.lost(); missing > 0) {
    tell_trouble("of what happened, " + std::to_string(missing) + " couldn't be reported to the station");
    well_ = false;
  }

  radio_event last{.what = happening::end, .texts = {{"why", end_}, {"station", station_.id()}}};
  for (const listener_event& one : listener_events) last.numbers.emplace_back(one.name, counts_[one.event]);
  told_(last);
}

// ---- The tracks ----------------------------------------------------------------------------------------------------

/** Reports, and looks for another playlist; a failure is told, and tried again before the next track. */
bool radio_session::draw() {
  try {
    return coming_.draw(current_ ? &current_->shown : nullptr);
  } catch (const station_gone&) {
    reportable_ = false;
    throw;
  } catch (const failure& failed) {
    tell_trouble(failed.what(), "it is tried again with the next track");
    return false;
  }
}

void radio_session::take_next() {
  paused_ = false;
  current_ = coming_.take();
  if (!current_ && played_ && coming_.bring_back()) {
    tell_trouble("none of the tracks that are left can be played", "going on without the player");
    played_ = false;
    current_ = coming_.take();
  }
  if (current_) return told_({.what = happening::track, .track = &current_->shown});

  tell_trouble("nothing is left to play on this station",
               "scan more music, start another station, or come back later: what was played comes again after a while");
  if (std::ranges::all_of(counts_, [](uint64_t count) { return count == 0; })) well_ = false;
  end("nothing-left");
}

/** Leaves the current track for the next one. */
void radio_session::leave(uint32_t event) {
  const listener_event& how = event_of(event);
  if (!record(how)) return;
  told_({.what = happening::silence});
  const playlist_track left = std::move(*current_);
  current_.reset();
  if (event == VELOX_CADENZ_EVENT_TRACK_DISLIKE) coming_.ban_track(left.shown);
  if (event == VELOX_CADENZ_EVENT_ARTIST_DISLIKE) coming_.ban_artist(left.shown);
  if (event != VELOX_CADENZ_EVENT_TRACK_PLAYED) coming_.outdate();

  const bool another = coming_.due() && draw();
  tell_of(how, left.shown);
  if (another) tell_playlist(event != VELOX_CADENZ_EVENT_TRACK_PLAYED);
  take_next();
}

void radio_session::like(uint32_t event) {
  const listener_event& how = event_of(event);
  if (!record(how)) return;
  const bool another = draw();
  tell_of(how, current_->shown);
  if (another) tell_playlist(true);
}

bool radio_session::record(const listener_event& how) {
  if (!station_.record(how.event, *current_)) {
    tell_trouble("this track names no artist");
    return false;
  }
  ++counts_[how.event];
  return true;
}

/** Nothing is reported: the listener didn't skip it. */
void radio_session::pass_over(const std::string& why) {
  const playlist_track left = std::move(*current_);
  current_.reset();
  coming_.leave_out(left.shown);
  tell_trouble(description(left.shown) + " can't be played: " + why);
  told_({.what = happening::unplayable, .track = &left.shown, .texts = {{"why", why}}});
  if (coming_.due() && draw()) tell_playlist(false);
}

void radio_session::pause_or_go_on() {
  if (!played_) return tell_trouble("there is nothing to pause", {}, happening::misunderstood);
  paused_ = !paused_;
  told_({.what = paused_ ? happening::paused : happening::resumed, .track = &current_->shown});
}

void radio_session::change_setting(const std::string& text) {
  const std::optional<setting> wanted = read_setting(text);
  if (!wanted) {
    const std::string before = "settings ";
    return tell_trouble("no such setting: " + text,
                        number_settings(before) + " (0 to 1000), " + switch_settings(before, " on or off"),
                        happening::misunderstood);
  }
  station_.set(wanted->option->key, *wanted->value);
  const bool another = draw();
  tell_settings();
  if (another) tell_playlist(true);
}

// ---- What is told --------------------------------------------------------------------------------------------------

void radio_session::tell_settings() {
  const station_settings settings = station_.settings();
  told_({.what = happening::settings, .settings = &settings});
}

void radio_session::tell_of(const listener_event& how, const item& track) {
  told_({.what = happening::listened, .track = &track, .listened = &how});
}

void radio_session::tell_playlist(bool steered) {
  told_({.what = happening::playlist, .coming = &coming_.tracks(), .steered = steered});
}

void radio_session::tell_trouble(const std::string& what, const std::string& next, happening kind) {
  told_({.what = kind, .texts = {{"what", what}, {"next", next}}});
}

}  // namespace app
