/* Playlists that a listener keeps, and stations, which are playlists that go on by themselves. */
#include <algorithm>
#include <charconv>
#include <ctime>

#include "http/media_id.h"
#include "http/subsonic/rest.h"

namespace app::http::subsonic {

namespace {

int64_t now() { return static_cast<int64_t>(std::time(nullptr)); }

std::vector<station_row> stations_of(const rest_call& by) {
  std::vector<station_row> rows = read_stations(shelf::borrowed(by.in.catalogs));
  std::erase_if(rows, [&](const station_row& row) { return !by.in.people.owns(by.who, row.id); });
  return rows;
}

json told(const rest_call& by, const station_row& row) {
  return {{"id", "st-" + as_address(row.id)},
          {"name", row.name},
          {"comment", "A station: it goes on by itself"},
          {"owner", by.name},
          {"public", false},
          {"readonly", true},
          {"songCount", 0},
          {"duration", 0},
          {"created", date_of(static_cast<int64_t>(row.created))},
          {"changed", date_of(static_cast<int64_t>(row.used))}};
}

json told(const rest_call& by, const kept_playlist& list) {
  json one = {{"id", "pl-" + std::to_string(list.id)},
              {"name", list.name},
              {"owner", by.name},
              {"public", false},
              {"songCount", list.tracks.size()},
              {"duration", 0},
              {"created", date_of(list.created)},
              {"changed", date_of(list.changed)}};
  put(one, "comment", list.comment);
  return one;
}

void put_entries(json& list, teller& tell, const std::vector<item>& songs) {
  long duration = 0;
  list["entry"] = json::array();
  for (const item& one : songs) {
    duration += one.duration_seconds.value_or(0);
    list["entry"].push_back(tell.song(one));
  }
  list["songCount"] = songs.size();
  list["duration"] = duration;
}

std::vector<item> songs_of(const rest_call& by, const std::vector<std::string>& things) {
  std::vector<item> songs;
  const shelf::borrowed catalog(by.in.catalogs);
  for (const std::string& text : things)
    if (const std::optional<thing> one = thing_in(text); one && one->kind == "tr")
      if (std::optional<found_object> song = find_by_id(catalog, item_kind::track, one->id))
        songs.push_back(std::move(song->shown));
  return songs;
}

/** The list that a parameter names; trouble where there is none of the listener's. */
kept_playlist needed_list(const rest_call& by, const char* key) {
  const thing named = by.needed_thing(key);
  int64_t id = 0;
  std::from_chars(named.id.data(), named.id.data() + named.id.size(), id);
  std::optional<kept_playlist> found;
  if (named.kind == "pl") found = by.kept.playlist(by.who, id);
  if (named.kind == "st") throw trouble(trouble::not_allowed, "a station makes its own list");
  if (!found) throw trouble(trouble::not_found, "there is no such playlist");
  return std::move(*found);
}

json all_lists(const rest_call& by) {
  json lists = json::array();
  for (const station_row& row : stations_of(by)) lists.push_back(told(by, row));
  for (const kept_playlist& list : by.kept.playlists(by.who)) {
    json one = told(by, list);
    long duration = 0;
    for (const item& song : songs_of(by, list.tracks)) duration += song.duration_seconds.value_or(0);
    one["duration"] = duration;
    lists.push_back(std::move(one));
  }
  return {{"playlists", {{"playlist", lists}}}};
}

json whole(const rest_call& by, const kept_playlist& list) {
  teller tell = by.tell();
  json one = told(by, list);
  put_entries(one, tell, songs_of(by, list.tracks));
  return {{"playlist", std::move(one)}};
}

json one_list(const rest_call& by) {
  const thing named = by.needed_thing("id");
  if (named.kind != "st") return whole(by, needed_list(by, "id"));
  const std::vector<station_row> rows = stations_of(by);
  const auto row = std::ranges::find(rows, named.id, &station_row::id);
  if (row == rows.end()) throw trouble(trouble::not_found, "there is no such station");
  std::vector<item> songs;
  by.in.stations.on(row->id, [&](open_station& on) { songs = on.playlist(); });
  teller tell = by.tell();
  json one = told(by, *row);
  put_entries(one, tell, songs);
  return {{"playlist", std::move(one)}};
}

json create(const rest_call& by) {
  kept_playlist list;
  if (by.text("playlistId").empty()) {
    list.name = by.needed("name");
    list.created = now();
  } else {
    list = needed_list(by, "playlistId");
    if (!by.text("name").empty()) list.name = by.text("name");
  }
  list.changed = now();
  list.tracks = by.texts("songId");
  list.id = by.kept.put(by.who, list);
  return whole(by, list);
}

json update(const rest_call& by) {
  kept_playlist list = needed_list(by, "playlistId");
  if (!by.text("name").empty()) list.name = by.text("name");
  if (!by.text("comment").empty()) list.comment = by.text("comment");
  std::vector<size_t> places;
  for (const std::string& text : by.texts("songIndexToRemove")) {
    size_t place = list.tracks.size();
    std::from_chars(text.data(), text.data() + text.size(), place);
    places.push_back(place);
  }
  std::ranges::sort(places, std::greater());
  for (const size_t place : places)
    if (place < list.tracks.size()) list.tracks.erase(list.tracks.begin() + static_cast<ptrdiff_t>(place));
  for (const std::string& song : by.texts("songIdToAdd")) list.tracks.push_back(song);
  list.changed = now();
  by.kept.put(by.who, list);
  return json::object();
}

json remove(const rest_call& by) {
  by.kept.remove(by.who, needed_list(by, "id").id);
  return json::object();
}

constexpr named_method methods[] = {
    {"getPlaylists", all_lists}, {"getPlaylist", one_list},  {"createPlaylist", create},
    {"updatePlaylist", update},  {"deletePlaylist", remove},
};

}  // namespace

std::span<const named_method> playlist_methods() { return methods; }

}  // namespace app::http::subsonic
