/* Lists of albums and songs: newest, random, of a genre or years, starred, played; and what is like a song. */
#include <sodium.h>

#include <algorithm>
#include <cmath>

#include "http/subsonic/rest.h"

namespace app::http::subsonic {

namespace {

constexpr uint32_t most_songs = 500;

velox_catalog_browsing page_of(const rest_call& by, uint32_t kind, const char* count, int64_t usual) {
  velox_catalog_browsing page = {};
  page.kind = kind;
  page.limit = static_cast<uint32_t>(by.number(count, usual, 1, most_songs));
  page.offset = static_cast<uint32_t>(by.number("offset", 0, 0, 1'000'000));
  return page;
}

std::vector<found_object> known(const rest_call& by, item_kind kind, const std::vector<std::string>& things,
                                const char* prefix) {
  std::vector<found_object> found;
  const shelf::borrowed catalog(by.in.catalogs);
  for (const std::string& text : things) {
    const std::optional<thing> one = thing_in(text);
    if (!one || one->kind != prefix) continue;
    if (std::optional<found_object> there = find_by_id(catalog, kind, one->id)) found.push_back(std::move(*there));
  }
  return found;
}

std::vector<std::string> starred_things(const rest_call& by) {
  const std::map<std::string, int64_t> stars = by.kept.stars(by.who);
  std::vector<std::pair<int64_t, std::string>> order;
  for (const auto& [text, since] : stars) order.emplace_back(-since, text);
  std::ranges::sort(order);
  std::vector<std::string> things;
  for (auto& [since, text] : order) things.push_back(std::move(text));
  return things;
}

std::vector<found_object> cut(std::vector<found_object> all, const velox_catalog_browsing& page) {
  all.erase(all.begin(), all.begin() + static_cast<ptrdiff_t>(std::min<size_t>(page.offset, all.size())));
  if (all.size() > page.limit) all.erase(all.begin() + page.limit, all.end());
  return all;
}

std::vector<found_object> albums(const rest_call& by) {
  const std::string type = by.needed("type");
  velox_catalog_browsing page = page_of(by, VELOX_CATALOG_ALBUMS, "size", 10);
  const std::string genre = by.text("genre");
  if (type == "starred") return cut(known(by, item_kind::album, starred_things(by), "al"), page);
  if (type == "frequent" || type == "recent")
    return cut(
        known(by, item_kind::album, by.kept.albums_by(by.who, type == "frequent", page.offset + page.limit), "al"),
        page);
  if (type == "highest") {
    std::vector<std::pair<int64_t, std::string>> order;
    for (const auto& [text, stars] : by.kept.ratings(by.who)) order.emplace_back(-stars, text);
    std::ranges::sort(order);
    std::vector<std::string> things;
    for (auto& [stars, text] : order) things.push_back(std::move(text));
    return cut(known(by, item_kind::album, things, "al"), page);
  }
  if (type == "random") {
    page.order = VELOX_CATALOG_RANDOM;
    randombytes_buf(&page.random_seed, sizeof page.random_seed);
  } else if (type == "newest") {
    page.order = VELOX_CATALOG_NEWEST;
  } else if (type == "alphabeticalByArtist") {
    page.order = VELOX_CATALOG_BY_ARTIST;
  } else if (type == "byYear") {
    by.needed("fromYear"), by.needed("toYear");
    page.first_year = static_cast<uint32_t>(by.number("fromYear", 0, 1, 9999));
    page.last_year = static_cast<uint32_t>(by.number("toYear", 0, 1, 9999));
  } else if (type == "byGenre") {
    by.needed("genre");
    page.list_type = VELOX_LIST_GENRES;
    page.element = genre.c_str();
  } else if (type != "alphabeticalByName") {
    throw trouble(trouble::generic, "there is no list \"" + type + "\"");
  }
  return browse(shelf::borrowed(by.in.catalogs), page);
}

json album_list(const rest_call& by) {
  json list = json::array();
  teller tell = by.tell();
  for (const found_object& one : albums(by)) list.push_back(tell.folder(one));
  return {{"albumList", {{"album", list}}}};
}

json album_list2(const rest_call& by) {
  json list = json::array();
  teller tell = by.tell();
  for (const found_object& one : albums(by)) list.push_back(tell.album(one));
  return {{"albumList2", {{"album", list}}}};
}

json songs_told(const rest_call& by, const std::vector<found_object>& songs) {
  json list = json::array();
  teller tell = by.tell();
  for (const found_object& one : songs) list.push_back(tell.song(one.shown));
  return list;
}

json random_songs(const rest_call& by) {
  velox_catalog_browsing page = page_of(by, VELOX_CATALOG_TRACKS, "size", 10);
  const std::string genre = by.text("genre");
  page.order = VELOX_CATALOG_RANDOM;
  randombytes_buf(&page.random_seed, sizeof page.random_seed);
  if (!genre.empty()) page.list_type = VELOX_LIST_GENRES, page.element = genre.c_str();
  return {{"randomSongs", {{"song", songs_told(by, browse(shelf::borrowed(by.in.catalogs), page))}}}};
}

json songs_by_genre(const rest_call& by) {
  velox_catalog_browsing page = page_of(by, VELOX_CATALOG_TRACKS, "count", 10);
  const std::string genre = by.needed("genre");
  page.list_type = VELOX_LIST_GENRES;
  page.element = genre.c_str();
  return {{"songsByGenre", {{"song", songs_told(by, browse(shelf::borrowed(by.in.catalogs), page))}}}};
}

json starred(const rest_call& by, const char* name, bool as_folders) {
  const std::vector<std::string> things = starred_things(by);
  teller tell = by.tell();
  json artists = json::array(), albums = json::array();
  for (const found_object& one : known(by, item_kind::artist, things, "ar")) artists.push_back(tell.artist(one.shown));
  for (const found_object& one : known(by, item_kind::album, things, "al"))
    albums.push_back(as_folders ? tell.folder(one) : tell.album(one));
  return {
      {name,
       {{"artist", artists}, {"album", albums}, {"song", songs_told(by, known(by, item_kind::track, things, "tr"))}}}};
}
json starred1(const rest_call& by) { return starred(by, "starred", true); }
json starred2(const rest_call& by) { return starred(by, "starred2", false); }

// ---- What is like a song -------------------------------------------------------------------------------------------

/** A recommendation from one thing. */
std::vector<item> recommended(const rest_call& by, const thing& from, int64_t count) {
  const item_kind kind = from.kind == "tr"   ? item_kind::track
                         : from.kind == "al" ? item_kind::album
                                             : item_kind::artist;
  start_request request;
  request.identified.push_back({kind, from.id});
  request.options.emplace_back(VELOX_CADENZ_OPTION_RETURN_COUNT, std::to_string(count));
  request.timeout_seconds = 30;
  request_watch watch(request.timeout_seconds, [](uint64_t) { return true; });
  const shelf::borrowed catalog(by.in.catalogs);
  const start_point start(by.in.running, catalog, by.in.catalogs.path(), request, watch,
                          [](const std::string&, const std::string&) {});
  velox_mdo_handle given = nullptr;
  watch.check(velox_cadenz_query_generate_recommendations(start.query.get(), nullptr, &given), "nothing is like it");
  const mdo_owner answer(given);
  std::vector<item> tracks;
  for (uint32_t i = 1; velox_mdo_handle track = velox_standin_mdo_child(given, VELOX_CHILD_TRACK, i); ++i)
    tracks.push_back(read_item(track));
  return tracks;
}

json similar(const rest_call& by, const char* name) {
  json list = json::array();
  teller tell = by.tell();
  for (const item& one : recommended(by, by.needed_thing("id"), by.number("count", 50, 1, 500)))
    list.push_back(tell.song(one));
  return {{name, {{"song", list}}}};
}
json similar1(const rest_call& by) { return similar(by, "similarSongs"); }
json similar2(const rest_call& by) { return similar(by, "similarSongs2"); }

struct near_song {
  item shown;
  float distance;
};

/** What sounds like a track, nearest first. */
std::vector<near_song> near_to(const rest_call& by, const std::string& id, uint32_t count) {
  std::vector<near_song> near;
  velox_sound sound = {};
  const pask_status status = velox_catalog_sound(
      shelf::borrowed(by.in.catalogs), id.c_str(), nullptr, &sound, count,
      [](void* to, velox_mdo_handle track, float distance) noexcept {
        static_cast<std::vector<near_song>*>(to)->push_back({read_item(track), distance});
        return 0;
      },
      &near);
  if (status != 0) throw trouble(trouble::not_found, "nobody has listened to the song yet");
  return near;
}

/** 1 for the same sound, falling with the distance. */
double similarity_of(float distance) { return rounded(1 / (1 + static_cast<double>(distance))); }

thing needed_song(const rest_call& by, const char* key) {
  thing song = by.needed_thing(key);
  if (song.kind != "tr") throw trouble(trouble::not_found, "there is no such song");
  return song;
}

json sonic_similar(const rest_call& by) {
  json list = json::array();
  teller tell = by.tell();
  for (const near_song& one :
       near_to(by, needed_song(by, "id").id, static_cast<uint32_t>(by.number("count", 10, 1, 64))))
    list.push_back({{"entry", tell.song(one.shown)}, {"similarity", similarity_of(one.distance)}});
  return {{"sonicMatch", list}};
}

/** From one song to another: first what sounds like the one, nearest first, then what sounds like the other, nearest last. */
json sonic_path(const rest_call& by) {
  const thing from = needed_song(by, "startSongId"), to = needed_song(by, "endSongId");
  const auto count = static_cast<size_t>(by.number("count", 25, 2, 100));
  // One handle at a time: who waits for a second with one in hand may wait for ever.
  const std::vector<found_object> first = known(by, item_kind::track, {by.needed("startSongId")}, "tr"),
                                  last = known(by, item_kind::track, {by.needed("endSongId")}, "tr");
  if (first.empty() || last.empty()) throw trouble(trouble::not_found, "there is no such song");

  const std::vector<near_song> ahead = near_to(by, from.id, 64), behind = near_to(by, to.id, 64);
  std::vector<std::pair<const item*, double>> path = {{&first.front().shown, 1}};
  const size_t between = count - 2, half = (between + 1) / 2;
  std::vector<std::string> met = {from.id, to.id};
  const auto add = [&](const near_song& one, std::vector<std::pair<const item*, double>>& onto) {
    if (std::ranges::find(met, one.shown.id) != met.end()) return;
    met.push_back(one.shown.id);
    onto.emplace_back(&one.shown, similarity_of(one.distance));
  };
  for (const near_song& one : ahead)
    if (path.size() < 1 + half) add(one, path);
  std::vector<std::pair<const item*, double>> end;
  for (const near_song& one : behind)
    if (end.size() < between - (path.size() - 1)) add(one, end);
  path.insert(path.end(), end.rbegin(), end.rend());
  path.emplace_back(&last.front().shown, 1);

  json list = json::array();
  teller tell = by.tell();
  for (const auto& [shown, similarity] : path)
    list.push_back({{"entry", tell.song(*shown)}, {"similarity", similarity}});
  return {{"sonicMatch", list}};
}

constexpr named_method methods[] = {
    {"getAlbumList", album_list},        {"getAlbumList2", album_list2}, {"getRandomSongs", random_songs},
    {"getSongsByGenre", songs_by_genre}, {"getStarred", starred1},       {"getStarred2", starred2},
    {"getSimilarSongs", similar1},       {"getSimilarSongs2", similar2}, {"getSonicSimilarTracks", sonic_similar},
    {"findSonicPath", sonic_path},
};

}  // namespace

std::span<const named_method> listing_methods() { return methods; }

}  // namespace app::http::subsonic
