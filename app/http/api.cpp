/* Each function is one address. What a listener may not know of is told as what isn't there. */
#include "http/api.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <map>
#include <numbers>

#include "core/finding.h"
#include "core/playlists.h"
#include "http/media_id.h"

namespace app::http {

namespace {

constexpr uint32_t most_found = 50;
constexpr size_t most_seeds = VELOX_CADENZ_MAX_SEEDS, most_text = 500, most_filters = 50;
constexpr uint32_t neighbours = 24;

// ---- Reading a request ---------------------------------------------------------------------------------------------

[[noreturn]] void refuse_track() { throw refusal(404, "there is no such track"); }

std::string identifier(const std::string& address) {
  const std::optional<std::string> id = from_address(address);
  if (!id) throw refusal(404, "there is no such thing");
  return *id;
}

const json* member(const json& object, const char* name) {
  const auto found = object.find(name);
  return found == object.end() ? nullptr : &*found;
}

std::string text_in(const json& object, const char* name) {
  const json* value = member(object, name);
  if (!value) return {};
  if (!value->is_string() || value->get_ref<const std::string&>().size() > most_text)
    throw refusal(400, std::string("\"") + name + "\" isn't a text that fits");
  return *value;
}

std::vector<std::string> texts_in(const json& object, const char* name) {
  std::vector<std::string> texts;
  const json* values = member(object, name);
  if (!values) return texts;
  if (!values->is_array() || values->size() > most_filters)
    throw refusal(400, std::string("\"") + name + "\" isn't a list that fits");
  for (const json& one : *values) {
    if (!one.is_string()) throw refusal(400, std::string("\"") + name + "\" isn't a list of texts");
    texts.push_back(one);
  }
  return texts;
}

item_kind kind_in(const std::string& name) {
  for (const item_kind kind : {item_kind::track, item_kind::album, item_kind::artist})
    if (name == kind_name(kind)) return kind;
  throw refusal(400, "a seed is a track, an album or an artist");
}

uint32_t number_in(const std::string& text, uint32_t otherwise, uint32_t most) {
  uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return text.empty() || error != std::errc{} || end != text.data() + text.size() ? otherwise : std::min(number, most);
}

/** The settings of a request as the radio reads them: "popularity 300", "dmca on". */
std::vector<std::string> settings_in(const json& body) {
  std::vector<std::string> texts;
  const json* settings = member(body, "settings");
  if (!settings) return texts;
  if (!settings->is_object()) throw refusal(400, "\"settings\" isn't an object");
  for (const auto& [name, value] : settings->items()) {
    const std::string text = value.is_boolean()          ? (value ? "on" : "off")
                             : value.is_number_integer() ? value.dump()
                                                         : "?";
    if (!read_setting(name + ' ' + text)) throw refusal(400, "there is no setting \"" + name + "\" of this form");
    texts.push_back(name + ' ' + text);
  }
  return texts;
}

// ---- Stations ------------------------------------------------------------------------------------------------------

station_row row_of(house& in, const call& by) {
  const std::string id = identifier(by.id);
  const std::vector<station_row> rows = read_stations(shelf::borrowed(in.catalogs));
  const auto found = std::ranges::find(rows, id, &station_row::id);
  if (found == rows.end() || !in.people.owns(by.who, id))
    throw refusal(404, "there is no such station", "it may have been removed");
  return *found;
}

json told(const station_row& row) {
  json object = object_of(row);
  object.erase("station");
  json told = {{"id", as_address(row.id)}};
  told.update(object);
  return told;
}

/** What a listener knows of a station. */
answer state_of(const station_row& row, const open_station& on, int status = 200) {
  json state = {{"station", told(row)}};
  state.update(on.state());
  return {.status = status, .body = std::move(state)};
}

answer list_stations(house& in, const call& by) {
  json rows = json::array();
  for (const station_row& row : read_stations(shelf::borrowed(in.catalogs)))
    if (in.people.owns(by.who, row.id)) rows.push_back(told(row));
  return {.body = std::move(rows)};
}

answer make_station(house& in, const call& by) {
  start_request request;
  request.timeout_seconds = 30;
  if (const json* seeds = member(by.body, "seeds")) {
    if (!seeds->is_array() || seeds->size() > most_seeds)
      throw refusal(400, "at most " + std::to_string(most_seeds) + " seeds, in a list");
    for (const json& one : *seeds)
      if (one.is_object())
        request.identified.push_back({kind_in(text_in(one, "kind")), identifier(text_in(one, "id"))});
  }
  request.genres = texts_in(by.body, "genres");
  request.moods = texts_in(by.body, "moods");
  request.eras = texts_in(by.body, "eras");
  for (const std::string& text : settings_in(by.body)) {
    const std::optional<setting> one = read_setting(text);
    request.options.emplace_back(one->option->key, *one->value);
  }
  if (request.identified.empty() && !request.has_filters())
    throw refusal(400, "nothing to start from", "give a track, an album, an artist, a genre, a mood or an era");

  answer made;
  in.stations.create(request, [&](open_station& on) {
    in.people.own(by.who, on.id());
    const shelf::borrowed catalog(in.catalogs);
    made = state_of(find_station(catalog, on.id()), on, 201);
  });
  return made;
}

answer station_state(house& in, const call& by) {
  // Asked again and again: what hasn't changed costs no look at the catalogue.
  if (const std::string since = by.parameter("since"), id = identifier(by.id);
      !since.empty() && in.people.owns(by.who, id)) {
    const std::optional<uint64_t> revision = in.stations.revision(id);
    if (revision && since == std::to_string(*revision)) return {.status = 204};
  }
  const station_row row = row_of(in, by);
  answer state;
  in.stations.on(row.id, [&](open_station& on) { state = state_of(row, on); });
  return state;
}

answer change_station(house& in, const call& by) {
  station_row row = row_of(in, by);
  const std::vector<std::string> settings = settings_in(by.body);
  if (const std::string name = text_in(by.body, "name"); !name.empty()) {
    const catalog_owner catalog = open_catalog(in.catalogs.path(), true);
    check(velox_catalog_station_rename(catalog.get(), row.id.c_str(), name.c_str()));
    row = find_station(catalog.get(), row.id);
  }
  answer state;
  in.stations.on(row.id, [&](open_station& on) {
    on.changed();
    for (const std::string& text : settings) on.obey({action::settings, text}, {});
    state = state_of(row, on);
  });
  return state;
}

answer remove_station(house& in, const call& by) {
  const station_row row = row_of(in, by);
  in.stations.drop(row.id);
  const catalog_owner catalog = open_catalog(in.catalogs.path(), true);
  check(velox_catalog_station_remove(catalog.get(), row.id.c_str()));
  in.people.disown(row.id);
  return {.status = 204};
}

answer order_station(house& in, const call& by) {
  static const std::map<std::string, action> orders = {{"next", action::next},
                                                       {"skip", action::skip},
                                                       {"love", action::love},
                                                       {"ban", action::ban},
                                                       {"love-artist", action::love_artist},
                                                       {"ban-artist", action::ban_artist},
                                                       {"ended", action::ended},
                                                       {"unplayable", action::unplayable}};
  const auto given = orders.find(text_in(by.body, "order"));
  if (given == orders.end()) throw refusal(400, "there is no such order");
  const std::string about = identifier(text_in(by.body, "track"));
  if (about.empty()) throw refusal(400, "an order is about a track");
  const station_row row = row_of(in, by);
  answer state;
  in.stations.on(row.id, [&](open_station& on) {
    on.obey({given->second, text_in(by.body, "why")}, about);
    state = state_of(row, on);
  });
  return state;
}

answer station_history(house& in, const call& by) {
  const station_row row = row_of(in, by);
  return {.body = array_of(read_history(shelf::borrowed(in.catalogs), row.id))};
}

/** The playlist for another player, whose tracks are this server's. */
recommendation playlist_of(house& in, const call& by) {
  const station_row row = row_of(in, by);
  recommendation list;
  in.stations.on(row.id, [&](open_station& on) { list.tracks = on.playlist(); });
  for (item& track : list.tracks) track.location = by.base + "/api/tracks/" + as_address(track.id) + "/sound";
  return list;
}

answer station_m3u(house& in, const call& by) {
  return {.text = m3u_of(playlist_of(in, by), false), .type = "audio/x-mpegurl"};
}

answer station_xspf(house& in, const call& by) {
  return {.text = xspf_of(playlist_of(in, by), true), .type = "application/xspf+xml"};
}

// ---- The catalogue -------------------------------------------------------------------------------------------------

answer hello(house& in, const call& by) {
  const shelf::borrowed catalog(in.catalogs);
  velox_catalog_counts counts = {};
  check(velox_catalog_count(catalog, &counts));
  velox_catalog_sound_counts sounds = {};
  check(velox_catalog_sound_count(catalog, &sounds));
  json settings = json::array();
  for (const velox_option& option : all_options) {
    if (!option.reported) continue;
    if (option.form == VELOX_OPTION_NUMBER)
      settings.push_back(
          {{"name", option.name}, {"form", "number"}, {"least", 0}, {"most", 1000}, {"help", option.help}});
    else
      settings.push_back({{"name", option.name}, {"form", "switch"}, {"help", option.help}});
  }
  return {.body = {{"program", "cadenz"},
                   {"version", velox_cadenz_get_version()},
                   {"user", by.who.id ? json(by.who.name) : json(nullptr)},
                   {"sign_in", false},
                   {"catalogue",
                    {{"name", std::filesystem::path(in.catalogs.path()).stem().string()},
                     {"tracks", counts.tracks},
                     {"albums", counts.albums},
                     {"artists", counts.artists},
                     {"genres", counts.genres},
                     {"moods", counts.moods},
                     {"eras", counts.eras},
                     {"sounds", sounds.heard},
                     {"demonstration", counts.invented != 0}}},
                   {"settings", settings}}};
}

answer search_names(house& in, const call& by) {
  const std::string text = by.parameter("q");
  if (text.size() > most_text) throw refusal(400, "too long a text to look for");
  const std::string kinds = by.parameter("kinds");
  const uint32_t limit = number_in(by.parameter("limit"), 8, most_found);
  json found = json::object();
  const shelf::borrowed catalog(in.catalogs);
  for (const item_kind kind : {item_kind::artist, item_kind::album, item_kind::track}) {
    const std::string name = kind_name(kind);
    if (!kinds.empty() && ("," + kinds + ",").find("," + name + ",") == std::string::npos) continue;
    json& list = found[name + "s"] = json::array();
    for (const found_object& one : find(catalog, text, kind, limit)) list.push_back(addressed(one.shown));
  }
  return {.body = std::move(found)};
}

answer all_lists(house& in, const call&) {
  json lists = json::object();
  const shelf::borrowed catalog(in.catalogs);
  for (const list_kind& kind : list_kinds) lists[kind.plural] = array_of(read_list(catalog, kind));
  return {.body = std::move(lists)};
}

/** The chart's cells: the largest genres by themselves, the others together. */
answer chart(house& in, const call&) {
  constexpr size_t most_genres = 12;
  using cells = std::map<std::string, std::map<uint32_t, uint64_t>>;
  cells all;
  check(velox_catalog_chart(
      shelf::borrowed(in.catalogs),
      [](void* to, const char* genre, uint32_t decade, uint64_t tracks) noexcept {
        (*static_cast<cells*>(to))[genre][decade] += tracks;
        return 0;
      },
      &all));
  std::vector<std::pair<uint64_t, std::string>> order;
  std::map<uint32_t, size_t> decades;
  for (const auto& [genre, row] : all) {
    uint64_t sum = 0;
    for (const auto& [decade, tracks] : row) {
      sum += tracks;
      if (decade != 0) decades.emplace(decade, 0);
    }
    order.emplace_back(sum, genre);
  }
  std::ranges::sort(order, std::greater());
  json told = {{"decades", json::array()}, {"genres", json::array()}};
  for (auto& [decade, place] : decades) {
    place = told["decades"].size();
    told["decades"].push_back(std::to_string(decade) + "s");
  }
  std::vector<uint64_t> others(decades.size());
  size_t shown = 0;
  for (const auto& [sum, genre] : order) {
    std::vector<uint64_t> row(decades.size());
    for (const auto& [decade, tracks] : all[genre])
      if (decade != 0) row[decades[decade]] = tracks;
    if (!genre.empty() && shown < most_genres) {
      ++shown;
      told["genres"].push_back({{"name", genre}, {"tracks", row}});
    } else {
      for (size_t i = 0; i < row.size(); ++i) others[i] += row[i];
    }
  }
  told["genres"].push_back({{"name", "other"}, {"tracks", others}});
  return {.body = std::move(told)};
}

item track_by(house& in, const std::string& id) {
  std::optional<found_object> found = find_by_id(shelf::borrowed(in.catalogs), item_kind::track, id);
  if (!found) refuse_track();
  return std::move(found->shown);
}

answer one_track(house& in, const call& by) { return {.body = addressed(track_by(in, identifier(by.id)))}; }

// ---- The neighbourhood of a track ----------------------------------------------------------------------------------

struct neighbour {
  item shown;
  double distance, angle;
};

int collect_neighbour(void* context, velox_mdo_handle track, float distance) noexcept {
  static_cast<std::vector<neighbour>*>(context)->push_back({read_item(track), static_cast<double>(distance), 0});
  return 0;
}

/** Around the track at the middle, as far from it as they sound; those of an artist side by side, so that a place means something. */
answer near_track(house& in, const call& by) {
  const std::string id = identifier(by.id);
  std::vector<neighbour> near;
  velox_sound sound = {};
  item middle;
  {
    const shelf::borrowed catalog(in.catalogs);
    std::optional<found_object> found = find_by_id(catalog, item_kind::track, id);
    if (!found) refuse_track();
    middle = std::move(found->shown);
    if (velox_catalog_sound(catalog, id.c_str(), nullptr, &sound, neighbours, collect_neighbour, &near) != 0)
      throw refusal(404, "nobody has listened to this track yet", "scan with cadenz scan");
  }
  std::ranges::stable_sort(near, {}, [](const neighbour& one) { return one.shown.artist; });
  const double farthest = near.empty() ? 1 : std::ranges::max(near, {}, &neighbour::distance).distance;
  json places = json::array();
  for (size_t i = 0; i < near.size(); ++i) {
    const double angle = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(near.size());
    const double radius = farthest > 0 ? near[i].distance / farthest : 0;
    places.push_back({{"track", addressed(near[i].shown)},
                      {"distance", rounded(near[i].distance)},
                      {"x", rounded(radius * std::cos(angle))},
                      {"y", rounded(radius * std::sin(angle))}});
  }
  json told = addressed(middle);
  told["sound"] = object_of(heard_in(sound));
  return {.body = {{"track", std::move(told)}, {"near", std::move(places)}}};
}

// ---- The table -----------------------------------------------------------------------------------------------------

constexpr route routes[] = {
    {"GET", "/api/hello", hello},
    {"GET", "/api/search", search_names},
    {"GET", "/api/lists", all_lists},
    {"GET", "/api/chart", chart},
    {"GET", "/api/stations", list_stations},
    {"POST", "/api/stations", make_station},
    {"GET", "/api/stations/([^/]+)", station_state},
    {"PATCH", "/api/stations/([^/]+)", change_station},
    {"DELETE", "/api/stations/([^/]+)", remove_station},
    {"POST", "/api/stations/([^/]+)/orders", order_station},
    {"GET", "/api/stations/([^/]+)/history", station_history},
    {"GET", "/api/stations/([^/]+)/playlist\\.m3u", station_m3u},
    {"GET", "/api/stations/([^/]+)/playlist\\.xspf", station_xspf},
    {"GET", "/api/tracks/([^/]+)", one_track},
    {"GET", "/api/tracks/([^/]+)/near", near_track},
};

}  // namespace

std::span<const route> api_routes() { return routes; }

std::string path_of_track(house& in, const std::string& id) {
  item track = track_by(in, identifier(id));
  if (track.location.empty()) throw refusal(404, "the track has no file");
  return track.location;
}

std::string path_of_album(house& in, const std::string& id) {
  const std::string album = identifier(id);
  velox_catalog_browsing what = {};
  what.kind = VELOX_CATALOG_TRACKS;
  what.album = album.c_str();
  what.limit = 20;
  for (const found_object& one : browse(shelf::borrowed(in.catalogs), what))
    if (!one.shown.location.empty()) return one.shown.location;
  throw refusal(404, "the album has no file");
}

}  // namespace app::http
