/* A session of the radio in words for a person. */
#include <algorithm>

#include "cli/output.h"
#include "core/text_safe.h"
#include "terminal/radio_input.h"

namespace app {

namespace {

constexpr size_t shown_at_start = 5;

const std::string& text_named(const radio_event& event, std::string_view name) {
  return std::ranges::find(event.texts, name, [](const auto& one) { return std::string_view(one.first); })->second;
}

std::string settings_line(const station_settings& settings) {
  std::string line;
  for (const setting& one : settings) {
    const bool number = one.option->form == VELOX_OPTION_NUMBER;
    line += (line.empty() ? "Settings: " : ", ") + std::string(one.option->name) + ' ';
    line += number ? one.value.value_or("not set") : one.is_on() ? "on" : "off";
  }
  return line + '\n';
}

std::string keys() {
  std::string lines;
  for (const action_name& one : action_names) {
    const std::string word = one.word;
    lines += std::string("  ") + one.key + "  " + word + std::string(13 - word.size(), ' ') + help_of(one) + '\n';
  }
  return lines;
}

/** "2 played, 1 liked. Go on with: ..." */
std::string ending(const radio_event& event) {
  std::string counts;
  for (const auto& [name, count] : event.numbers)
    if (count > 0) counts += (counts.empty() ? "" : ", ") + std::to_string(count) + ' ' + spoken(name);
  return (counts.empty() ? "" : counts + ". ") + "Go on with: cadenz radio --station " + text_named(event, "station") +
         '\n';
}

/** A play needs no words: the next track follows. */
std::string listened_line(const listener_event& how, const item& track) {
  if (how.event == VELOX_CADENZ_EVENT_TRACK_PLAYED) return {};
  return spoken(how.name) + ": " + safe(how.is_of_artist() ? track.artist : description(track)) + '\n';
}

}  // namespace

std::string radio_words::operator()(const radio_event& event) {
  switch (event.what) {
    case happening::station:
      return "Station " + safe(text_named(event, "station")) + ": " + safe(text_named(event, "name")) + '\n' +
             heading_of(*event.from, where_) + (keys_ ? "Press ? for the keys.\n" : "");
    case happening::playlist:
      return playlist(event);
    case happening::track:
      return '\n' + line_of(*event.track, where_);
    case happening::listened:
      return listened_line(*event.listened, *event.track);
    case happening::paused:
      return "paused\n";
    case happening::resumed:
      return "going on\n";
    case happening::end:
      return ending(event);
    case happening::explain:
      return details_of(*event.track, where_);
    case happening::upcoming:
      return event.coming->empty() ? "That is chosen when this track is over.\n"
                                   : table_of(*event.coming, event.coming->size(), where_);
    case happening::settings:
      return settings_line(*event.settings);
    case happening::help:
      return keys();
    default:
      return {};
  }
}

/** How the first one begins, and of others only that something steered them. */
std::string radio_words::playlist(const radio_event& event) {
  if (std::exchange(playlist_shown_, true)) return event.steered ? "What comes next is new: u shows it.\n" : "";
  return "\nComing:\n" + table_of(*event.coming, shown_at_start, where_);
}

}  // namespace app
