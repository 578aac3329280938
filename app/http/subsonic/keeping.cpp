/* What a listener says of things. Of a song that is on at a station the station hears it too. */
#include <ctime>

#include "http/subsonic/rest.h"

namespace app::http::subsonic {

namespace {

int64_t now() { return static_cast<int64_t>(std::time(nullptr)); }

/** Orders every open station of the listener whose song it is. */
void tell_stations(const rest_call& by, const std::string& song, action what) {
  for (const std::string& id : by.in.stations.open_ids()) {
    if (!by.in.people.owns(by.who, id)) continue;
    by.in.stations.on(id, [&](open_station& on) { on.obey({what}, song); });
  }
}

std::vector<std::string> things_given(const rest_call& by) {
  std::vector<std::string> things;
  for (const char* key : {"id", "albumId", "artistId"})
    for (const std::string& text : by.texts(key)) things.push_back(text);
  if (things.empty()) throw trouble(trouble::missing, "the parameter id is missing");
  for (const std::string& text : things)
    if (!thing_in(text)) throw trouble(trouble::not_found, "there is no such thing");
  return things;
}

json star(const rest_call& by) {
  for (const std::string& text : things_given(by)) {
    by.kept.star(by.who, text, now());
    const thing one = *thing_in(text);
    if (one.kind == "tr") tell_stations(by, one.id, action::love);
  }
  return json::object();
}

json unstar(const rest_call& by) {
  for (const std::string& text : things_given(by)) by.kept.unstar(by.who, text);
  return json::object();
}

json set_rating(const rest_call& by) {
  const thing one = by.needed_thing("id");
  by.needed("rating");
  const int64_t stars = by.number("rating", -1, -1, 6);
  if (stars < 0 || stars > 5) throw trouble(trouble::generic, "a rating is a number from 0 to 5");
  by.kept.rate(by.who, by.text("id"), stars);
  if (one.kind == "tr" && stars >= 4) tell_stations(by, one.id, action::love);
  if (one.kind == "tr" && stars == 1) tell_stations(by, one.id, action::ban);
  return json::object();
}

/** A song that was played to its end is over on its station; one that has only begun changes nothing. */
json scrobble(const rest_call& by) {
  const std::vector<std::string> songs = by.texts("id");
  if (songs.empty()) throw trouble(trouble::missing, "the parameter id is missing");
  if (by.text("submission") == "false") return json::object();
  for (const std::string& text : songs) {
    const std::optional<thing> one = thing_in(text);
    if (!one || one->kind != "tr") throw trouble(trouble::not_found, "there is no such song");
    const std::optional<found_object> song = find_by_id(shelf::borrowed(by.in.catalogs), item_kind::track, one->id);
    if (!song) throw trouble(trouble::not_found, "there is no such song");
    if (!song->shown.album_id.empty()) by.kept.played(by.who, thing_of(item_kind::album, song->shown.album_id), now());
    tell_stations(by, one->id, action::ended);
  }
  return json::object();
}

// ---- Where playing stopped -----------------------------------------------------------------------------------------

json save_queue(const rest_call& by) {
  play_queue queue{by.text("current"), by.text("c"), by.number("position", 0, 0, INT64_MAX), now(), {}};
  for (const std::string& text : by.texts("id"))
    if (thing_in(text)) queue.tracks.push_back(text);
  by.kept.put_queue(by.who, queue);
  return json::object();
}

json get_queue(const rest_call& by) {
  const std::optional<play_queue> queue = by.kept.queue(by.who);
  if (!queue) return json::object();
  json told = {{"username", by.name},
               {"changed", date_of(queue->changed)},
               {"changedBy", queue->changed_by},
               {"position", queue->position}};
  put(told, "current", queue->current);
  told["entry"] = json::array();
  teller tell = by.tell();
  const shelf::borrowed catalog(by.in.catalogs);
  for (const std::string& text : queue->tracks)
    if (const std::optional<thing> one = thing_in(text))
      if (const std::optional<found_object> song = find_by_id(catalog, item_kind::track, one->id))
        told["entry"].push_back(tell.song(song->shown));
  return {{"playQueue", told}};
}

constexpr named_method methods[] = {
    {"star", star},
    {"unstar", unstar},
    {"setRating", set_rating},
    {"scrobble", scrobble},
    {"savePlayQueue", save_queue},
    {"getPlayQueue", get_queue},
};

}  // namespace

std::span<const named_method> keeping_methods() { return methods; }

}  // namespace app::http::subsonic
