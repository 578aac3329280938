/* JSON for programs, through nlohmann-json. Fields that a track doesn't have are left out. */
#include <nlohmann/json.hpp>

#include "output.h"

namespace app {

namespace {

using json = nlohmann::ordered_json;

/** The text of a document. Invalid UTF-8 becomes U+FFFD. Dumping escapes the controls below blank; DEL and the controls above
 *  it are escaped here, since they stand in strings only. */
std::string dumped(const json& document) {
  const std::string raw = document.dump(2, ' ', false, json::error_handler_t::replace);
  std::string text;
  text.reserve(raw.size() + 1);
  const auto escape = [&](unsigned char code) {
    constexpr char digits[] = "0123456789abcdef";
    text += "\\u00";
    text += digits[code >> 4];
    text += digits[code & 0xf];
  };
  for (size_t i = 0; i < raw.size(); ++i) {
    const auto byte = static_cast<unsigned char>(raw[i]);
    const auto next = static_cast<unsigned char>(i + 1 < raw.size() ? raw[i + 1] : 0);
    if (byte == 0x7f) {
      escape(byte);
    } else if (byte == 0xc2 && next >= 0x80 && next < 0xa0) {
      escape(next);
      ++i;
    } else {
      text += raw[i];
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

}  // namespace

std::string json_of(const recommendation& result) {
  json document = json::object();
  document["seeds"] = array_of(result.seeds);
  document["filters"] = json::array();
  for (const auto& [kind, name] : result.filters) document["filters"].push_back({{"kind", kind}, {"name", name}});
  put(document, "fallback", result.fallback);
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

}  // namespace app
