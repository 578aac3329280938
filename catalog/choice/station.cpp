// A station's request: the station is found, what the request tells is taken in, and the next tracks are chosen from its seeds
// and likes as its history lets them through.
#include "choice/station.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <ctime>

#include "choice/history.h"
#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr int64_t k_likes = 5;            /* liked tracks and artists that draw */
constexpr uint32_t k_least_choice = 10;   /* for a short playlist too, so that there is something to put in order */
constexpr uint32_t k_share_of_artist = 5; /* of so many tracks, one may be of the same artist */
constexpr int64_t k_heard_in_a_part = 16; /* after so many tracks other parts of a large catalogue are looked at */

/* Settings of a station by the request's keys, and where an answer tells them; empty for one that none tells. */
struct setting {
  const char* option;
  std::string_view value;
};
constexpr setting k_settings[] = {
    {"velox_lookup_option_focus_popularity", "_sdkmgr_val_cadenz_option_focus_popularity"},
    {"velox_lookup_option_focus_similarity", "_sdkmgr_val_cadenz_option_focus_similarity"},
    {"velox_lookup_option_dmca", "_sdkmgr_val_cadenz_option_dmca"},
    {"velox_lookup_option_return_count", {}},
    {"velox_lookup_option_catalog_filter", {}}};

bool is_true(const std::string& text) {
  std::string word;
  for (const char c : text) word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (word == "y" || word == "yes" || word == "true" || word == "on") return true;
  return std::strtoul(word.c_str(), nullptr, 0) != 0 && std::isdigit(static_cast<unsigned char>(word[0]));
}

std::string setting_of(const station& of, const char* option) {
  const auto found = of.settings.find(option);
  return found == of.settings.end() ? std::string() : found->second;
}

/** What the request sets is the station's from now on. */
void take_settings(station& to, const velox_standin_request& request) {
  for (const setting& each : k_settings) {
    if (const char* value = option_of(request, each.option)) to.settings[each.option] = value;
  }
}

/** The station's own seeds, filter and settings as a request, and likes as further seeds. */
wish wish_of(connection& from, const station& of, const velox_standin_request& request) {
  std::vector<velox_standin_item> data, options;
  for (const station_datum& each : of.data) data.push_back({each.key.c_str(), each.value.c_str(), each.ordinal});
  for (const auto& [key, value] : of.settings) options.push_back({key.c_str(), value.c_str(), 0});
  if (const char* xids = option_of(request, "velox_lookup_option_xids"))
    options.push_back({"velox_lookup_option_xids", xids, 0});
  wish made = read_wish(from, {request.type, request.name, options.data(), static_cast<uint32_t>(options.size()),
                               data.data(), static_cast<uint32_t>(data.size())});
  made.radio = true;
  made.digest = hashed(of.uid, static_cast<uint64_t>(of.heard / k_heard_in_a_part));
  if (of.id == 0) return made;
  for (const told_event& like : station_store(*from.db).liked(of.id, k_likes)) {
    seed near;
    const bool known = like.kind == k_track_like ? seed_of_track(from, like.subject.c_str(), like.tag.c_str(), &near)
                                                 : seed_of_artist(from, like.subject.c_str(), &near);
    if (!known) continue;
    near.ordinal = 0;
    near.liked = true;
    made.seeds.push_back(std::move(near));
  }
  return made;
}

/** "Aurora Lane, Dream Pop": the seeds, then what narrows them. */
std::string name_of(connection& from, const wish& asked, const station& of) {
  std::vector<std::string> parts;
  const auto add = [&](const std::string& part) {
    if (!part.empty() && std::find(parts.begin(), parts.end(), part) == parts.end()) parts.push_back(part);
  };
  for (const seed& each : asked.seeds) add(each.label);
  for (const auto& ids : asked.filter) {
    for (const int64_t id : ids) add(from.attrs.at(id).name);
  }
  add(setting_of(of, "velox_lookup_option_catalog_filter"));
  if (parts.empty()) return "Everything";
  std::string name;
  for (const std::string& part : parts) name += (name.empty() ? "" : ", ") + part;
  return clean(name, 100);
}

choices choose_next(connection& from, const station& of, wish asked, progress& run, int64_t now) {
  const uint32_t count = asked.count;
  asked.count = std::max(count, k_least_choice);
  asked.per_artist = std::min(asked.per_artist, asked.count / k_share_of_artist);
  station_history history(from, of, asked, is_true(setting_of(of, "velox_lookup_option_dmca")), now);
  choices next = choose(from, asked, run, &history);
  history.keep_apart(next.tracks);
  if (next.tracks.size() > count) next.tracks.erase(next.tracks.begin() + count, next.tracks.end());
  return next;
}

/** The tracks in order, each within its album; neighbours of one album share it. */
void add_albums(connection& from, const wish& asked, const choices& next, standin::mdo_builder& to) {
  object_maker make(*from.db, from.attrs, asked.xids);
  for (size_t first = 0, end; first < next.tracks.size(); first = end) {
    const candidate& head = next.tracks[first].track;
    std::vector<object_maker::told_track> together;
    for (end = first; end < next.tracks.size(); ++end) {
      const choice& each = next.tracks[end];
      if (end > first && (head.album == 0 || each.track.album != head.album)) break;
      together.push_back({each.track.id, &each.why});
    }
    to.child("velox_ctx_album!", make.album_of(head.album, together));
  }
}

standin::mdo_ref answer(connection& from, const station* of, const wish& asked, const choices& next) {
  standin::mdo_builder made("velox_ctx_response", 1024);
  made.value("_sdkmgr_val_response_code", next.tracks.empty() ? "velox_result_no_matches" : "velox_result_ok");
  if (of && of->id != 0) {
    made.value("_sdkmgr_val_cadenz_radio_id", of->uid).value(VELOX_VAL_STATION_NAME, of->name);
    for (const setting& each : k_settings) {
      if (!each.value.empty()) made.value(standin::key(each.value), setting_of(*of, each.option));
    }
  }
  add_albums(from, asked, next, made);
  return made.finish();
}

const char* datum_of(const velox_standin_request& request, const char* key) {
  for (uint32_t i = 0; i < request.data_count; ++i) {
    if (request.data[i].key && std::strcmp(request.data[i].key, key) == 0) return request.data[i].value;
  }
  return nullptr;
}

/** The frame of what is asked of a station: it is found, `change` is made to it, and its next tracks are told. */
template <class Change>
standin::mdo_ref ask_station(connection& from, const velox_standin_request& request, progress& run, bool writes,
                             Change change) {
  transaction all(*from.db, writes);
  from.attrs.refresh();
  station_store store(*from.db);
  const char* uid = datum_of(request, "velox_lookup_data_radio_id");
  std::optional<station> of = uid ? store.find(uid) : std::nullopt;
  wish asked;
  choices next;
  if (of) {
    const int64_t now = std::time(nullptr);
    take_settings(*of, request);
    change(store, *of, now);
    asked = wish_of(from, *of, request);
    next = choose_next(from, *of, asked, run, now);
  }
  standin::mdo_ref told = answer(from, of ? &*of : nullptr, asked, next);
  run.gave(static_cast<uint32_t>(next.tracks.size()));
  all.commit();
  return told;
}

/** The events of a request, in its order. */
std::vector<told_event> events_of(const velox_standin_request& request) {
  std::vector<told_event> events;
  uint32_t ordinal = 0;
  for (uint32_t i = 0; i < request.data_count; ++i) {
    const velox_standin_item& item = request.data[i];
    const std::string_view key = item.key ? item.key : "", value = item.value ? item.value : "";
    if (key == "velox_lookup_data_radio_event") {
      events.push_back({event_kind_of(value), {}, {}});
      ordinal = item.ordinal;
      continue;
    }
    if (events.empty() || item.ordinal != ordinal) continue;
    if (key == "velox_lookup_data_radio_event_track_tui" || key == "velox_lookup_data_radio_event_artist_id")
      events.back().subject = value;
    if (key == "velox_lookup_data_radio_event_track_tui_tag") events.back().tag = value;
  }
  for (const told_event& each : events) {
    if (each.kind == 0 || each.subject.empty())
      throw failure{VELOX_STANDIN_ERR_INVALID_ARG,
                    "an event is of no known kind, or tells of nothing; none was taken in"};
  }
  return events;
}

}  // namespace

standin::mdo_ref create_station(connection& from, const velox_standin_request& request, progress& run) {
  transaction all(*from.db, true);
  from.attrs.refresh();
  station made;
  made.uid = fresh_uid();
  for (uint32_t i = 0; i < request.data_count; ++i) {
    const velox_standin_item& item = request.data[i];
    if (item.key && item.value) made.data.push_back({item.key, item.value, item.ordinal});
  }
  take_settings(made, request);
  const int64_t now = std::time(nullptr);
  const wish asked = wish_of(from, made, request);
  const choices next = choose_next(from, made, asked, run, now);
  if (!next.tracks.empty()) {
    made.name = name_of(from, asked, made);
    station_store(*from.db).create(made, now);
  }
  standin::mdo_ref told = answer(from, &made, asked, next);
  run.gave(static_cast<uint32_t>(next.tracks.size()));
  all.commit();
  return told;
}

standin::mdo_ref tell_station(connection& from, const velox_standin_request& request, progress& run) {
  return ask_station(from, request, run, true, [&](station_store& store, station& to, int64_t now) {
    store.set(to);
    for (const told_event& each : events_of(request)) store.add(to, each, now);
  });
}

standin::mdo_ref set_station(connection& from, const velox_standin_request& request, progress& run) {
  return ask_station(from, request, run, true, [](station_store& store, station& to, int64_t) { store.set(to); });
}

standin::mdo_ref look_ahead(connection& from, const velox_standin_request& request, progress& run) {
  return ask_station(from, request, run, false, [](station_store&, station&, int64_t) {});
}

}  // namespace velox::catalog
