/* Sizes and times of files are asked of the files themselves. */
#include "http/subsonic/things.h"
#include "core/text.h"

#include <algorithm>
#include <filesystem>

#include "http/media_id.h"

namespace app::http::subsonic {

namespace {

constexpr const char* prefixes[] = {"tr", "al", "ar"};

json names_of(const std::vector<std::string>& names) {
  json list = json::array();
  for (const std::string& one : names) list.push_back({{"name", one}});
  return list;
}

std::string ending_of(const std::string& path) {
  const std::string ending = std::filesystem::path(path).extension().string();
  return ending.empty() ? "" : lower(ending.substr(1));
}

}  // namespace

std::string thing_of(item_kind kind, const std::string& id) {
  return std::string(prefixes[static_cast<int>(kind)]) + '-' + as_address(id);
}

std::optional<thing> thing_in(const std::string& text) {
  const size_t dash = text.find('-');
  if (dash != 2) return std::nullopt;
  std::optional<std::string> id = from_address(text.substr(dash + 1));
  if (!id || id->empty()) return std::nullopt;
  return thing{text.substr(0, dash), std::move(*id)};
}

std::string date_of(int64_t seconds) { return moment_of(static_cast<uint64_t>(std::max<int64_t>(seconds, 0))); }

std::vector<item> tracks_of(const found_object& album) {
  std::vector<item> tracks;
  for (uint32_t i = 1; velox_mdo_handle track = velox_standin_mdo_child(album.object.get(), VELOX_CHILD_TRACK, i); ++i)
    tracks.push_back(read_item(track));
  return tracks;
}

void teller::put_kept(json& object, const std::string& thing) {
  if (const auto found = stars_.find(thing); found != stars_.end()) object["starred"] = date_of(found->second);
  if (const auto found = ratings_.find(thing); found != ratings_.end()) object["userRating"] = found->second;
}

json teller::song(const item& track) {
  const std::string id = thing_of(item_kind::track, track.id);
  json told = {{"id", id}, {"isDir", false}, {"title", track.title}};
  if (!track.album_id.empty()) {
    told["parent"] = told["albumId"] = thing_of(item_kind::album, track.album_id);
    told["album"] = track.album;
  }
  told["artist"] = told["displayArtist"] = track.artist;
  if (!track.artist_id.empty()) {
    told["artistId"] = thing_of(item_kind::artist, track.artist_id);
    told["artists"] = json::array({{{"id", told["artistId"]}, {"name", track.artist}}});
  }
  if (track.number && *track.number % 1000) told["track"] = *track.number % 1000;
  if (track.number && *track.number / 1000) told["discNumber"] = *track.number / 1000;
  put(told, "year", track.year);
  if (!track.genres.empty()) told["genre"] = track.genres.front();
  told["genres"] = names_of(track.genres);
  put(told, "moods", track.moods);
  put(told, "duration", track.duration_seconds);
  if (track.sound.tempo) told["bpm"] = static_cast<long>(*track.sound.tempo + 0.5);
  told["isVideo"] = false;
  told["type"] = "music";
  told["mediaType"] = "song";
  if (const std::shared_ptr<open_file> file = in_.files.open(track.location)) {
    told["coverArt"] = id;
    told["size"] = file->size;
    told["contentType"] = file->type;
    put(told, "suffix", ending_of(track.location));
    told["created"] = date_of(file->changed);
  }
  put_kept(told, id);
  return told;
}

json teller::album(const found_object& found, const char* songs) {
  const item& shown = found.shown;
  const std::vector<item> tracks = tracks_of(found);
  const std::string id = thing_of(item_kind::album, shown.id);
  long duration = 0;
  for (const item& one : tracks) duration += one.duration_seconds.value_or(0);
  json told = {{"id", id},
               {"name", shown.title},
               {"artist", shown.artist},
               {"artistId", thing_of(item_kind::artist, shown.artist_id)},
               {"displayArtist", shown.artist},
               {"coverArt", id},
               {"songCount", shown.tracks.value_or(static_cast<long>(tracks.size()))},
               {"duration", duration}};
  const std::shared_ptr<open_file> first = tracks.empty() ? nullptr : in_.files.open(tracks.front().location);
  told["created"] = date_of(first ? first->changed : 0);
  if (!tracks.empty()) {
    put(told, "year", tracks.front().year);
    if (!tracks.front().genres.empty()) told["genre"] = tracks.front().genres.front();
    told["genres"] = names_of(tracks.front().genres);
  }
  put_kept(told, id);
  if (!songs) return told;
  told[songs] = json::array();
  for (item one : tracks) {
    one.album_id = shown.id;
    told[songs].push_back(song(one));
  }
  return told;
}

json teller::folder(const found_object& found) {
  json told = album(found);
  told["title"] = told["name"];
  told["album"] = told["name"];
  told["isDir"] = true;
  told["parent"] = told["artistId"];
  told["isVideo"] = false;
  told["mediaType"] = "album";
  return told;
}

json teller::artist(const item& shown) {
  const std::string id = thing_of(item_kind::artist, shown.id);
  json told = {{"id", id}, {"name", shown.artist}, {"coverArt", id}};
  put_kept(told, id);
  return told;
}

}  // namespace app::http::subsonic
