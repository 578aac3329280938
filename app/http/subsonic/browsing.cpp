/* What there is: folders and indexes, artists, albums, songs, genres, and looking for names. */
#include <algorithm>

#include "core/text.h"
#include "http/subsonic/rest.h"

namespace app::http::subsonic {

namespace {

constexpr uint32_t most_artists = 10'000, most_albums = 500, most_songs = 500;
constexpr int64_t the_folder = 1;
constexpr std::string_view articles = "The El La Los Las Le Les";

json done() { return json::object(); }
json ping(const rest_call&) { return done(); }
json license(const rest_call&) { return {{"license", {{"valid", true}}}}; }
json folders(const rest_call&) {
  return {{"musicFolders", {{"musicFolder", json::array({{{"id", the_folder}, {"name", "Music"}}})}}}};
}

/** The letter that a name stands under, its article left out; "#" for what begins with none. */
std::string letter_of(const std::string& name) {
  std::string_view rest = name;
  for (size_t at = 0; at < articles.size();) {
    const size_t end = std::min(articles.find(' ', at), articles.size());
    const std::string article = lower(articles.substr(at, end - at)) + ' ';
    if (lower(name).starts_with(article)) rest.remove_prefix(article.size());
    at = end + 1;
  }
  if (rest.empty() || rest[0] == ' ') rest = name;
  const char first = rest.empty() ? '#' : rest[0];
  if (first >= 'a' && first <= 'z') return {static_cast<char>(first - 'a' + 'A')};
  if (first >= 'A' && first <= 'Z') return {first};
  if (static_cast<unsigned char>(first) < 0x80) return "#";
  size_t at = 0;
  next_code_point(rest, at);
  return std::string(rest.substr(0, at));
}

json index_of(const rest_call& by) {
  velox_catalog_browsing all = {};
  all.kind = VELOX_CATALOG_ARTISTS;
  all.limit = most_artists;
  std::map<std::string, json> letters;
  teller tell = by.tell();
  for (const found_object& one : browse(shelf::borrowed(by.in.catalogs), all)) {
    json& list = letters.try_emplace(letter_of(one.shown.artist), json::array()).first->second;
    list.push_back(tell.artist(one.shown));
  }
  json index = json::array();
  for (auto& [letter, artists] : letters) index.push_back({{"name", letter}, {"artist", std::move(artists)}});
  return index;
}

json artists(const rest_call& by) { return {{"artists", {{"ignoredArticles", articles}, {"index", index_of(by)}}}}; }

json indexes(const rest_call& by) {
  return {{"indexes", {{"ignoredArticles", articles}, {"lastModified", 0}, {"index", index_of(by)}}}};
}

found_object found_by(const rest_call& by, item_kind kind, const std::string& id) {
  std::optional<found_object> found = find_by_id(shelf::borrowed(by.in.catalogs), kind, id);
  if (!found) throw trouble(trouble::not_found, std::string("there is no such ") + kind_name(kind));
  return std::move(*found);
}

found_object needed(const rest_call& by, item_kind kind, const char* prefix) {
  const thing named = by.needed_thing("id");
  if (named.kind != prefix) throw trouble(trouble::not_found, std::string("there is no such ") + kind_name(kind));
  return found_by(by, kind, named.id);
}

std::vector<found_object> albums_of(const rest_call& by, const std::string& artist) {
  velox_catalog_browsing all = {};
  all.kind = VELOX_CATALOG_ALBUMS;
  all.artist = artist.c_str();
  all.limit = most_albums;
  return browse(shelf::borrowed(by.in.catalogs), all);
}

json one_artist(const rest_call& by) {
  const found_object found = needed(by, item_kind::artist, "ar");
  teller tell = by.tell();
  json told = tell.artist(found.shown), albums = json::array();
  for (const found_object& one : albums_of(by, found.shown.id)) albums.push_back(tell.album(one));
  told["albumCount"] = albums.size();
  told["album"] = std::move(albums);
  return {{"artist", std::move(told)}};
}

json one_album(const rest_call& by) { return {{"album", by.tell().album(needed(by, item_kind::album, "al"), "song")}}; }

json one_song(const rest_call& by) { return {{"song", by.tell().song(needed(by, item_kind::track, "tr").shown)}}; }

/** Artists are folders of albums, albums folders of songs. */
json directory(const rest_call& by) {
  const thing named = by.needed_thing("id");
  teller tell = by.tell();
  if (named.kind == "al") {
    json album = tell.album(found_by(by, item_kind::album, named.id), "child");
    return {{"directory",
             {{"id", album["id"]}, {"parent", album["artistId"]}, {"name", album["name"]}, {"child", album["child"]}}}};
  }
  if (named.kind != "ar") throw trouble(trouble::not_found, "there is no such folder");
  const found_object artist = found_by(by, item_kind::artist, named.id);
  json children = json::array();
  for (const found_object& one : albums_of(by, artist.shown.id)) children.push_back(tell.folder(one));
  return {{"directory",
           {{"id", thing_of(item_kind::artist, artist.shown.id)}, {"name", artist.shown.artist}, {"child", children}}}};
}

json genres(const rest_call& by) {
  json list = json::array();
  for (const list_row& row : read_list(shelf::borrowed(by.in.catalogs), list_kinds[0]).rows)
    list.push_back({{"value", row.name}, {"songCount", row.tracks}, {"albumCount", 0}});
  return {{"genres", {{"genre", list}}}};
}

// ---- Looking for names ---------------------------------------------------------------------------------------------

/** Some clients ask for everything by an empty text, or by two quotes. */
std::vector<found_object> found_or_all(const rest_call& by, const std::string& text, item_kind kind, uint32_t count,
                                       uint32_t offset) {
  const shelf::borrowed catalog(by.in.catalogs);
  if (text.empty() || text == "\"\"") {
    velox_catalog_browsing all = {};
    all.kind = kind == item_kind::track   ? VELOX_CATALOG_TRACKS
               : kind == item_kind::album ? VELOX_CATALOG_ALBUMS
                                          : VELOX_CATALOG_ARTISTS;
    all.limit = count;
    all.offset = offset;
    return browse(catalog, all);
  }
  std::vector<found_object> found = find(catalog, text, kind, count + offset);
  found.erase(found.begin(), found.begin() + static_cast<ptrdiff_t>(std::min<size_t>(offset, found.size())));
  return found;
}

template <class Tell>
json found_list(const rest_call& by, item_kind kind, const char* what, Tell tell) {
  const std::string key = what;
  const auto count = static_cast<uint32_t>(by.number((key + "Count").c_str(), 20, 0, most_songs));
  const auto offset = static_cast<uint32_t>(by.number((key + "Offset").c_str(), 0, 0, 1'000'000));
  json list = json::array();
  if (count == 0) return list;
  for (const found_object& one : found_or_all(by, by.text("query"), kind, count, offset)) list.push_back(tell(one));
  return list;
}

json search(const rest_call& by, const char* name, bool as_folders) {
  teller tell = by.tell();
  return {
      {name,
       {{"artist",
         found_list(by, item_kind::artist, "artist", [&](const found_object& one) { return tell.artist(one.shown); })},
        {"album", found_list(by, item_kind::album, "album",
                             [&](const found_object& one) { return as_folders ? tell.folder(one) : tell.album(one); })},
        {"song",
         found_list(by, item_kind::track, "song", [&](const found_object& one) { return tell.song(one.shown); })}}}};
}
json search2(const rest_call& by) { return search(by, "searchResult2", true); }
json search3(const rest_call& by) { return search(by, "searchResult3", false); }

// ---- About an artist -----------------------------------------------------------------------------------------------

json artist_info(const rest_call& by, const char* name) {
  by.needed_thing("id");
  return {{name, json::object()}};  // nobody here has a text or a picture of an artist
}
json info(const rest_call& by) { return artist_info(by, "artistInfo"); }
json info2(const rest_call& by) { return artist_info(by, "artistInfo2"); }

json top_songs(const rest_call& by) {
  const std::string name = by.needed("artist");
  json list = json::array();
  teller tell = by.tell();
  const shelf::borrowed catalog(by.in.catalogs);
  for (const found_object& artist : find(catalog, name, item_kind::artist, 1)) {
    velox_catalog_browsing best = {};
    best.kind = VELOX_CATALOG_TRACKS;
    best.artist = artist.shown.id.c_str();
    best.limit = static_cast<uint32_t>(by.number("count", 50, 1, most_songs));
    for (const found_object& one : browse(catalog, best)) list.push_back(tell.song(one.shown));
  }
  return {{"topSongs", {{"song", list}}}};
}

json user(const rest_call& by) {
  return {{"user",
           {{"username", by.name},
            {"scrobblingEnabled", true},
            {"adminRole", false},
            {"settingsRole", false},
            {"downloadRole", true},
            {"uploadRole", false},
            {"playlistRole", true},
            {"coverArtRole", false},
            {"commentRole", true},
            {"podcastRole", false},
            {"streamRole", true},
            {"jukeboxRole", false},
            {"shareRole", false},
            {"videoConversionRole", false},
            {"folder", json::array({the_folder})}}}};
}

/** Scans are the command line's. */
json scan_status(const rest_call& by) {
  velox_catalog_counts counts = {};
  check(velox_catalog_count(shelf::borrowed(by.in.catalogs), &counts));
  return {{"scanStatus", {{"scanning", false}, {"count", counts.tracks}}}};
}
json start_scan(const rest_call&) { throw trouble(trouble::not_allowed, "scan with: cadenz scan FOLDER"); }

constexpr named_method methods[] = {
    {"ping", ping},
    {"getLicense", license},
    {"getMusicFolders", folders},
    {"getIndexes", indexes},
    {"getMusicDirectory", directory},
    {"getArtists", artists},
    {"getArtist", one_artist},
    {"getAlbum", one_album},
    {"getSong", one_song},
    {"getGenres", genres},
    {"search2", search2},
    {"search3", search3},
    {"getArtistInfo", info},
    {"getArtistInfo2", info2},
    {"getTopSongs", top_songs},
    {"getUser", user},
    {"getScanStatus", scan_status},
    {"startScan", start_scan},
};

}  // namespace

std::span<const named_method> browsing_methods() { return methods; }

}  // namespace app::http::subsonic
