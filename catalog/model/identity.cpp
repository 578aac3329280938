// Hashes of cleaned texts. Nothing here may change: what is derived lies in catalogues and in other programs' files.
#include "model/identity.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "model/failure.h"
#include "model/text.h"

namespace velox::catalog {
namespace {

constexpr std::string_view k_derived_artist = "vca-", k_derived_track = "vct-";

/** The same identifier stands for different things in different kinds. */
enum identity_kind : uint64_t { k_of_artist = 1, k_of_song, k_of_tui, k_of_album };

int64_t key_of(identity_kind kind, std::string_view identifier, int64_t name_key = 0) {
  const auto made =
      static_cast<int64_t>(hashed(identifier, kind * 0x9e3779b97f4a7c15u + static_cast<uint64_t>(name_key)));
  return made != 0 ? made : 1;
}

}  // namespace

std::string leading_artist(const std::string& name) {
  std::string lower = name;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  size_t end = name.size();
  for (const char* mark : {" feat. ", " feat ", " ft. ", " featuring ", " (feat. ", " (ft. ", " (featuring "})
    end = std::min(end, lower.find(mark));
  return end == 0 ? name : name.substr(0, end);
}

std::string derived_artist_uid(int64_t name_key) {
  return std::string(k_derived_artist) + hex(static_cast<uint64_t>(name_key));
}

const std::string& no_artist_uid() {
  static const std::string uid = derived_artist_uid(key(k_no_artist));
  return uid;
}

constexpr size_t k_key_digits = 16;

std::string album_identifier(std::string_view artist_uid, std::string_view title) {
  return std::string(artist_uid) + '-' + hex(static_cast<uint64_t>(key(title)), k_key_digits);
}

std::optional<album_reference> album_in(std::string_view identifier) {
  const size_t dash = identifier.rfind('-');
  if (dash == std::string_view::npos || identifier.size() - dash - 1 != k_key_digits) return std::nullopt;
  uint64_t title_key = 0;
  const char* const end = identifier.data() + identifier.size();
  const auto [behind, error] = std::from_chars(identifier.data() + dash + 1, end, title_key, 16);
  if (error != std::errc{} || behind != end) return std::nullopt;
  return album_reference{std::string(identifier.substr(0, dash)), static_cast<int64_t>(title_key)};
}

std::string derived_tui(const song& track) {
  return std::string(k_derived_track) +
         hex(hashed(folded(leading_artist(track.artist)) + "\n" + folded(track.title) + "\n" + folded(track.album)));
}

uint64_t tag_of(const song& track) {
  return hashed(track.album + "\n" + track.path, static_cast<uint64_t>(key(track.title))) & 0xffffffffu;
}

bool is_external(std::string_view id) {
  const bool derived = id.starts_with(k_derived_artist) || id.starts_with(k_derived_track);
  return !derived || id.size() != k_derived_track.size() + 16;
}

uint64_t parse_tag(std::string_view text) { return std::strtoull(std::string(text).c_str(), nullptr, 16); }

std::string fresh_station_uid() {
  uint64_t chance[2];
  if (getrandom(chance, sizeof chance, 0) != sizeof chance)
    throw failure{VELOX_STANDIN_ERR_CATALOG, std::string("no random number for a station: ") + std::strerror(errno)};
  return "vcs-" + hex(chance[0]) + hex(chance[1], 8);
}

int64_t identity_of_artist(std::string_view artist_uid) { return key_of(k_of_artist, artist_uid); }

int64_t identity_of_tui(std::string_view tui) { return key_of(k_of_tui, tui); }

identity identity_of(std::string_view artist_uid, int64_t title_key, std::string_view tui, std::string_view owner_uid,
                     int64_t album_key) {
  identity made;
  made.same_tui = identity_of_tui(tui);
  if (!owner_uid.empty()) {
    made.album_artist = is_no_artist(owner_uid) ? 0 : identity_of_artist(owner_uid);
    made.album = key_of(k_of_album, owner_uid, album_key);
  }
  if (is_no_artist(artist_uid)) {  // songs of nobody have no more in common than their album
    made.artist = made.album != 0 ? made.album : made.same_tui;
    made.song = made.same_tui;
    return made;
  }
  made.artist = identity_of_artist(artist_uid);
  made.song = key_of(k_of_song, artist_uid, title_key);
  return made;
}

}  // namespace velox::catalog
