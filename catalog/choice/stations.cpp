// A station's request: the station is visited, what the request tells is taken in, and the next tracks are chosen from its seeds
// and likes as its history lets them through.
#include <ctime>

#include "choice/answers.h"
#include "choice/history.h"
#include "choice/objects.h"
#include "model/identity.h"
#include "model/text.h"
#include "velox_catalog.h"
#include "velox_options.h"

namespace velox::catalog {
namespace {

constexpr uint32_t k_least_choice = 10;   /* for a short playlist too, so that there is something to put in order */
constexpr uint32_t k_share_of_artist = 5; /* of so many tracks, one may be of the same artist */
constexpr int64_t k_heard_in_a_part = 16; /* after so many tracks other parts of a large catalogue are looked at */

constexpr velox_option k_options[] = {VELOX_OPTIONS(VELOX_OPTION_RECORD)};

/** What a station keeps of a request's options: what chooses its tracks. */
bool is_kept(const velox_option& option) {
  return option.key && (option.requests & VELOX_OPTION_FOR_CREATE) && option.form != VELOX_OPTION_FLAG;
}

std::map<std::string, std::string> settings_of(const velox_standin_request& asked) {
  std::map<std::string, std::string> settings;
  for (const velox_option& each : k_options) {
    const char* value = is_kept(each) ? value_of(options_of(asked), each.request_key) : nullptr;
    if (value) settings[each.request_key] = value;
  }
  return settings;
}

/** A station's data and settings as the items of a request. */
struct station_items {
  std::vector<velox_standin_item> options, data;
  station_items(const station& of, const velox_standin_request& asked) {
    for (const station_datum& each : of.data) data.push_back({each.key.c_str(), each.value.c_str(), each.ordinal});
    for (const auto& [key, value] : of.settings) options.push_back({key.c_str(), value.c_str(), 0});
    for (const char* option : {VELOX_LOOKUP_OPTION_XIDS, VELOX_LOOKUP_OPTION_SONIC}) {
      if (const char* value = value_of(options_of(asked), option)) options.push_back({option, value, 0});
    }
  }
  request_items items() const { return {options, data}; }
};

/** The station's own seeds, filter and settings as a request, and likes as further seeds. */
request request_of(const store& from, const station_opening& opening, const velox_standin_request& asked) {
  const station_items items(opening.of, asked);
  request made = make_request(from, items.items(), opening.from);
  made.radio = true;
  made.fingerprint = hashed(opening.of.uid, static_cast<uint64_t>(opening.of.heard / k_heard_in_a_part));
  made.avoided = opening.avoided;
  const size_t likes_from = opening.from.seeds.size() - opening.likes.size();
  for (size_t i = likes_from; i < opening.from.seeds.size(); ++i) {
    seed near = make_seed(from, opening.from.seeds[i]);
    near.liked = true;
    if (near.artist != 0 || near.track != 0) made.seeds.push_back(std::move(near));
  }
  return made;
}

/** "Aurora Lane, Dream Pop": the seeds, then what narrows them. */
std::string name_of(const store& from, const request& asked, const station& of) {
  std::vector<std::string> parts;
  const auto add = [&](const std::string& part) {
    if (!part.empty() && std::find(parts.begin(), parts.end(), part) == parts.end()) parts.push_back(part);
  };
  for (const seed& each : asked.seeds) add(each.label);
  for (const auto& ids : asked.filter.any_of) {
    for (const int64_t id : ids) add(from.attribute(id).name);
  }
  if (const char* place = of.setting(VELOX_LOOKUP_OPTION_CATALOG_FILTER)) add(place);
  if (parts.empty()) return "Everything";
  std::string name;
  for (const std::string& part : parts) name += (name.empty() ? "" : ", ") + part;
  return clean(name, 100);
}

choices choose_next(store& from, const station_opening& opening, request asked, progress& run, int64_t now) {
  const uint32_t count = asked.count;
  asked.count = std::max(count, k_least_choice);
  asked.per_artist = std::min(asked.per_artist, asked.count / k_share_of_artist);
  station_history history(opening.of, opening.heard, asked, now);
  choices next = choose(from, asked, run, &history);
  history.keep_apart(next.tracks);
  if (next.tracks.size() > count) next.tracks.erase(next.tracks.begin() + count, next.tracks.end());
  return next;
}

/** The tracks in order, each within its album; neighbours of one album share it. */
void add_albums(store& from, const request& asked, const choices& next, standin::mdo_builder& to) {
  subjects chosen{.with_albums = true};
  for (const choice& each : next.tracks) chosen.tracks.push_back(each.track.id);
  const records told = from.describe(chosen);
  object_maker make(from, told, asked.xids, asked.sonic);
  for (size_t first = 0, end; first < next.tracks.size(); first = end) {
    const candidate& head = next.tracks[first].track;
    std::vector<object_maker::told_track> together;
    for (end = first; end < next.tracks.size(); ++end) {
      const choice& each = next.tracks[end];
      if (end > first && (head.album == 0 || each.track.album != head.album)) break;
      together.push_back({each.track.id, &each.why});
    }
    to.child(VELOX_CHILD_ALBUM, make.album_of(head.album, together));
  }
}

/** `of` is null for a station that isn't there. */
standin::mdo_ref answer(store& from, const station* of, const request& asked, const choices& next) {
  standin::mdo_builder made("velox_ctx_response", 1024);
  made.value(VELOX_VAL_RESPONSE_CODE, next.tracks.empty() ? VELOX_RESULT_NO_MATCHES : VELOX_RESULT_OK);
  if (of && of->id != 0) {
    made.value(VELOX_VAL_STATION_ID, of->uid).value(VELOX_VAL_STATION_NAME, of->name);
    for (const velox_option& each : k_options) {
      const char* value = each.reported ? of->setting(each.request_key) : nullptr;
      if (each.reported) made.value(standin::key(std::string_view(each.reported)), value ? value : "");
    }
  }
  if (!next.tracks.empty()) add_albums(from, asked, next, made);
  return made.finish();
}

/** The events of a request, in its order; empty, with `why` set, when one isn't understood. */
std::vector<told_event> events_of(const velox_standin_request& asked, bool* understood) {
  std::vector<told_event> events;
  uint32_t ordinal = 0;
  for (const velox_standin_item& item : data_of(asked)) {
    const std::string_view key = item.key ? item.key : "", value = item.value ? item.value : "";
    if (key == VELOX_LOOKUP_DATA_EVENT) {
      events.push_back({event_kind_of(value), {}, {}});
      ordinal = item.ordinal;
      continue;
    }
    if (events.empty() || item.ordinal != ordinal) continue;
    if (key == VELOX_LOOKUP_DATA_EVENT_TUI || key == VELOX_LOOKUP_DATA_EVENT_ARTIST_ID) events.back().subject = value;
    if (key == VELOX_LOOKUP_DATA_EVENT_TUI_TAG) events.back().tag = value;
  }
  *understood = std::none_of(events.begin(), events.end(),
                             [](const told_event& each) { return each.kind == k_no_event || each.subject.empty(); });
  return *understood ? events : std::vector<told_event>();
}

/** What a visit of a station differs in. */
enum visit_kind { only_looks, sets, tells };

/** The frame of what is asked of a station: it is found, changed, and its next tracks are told. */
standin::mdo_ref visit(store& from, const velox_standin_request& asked, progress& run, visit_kind kind) {
  view all(from, kind != only_looks);
  const char* uid = value_of(data_of(asked), VELOX_LOOKUP_DATA_STATION_ID);
  bool understood = true;
  station_visit by{.uid = uid ? uid : "",
                   .settings = settings_of(asked),
                   .keeps_settings = kind != only_looks,
                   .events = kind == tells ? events_of(asked, &understood) : std::vector<told_event>(),
                   .now = std::time(nullptr)};
  const std::optional<station_opening> opening = from.visit(by);
  if (opening && !understood)
    throw failure{VELOX_STANDIN_ERR_INVALID_ARG,
                  "an event is of no known kind, or tells of nothing; none was taken in"};
  request wanted;
  choices next;
  if (opening) {
    wanted = request_of(from, *opening, asked);
    next = choose_next(from, *opening, wanted, run, by.now);
  }
  standin::mdo_ref told = answer(from, opening ? &opening->of : nullptr, wanted, next);
  run.gave(next.tracks.size());
  all.commit();
  return told;
}

}  // namespace

standin::mdo_ref create_station(store& from, const velox_standin_request& asked, progress& run) {
  view all(from, true);
  station_opening opening;
  station& made = opening.of;
  made.uid = fresh_station_uid();
  for (const velox_standin_item& item : data_of(asked)) {
    if (item.key && item.value) made.data.push_back({item.key, item.value, item.ordinal});
  }
  made.settings = settings_of(asked);
  opening.from =
      from.resolve(references_of(seeds_in(data_of(asked)), made.setting(VELOX_LOOKUP_OPTION_CATALOG_FILTER)));
  const int64_t now = std::time(nullptr);
  const request wanted = request_of(from, opening, asked);
  const choices next = choose_next(from, opening, wanted, run, now);
  if (!next.tracks.empty()) {
    made.name = name_of(from, wanted, made);
    from.create(made, now);
  }
  standin::mdo_ref told = answer(from, &made, wanted, next);
  run.gave(next.tracks.size());
  all.commit();
  return told;
}

standin::mdo_ref tell_station(store& from, const velox_standin_request& asked, progress& run) {
  return visit(from, asked, run, tells);
}

standin::mdo_ref set_station(store& from, const velox_standin_request& asked, progress& run) {
  return visit(from, asked, run, sets);
}

standin::mdo_ref look_ahead(store& from, const velox_standin_request& asked, progress& run) {
  return visit(from, asked, run, only_looks);
}

}  // namespace velox::catalog
