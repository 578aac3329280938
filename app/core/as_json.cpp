/* Through nlohmann-json. */
#include "core/as_json.h"

#include <cmath>
#include <cstdlib>
#include <ctime>

#include "core/playlists.h"

namespace app {

void put(json& object, const char* key, const std::string& value) {
  if (!value.empty()) object[key] = value;
}
void put(json& object, const char* key, const std::vector<std::string>& values) {
  if (!values.empty()) object[key] = values;
}
void put(json& object, const char* key, const std::optional<long>& value) {
  if (value) object[key] = *value;
}

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

json object_of(const item& shown, bool with_place) {
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
  if (with_place) {
    put(object, "path", shown.location);
    put(object, "uri", uri_of(shown.location));
  }
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

json object_of(const station_row& row) {
  return {{"station", row.id},           {"name", row.name},      {"created", moment_of(row.created)},
          {"used", moment_of(row.used)}, {"played", row.played},  {"skipped", row.skipped},
          {"liked", row.liked},          {"banned", row.disliked}};
}

json array_of(const std::vector<history_row>& history) {
  json array = json::array();
  for (const history_row& row : history) {
    array.push_back({{"time", moment_of(row.time)}, {"event", row.event}});
    put(array.back(), "title", row.title);
    put(array.back(), "artist", row.artist);
  }
  return array;
}

json array_of(const named_list& list) {
  json rows = json::array();
  for (const list_row& row : list.rows) rows.push_back({{"name", row.name}, {"tracks", row.tracks}});
  return rows;
}

}  // namespace app
