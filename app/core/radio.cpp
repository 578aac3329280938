/* One thread that waits for input, signals and the end of a player. What steers the station is reported at once, before it is
 * told; plays are reported with the next playlist, and whatever is left at the end. */
#include "core/radio.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "cli/output.h"
#include "core/session.h"
#include "terminal/text_safe.h"

namespace app {

namespace {

constexpr const char* how_to_set = "settings popularity N, settings similarity N (0 to 1000), settings dmca on or off";
constexpr size_t shown_at_start = 5;

const listener_event& event_of(uint32_t event) { return listener_events[event - 1]; }

bool is_of_artist(const listener_event& how) { return how.event >= VELOX_CADENZ_EVENT_ARTIST_LIKE; }

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

std::string text_of(const station_settings& settings) {
  const auto number = [](const std::optional<long>& value) { return value ? std::to_string(*value) : "not set"; };
  return "Settings: popularity " + number(settings.popularity) + ", similarity " + number(settings.similarity) +
         ", dmca " + (settings.dmca.value_or(false) ? "on" : "off") + '\n';
}

/** The option and its value for a setting as a person writes it. */
std::optional<std::pair<const char*, std::string>> read_setting(const std::string& text) {
  const size_t blank = std::min(text.find(' '), text.size());
  const std::string key = text.substr(0, blank), value = text.substr(std::min(blank + 1, text.size()));
  if (key == "dmca") {
    for (const std::string_view on : {"on", "yes", "true", "1"})
      if (value == on) return {{VELOX_CADENZ_OPTION_STATION_DMCA, "1"}};
    for (const std::string_view off : {"off", "no", "false", "0"})
      if (value == off) return {{VELOX_CADENZ_OPTION_STATION_DMCA, "0"}};
    return std::nullopt;
  }

  unsigned number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (value.empty() || error != std::errc{} || end != value.data() + value.size() || number > 1000) return std::nullopt;
  if (key == "popularity") return {{VELOX_CADENZ_OPTION_FOCUS_POPULARITY, std::to_string(number)}};
  if (key == "similarity") return {{VELOX_CADENZ_OPTION_FOCUS_SIMILARITY, std::to_string(number)}};
  return std::nullopt;
}

}  // namespace

radio_session::radio_session(station& on, const std::string& catalog, const radio_request& request)
    : station_(on),
      request_(request),
      where_(terminal_of(STDOUT_FILENO)),
      coming_(on),
      with_player_(!request.player.empty()),
      hook_(request.on_event, catalog) {}

int radio_session::run(const std::string& name, const origin& from) {
  try {
    if (interrupted()) end("signal");
    const bool another = draw();
    show_station(name, from);
    if (another) show_playlist(false);
    if (!end_) take_next();
    while (!end_) {
      wait();
      if (end_ || orders_.empty()) continue;
      const order first = std::move(orders_.front());
      orders_.pop_front();
      obey(first);
    }
  } catch (const failure& failed) {
    tell(failed.what(), failed.hint);
    end("failure");
    status_ = exit_failed;
  }
  finish();
  return status_;
}

// ---- The loop ------------------------------------------------------------------------------------------------------

/** Waits for something to do; with orders left it only looks. */
void radio_session::wait() {
  if (orders_.empty() && input_over_) return end("input");
  pollfd sources[] = {{signals_.descriptor(), POLLIN, 0}, {input_.descriptor(), POLLIN, 0}};
  const bool idle = orders_.empty();
  const int ready = poll(sources, idle ? 2 : 1, idle ? milliseconds_until(hook_.due()) : 0);
  if (ready < 0 && errno != EINTR) throw failure(std::string("waiting: ") + std::strerror(errno));

  if (ready > 0 && sources[0].revents != 0) take_signals();
  hook_.update();
  if (ready > 0 && idle && sources[1].revents != 0) input_over_ = !input_.read(orders_);
}

void radio_session::take_signals() {
  const signal_watch::arrived arrived = signals_.take();
  if (arrived.end) return end("signal");
  if (arrived.suspend) {
    input_.suspend();
    player_.pause();
    raise(SIGSTOP);
    if (!paused_) player_.resume();
    input_.resume();
  }
  if (const std::optional<child_end> how = player_.ended()) track_ended(*how);
}

void radio_session::obey(const order& given) {
  switch (given.what) {
    case action::next:
      return leave(event_of(player_.running() ? VELOX_CADENZ_EVENT_TRACK_SKIPPED : VELOX_CADENZ_EVENT_TRACK_PLAYED));
    case action::skip:
      return leave(event_of(VELOX_CADENZ_EVENT_TRACK_SKIPPED));
    case action::love:
      return like(event_of(VELOX_CADENZ_EVENT_TRACK_LIKE));
    case action::ban:
      return leave(event_of(VELOX_CADENZ_EVENT_TRACK_DISLIKE));
    case action::love_artist:
      return like(event_of(VELOX_CADENZ_EVENT_ARTIST_LIKE));
    case action::ban_artist:
      return leave(event_of(VELOX_CADENZ_EVENT_ARTIST_DISLIKE));
    case action::explain:
      return answer({.name = "explain", .track = &current_->shown}, details_of(current_->shown, where_));
    case action::upcoming:
      return show_upcoming();
    case action::settings:
      if (!given.text.empty() && given.text != "s") return change_setting(given.text);
      show_settings();
      if (input_.has_keys() && !request_.json) {
        write("Change (popularity N, similarity N, dmca on|off; Enter for none): ");
        input_.ask_for_setting();
      }
      return;
    case action::pause:
      return pause_or_go_on();
    case action::help:
      return show_help();
    case action::quit:
      return end("quit");
    case action::nothing:
      return;
    case action::unknown:
      return not_understood("not understood: " + given.text, "help shows what there is");
  }
}

void radio_session::end(const char* why) {
  if (!end_) end_ = why;
}

/** Reports what isn't reported yet. The service waits for another process a bounded time only. */
void radio_session::finish() {
  player_.stop();
  try {
    if (!station_.in_step()) station_.draw();
  } catch (const failure& failed) {
    tell(failed.what());
  }
  if (const size_t missing = station_.unreported() + station_.lost(); missing > 0) {
    tell("of what happened, " + std::to_string(missing) + " couldn't be reported to the station");
    status_ = exit_failed;
  }

  radio_event last{.name = "end", .texts = {{"why", end_}, {"station", station_.id()}}};
  std::string line;
  for (const listener_event& one : listener_events) {
    last.numbers.emplace_back(one.name, counts_[one.event]);
    if (counts_[one.event] > 0)
      line += (line.empty() ? "" : ", ") + std::to_string(counts_[one.event]) + ' ' + spoken(one.name);
  }
  happened(last, (line.empty() ? "" : line + ". ") + "Go on with: cadenz radio --station " + station_.id() + '\n');
  hook_.finish();
}

// ---- The tracks ----------------------------------------------------------------------------------------------------

/** Reports, and looks for another playlist; a failure is told, and tried again before the next track. */
bool radio_session::draw() {
  try {
    return coming_.draw(current_ ? &current_->shown : nullptr);
  } catch (const failure& failed) {
    tell(failed.what(), "it is tried again with the next track");
    return false;
  }
}

/** Goes to the next track; one that can't be played is passed over. */
void radio_session::take_next() {
  paused_ = false;
  for (;;) {
    current_ = coming_.take();
    if (!current_ && with_player_ && coming_.bring_back()) {
      tell("none of the tracks that are left can be played", "going on without the player");
      with_player_ = false;
      continue;
    }
    if (!current_) break;
    show_track();
    if (!with_player_ || start_player()) return;
  }
  tell("nothing is left to play on this station",
       "scan more music, start another station, or come back later: what was played comes again after a while");
  if (std::ranges::all_of(counts_, [](uint64_t count) { return count == 0; })) status_ = exit_failed;
  end("nothing-left");
}

/** Leaves the current track for the next one. */
void radio_session::leave(const listener_event& how) {
  if (!record(how)) return;
  player_.stop();
  const playlist_track left = std::move(*current_);
  current_.reset();
  if (how.event == VELOX_CADENZ_EVENT_TRACK_DISLIKE) coming_.ban_track(left.shown);
  if (how.event == VELOX_CADENZ_EVENT_ARTIST_DISLIKE) coming_.ban_artist(left.shown);
  if (how.event != VELOX_CADENZ_EVENT_TRACK_PLAYED) coming_.outdate();

  const bool another = coming_.due() && draw();
  tell_of(how, left.shown);
  if (another) show_playlist(how.event != VELOX_CADENZ_EVENT_TRACK_PLAYED);
  take_next();
}

void radio_session::like(const listener_event& how) {
  if (!record(how)) return;
  const bool another = draw();
  tell_of(how, current_->shown);
  if (another) show_playlist(true);
}

bool radio_session::record(const listener_event& how) {
  if (!station_.record(how.event, *current_)) {
    tell("this track names no artist");
    return false;
  }
  ++counts_[how.event];
  return true;
}

void radio_session::change_setting(const std::string& text) {
  const auto setting = read_setting(text);
  if (!setting) return not_understood("no such setting: " + text, how_to_set);
  station_.set(setting->first, setting->second);
  const bool another = draw();
  show_settings();
  if (another) show_playlist(true);
}

// ---- The player ----------------------------------------------------------------------------------------------------

/** True when the track is playing, or the listener is to walk on by hand. */
bool radio_session::start_player() {
  const std::string& location = current_->shown.location;
  if (const std::string trouble = location_trouble(location); !trouble.empty()) {
    pass_over(trouble);
    return false;
  }
  std::vector<std::string> words = request_.player;
  words.push_back(location.front() == '-' ? "./" + location : location);
  if (const int error = player_.start(words); error != 0) {
    tell("the player " + words.front() + " can't be started: " + std::strerror(error), "going on without it");
    with_player_ = false;
  }
  return true;
}

void radio_session::track_ended(const child_end& how) {
  if (how.fine) return leave(event_of(VELOX_CADENZ_EVENT_TRACK_PLAYED));
  pass_over("the player ended with " + how.how);
  take_next();
}

/** Nothing is reported: the listener didn't skip it. */
void radio_session::pass_over(const std::string& why) {
  const playlist_track left = std::move(*current_);
  current_.reset();
  coming_.leave_out(left.shown);
  tell(description(left.shown) + " can't be played: " + why);
  happened({.name = "unplayable", .track = &left.shown, .texts = {{"why", why}}}, {});
  if (coming_.due() && draw()) show_playlist(false);
}

void radio_session::pause_or_go_on() {
  if (!player_.running()) return not_understood("there is no player to pause", "give one with --player COMMAND");
  paused_ = !paused_;
  if (paused_)
    player_.pause();
  else
    player_.resume();
  happened({.name = paused_ ? "paused" : "resumed", .track = &current_->shown}, paused_ ? "paused\n" : "going on\n");
}

// ---- What is told --------------------------------------------------------------------------------------------------

void radio_session::happened(const radio_event& event, const std::string& line) {
  answer(event, line);
  hook_.add(event.name, station_.id(), event.track);
}

void radio_session::answer(const radio_event& event, const std::string& text) {
  write(request_.json ? json_line(event) : text);
}

/** A reader that went away ends the session. */
void radio_session::write(const std::string& text) {
  if (!output_there_ || text.empty() || write_output(text)) return;
  output_there_ = false;
  if (errno != EPIPE && errno != EIO) {
    tell(std::string("the output can't be written: ") + std::strerror(errno));
    status_ = exit_failed;
  }
  end("output");
}

void radio_session::not_understood(const std::string& what, const std::string& next) {
  tell(what, next);
  if (!input_.has_keys()) status_ = exit_failed;
}

void radio_session::tell_of(const listener_event& how, const item& track) {
  const std::string what = is_of_artist(how) ? track.artist : description(track);
  happened({.name = how.name, .track = &track}, how.sentence ? how.sentence + safe(what) + '\n' : "");
}

void radio_session::show_station(const std::string& name, const origin& from) {
  const station_settings settings = station_.settings();
  happened({.name = "station",
            .settings = &settings,
            .texts = {{"station", station_.id()}, {"name", name}, {"state", station_.reopened() ? "reopened" : "new"}}},
           "Station " + safe(station_.id()) + ": " + safe(name) + '\n' + heading_of(from, where_) +
               (input_.has_keys() ? "Press ? for the keys.\n" : ""));
}

/** A person sees how the first playlist begins, and of others only that something steered them. */
void radio_session::show_playlist(bool steered) {
  const std::vector<playlist_track>& tracks = coming_.tracks();
  std::string text = steered ? "What comes next is new: u shows it.\n" : "";
  if (!playlist_shown_) text = "\nComing:\n" + table_of(tracks, shown_at_start, where_);
  playlist_shown_ = true;
  happened({.name = "playlist", .coming = &tracks}, text);
}

void radio_session::show_track() {
  happened({.name = "track", .track = &current_->shown}, '\n' + line_of(current_->shown, where_));
}

void radio_session::show_upcoming() {
  const std::vector<playlist_track>& tracks = coming_.tracks();
  answer({.name = "upcoming", .coming = &tracks},
         tracks.empty() ? "That is chosen when this track is over.\n" : table_of(tracks, tracks.size(), where_));
}

void radio_session::show_settings() {
  const station_settings settings = station_.settings();
  answer({.name = "settings", .settings = &settings}, text_of(settings));
}

void radio_session::show_help() {
  radio_event event{.name = "help"};
  std::string text;
  for (const action_name& one : action_names) {
    event.texts.emplace_back(one.word, one.help);
    const std::string word = one.word;
    text += std::string("  ") + one.key + "  " + word + std::string(13 - word.size(), ' ') + one.help + '\n';
  }
  answer(event, text);
}

}  // namespace app
