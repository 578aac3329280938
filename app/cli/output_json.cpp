/* JSON for programs, through nlohmann-json. Fields that a track doesn't have are left out. */
#include <cstdio>

#include "cli/output.h"
#include "core/as_json.h"
#include "core/text_safe.h"
#include "terminal/radio_input.h"

namespace app {

namespace {

/** The text of a document. Invalid UTF-8 becomes U+FFFD. Dumping escapes the controls below the blank; what else acts on a
 *  terminal stands in strings only, and is escaped here. */
std::string dumped(const json& document, int indent = 2) {
  const std::string raw = document.dump(indent, ' ', false, json::error_handler_t::replace);
  std::string text;
  text.reserve(raw.size() + 1);
  const auto escape = [&](char32_t unit) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "\\u%04x", static_cast<unsigned>(unit));
    text += digits;
  };
  for (size_t at = 0; at < raw.size();) {
    const char32_t code_point = next_code_point(raw, at);
    if (!acts_on_terminal(code_point)) {
      append_utf8(text, code_point);
    } else if (code_point < 0x10000) {
      escape(code_point);
    } else {
      escape(0xd7c0 + (code_point >> 10));  // a pair of surrogates
      escape(0xdc00 + (code_point & 0x3ff));
    }
  }
  return text + '\n';
}

}  // namespace

std::string json_of_sound(const item& track, const velox_sound& sound, const std::vector<alike>& near) {
  json document = object_of(track);
  document["sound"] = object_of(heard_in(sound));
  document["sound"]["range"] = rounded(static_cast<double>(sound.range));
  document["sound"]["regularity"] = rounded(static_cast<double>(sound.regularity));
  document["near"] = json::array();
  for (const alike& each : near) {
    json one = object_of(each.shown);
    one["distance"] = rounded(each.distance);
    document["near"].push_back(std::move(one));
  }
  return dumped(document);
}

std::string json_of(const recommendation& result) {
  json document = json::object();
  document["seeds"] = array_of(result.from.seeds);
  document["filters"] = json::array();
  for (const auto& [kind, name] : result.from.filters) document["filters"].push_back({{"kind", kind}, {"name", name}});
  put(document, "fallback", result.fallback);
  if (result.from.invented) document["invented"] = true;
  document["tracks"] = array_of(result.tracks);
  return dumped(document);
}

std::string json_of(const std::vector<item>& found) { return dumped(array_of(found)); }

std::string json_of(const std::vector<named_list>& lists) {
  json document = json::object();
  for (const named_list& list : lists) document[list.name] = array_of(list);
  return dumped(document);
}

std::string json_of(const std::vector<station_row>& stations) {
  json array = json::array();
  for (const station_row& row : stations) array.push_back(object_of(row));
  return dumped(array);
}

std::string json_of(const std::vector<history_row>& history) { return dumped(array_of(history)); }

std::string json_line(const radio_event& event) {
  json object = json::object();
  object["event"] = event.name();
  for (const auto& [key, value] : event.texts) object[key] = value;
  if (event.what == happening::help)
    for (const action_name& one : action_names) object[one.word] = help_of(one);
  if (event.settings) object["settings"] = object_of(*event.settings);
  for (const auto& [key, value] : event.numbers) object[key] = value;
  if (event.track) object["track"] = object_of(*event.track);
  if (event.coming) {
    json& tracks = object["tracks"] = json::array();
    for (const playlist_track& one : *event.coming) tracks.push_back(object_of(one.shown));
  }
  return dumped(object, -1);
}

}  // namespace app
