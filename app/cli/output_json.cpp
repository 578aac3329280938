/* JSON for programs, through nlohmann-json. Fields that a track doesn't have are left out. */
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>

#include "cli/output.h"
#include "terminal/radio_input.h"
#include "terminal/text_safe.h"

namespace app {

namespace {

using json = nlohmann::ordered_json;

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

void put(json& object, const char* key, const std::string& value) {
  if (!value.empty()) object[key] = value;
}
void put(json& object, const char* key, const std::vector<std::string>& values) {
  if (!values.empty()) object[key] = values;
}
void put(json& object, const char* key, const std::optional<long>& value) {
  if (value) object[key] = *value;
}

/** Numbers as a person has them: a float that was 92.3 is no 92.30000305. */
double rounded(double value) { return std::round(value * 1000) / 1000; }
void put(json& object, const char* key, const std::optional<double>& value) {
  if (value) object[key] = rounded(*value);
}

json object_of(const heard& sound) {
  json object = json::object();
  put(object, "tempo", sound.tempo);
  put(object, "key", sound.key);
  put(object, "mode", sound.mode);
  put(object, "loudness", sound.loudness);
  put(object, "energy", sound.energy);
  put(object, "brightness", sound.brightness);
  return object;
}

json object_of(const item& shown) {
  json object = json::object();
  object["kind"] = kind_name(shown.kind);
  put(object, "title", shown.title);
  put(object, "artist", shown.artist);
  put(object, "album", shown.album);
  put(object, "year", shown.year);
  put(object, "era", shown.era);
  put(object, "genres", shown.genres);
  put(object, "moods", shown.moods);
  put(object, "duration", shown.duration_seconds);
  put(object, "popularity", shown.popularity);
  put(object, "path", shown.location);
  put(object, "uri", uri_of(shown.location));
  if (json sound = object_of(shown.sound); !sound.empty()) object["sound"] = std::move(sound);
  if (shown.reason.empty()) return object;

  json reason = json::object();
  reason["text"] = shown.reason;
  put(reason, "kind", shown.reason_kind);
  put(reason, "seed", shown.reason_seed);
  put(reason, "score", shown.score);
  object["reason"] = std::move(reason);
  return object;
}

json array_of(const std::vector<item>& items) {
  json array = json::array();
  for (const item& one : items) array.push_back(object_of(one));
  return array;
}

/** A moment as RFC 3339 writes it. */
std::string moment_of(uint64_t seconds) {
  const auto moment = static_cast<time_t>(seconds);
  tm parts = {};
  char text[32];
  return gmtime_r(&moment, &parts) && std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) > 0 ? text : "";
}

json object_of(const station_settings& settings) {
  json object = json::object();
  for (const setting& one : settings) {
    if (!one.value) continue;
    if (one.option->form == VELOX_OPTION_NUMBER)
      object[one.option->name] = std::strtol(one.value->c_str(), nullptr, 10);
    else
      object[one.option->name] = one.is_on();
  }
  return object;
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
  for (const named_list& list : lists) {
    json& rows = document[list.name] = json::array();
    for (const list_row& row : list.rows) rows.push_back({{"name", row.name}, {"tracks", row.tracks}});
  }
  return dumped(document);
}

std::string json_of(const std::vector<station_row>& stations) {
  json array = json::array();
  for (const station_row& row : stations)
    array.push_back({{"station", row.id},
                     {"name", row.name},
                     {"created", moment_of(row.created)},
                     {"used", moment_of(row.used)},
                     {"played", row.played},
                     {"skipped", row.skipped},
                     {"liked", row.liked},
                     {"banned", row.disliked}});
  return dumped(array);
}

std::string json_of(const std::vector<history_row>& history) {
  json array = json::array();
  for (const history_row& row : history) {
    array.push_back({{"time", moment_of(row.time)}, {"event", row.event}});
    put(array.back(), "title", row.title);
    put(array.back(), "artist", row.artist);
  }
  return dumped(array);
}

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
