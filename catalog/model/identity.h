// Identifiers and keys that the catalogue derives: the same in every engine and build, since stations and other programs keep
// them.
#ifndef VELOX_CATALOG_MODEL_IDENTITY_H
#define VELOX_CATALOG_MODEL_IDENTITY_H

#include <cstdint>
#include <string>
#include <string_view>

#include "model/browsing.h"
#include "model/song.h"
#include "model/station.h"

namespace velox::catalog {

/** What stands for an artist that nobody knows. It is none: nothing is alike or apart by it. */
constexpr const char* k_no_artist = "Unknown Artist";
const std::string& no_artist_uid();
inline bool is_no_artist(std::string_view uid) { return uid == no_artist_uid(); }

/** The artist in front of "feat. somebody": guests don't make another artist. */
std::string leading_artist(const std::string& name);

/** An artist's identifier where the music brings none, from the key of its name. */
std::string derived_artist_uid(int64_t name_key);
/** A track's identifier where the music brings none. */
std::string derived_tui(const song& track);
/** Tells tracks of one identifier apart. */
uint64_t tag_of(const song& track);
/** False for an identifier that was derived here. */
bool is_external(std::string_view identifier);
/** A tag as a lookup writes it: a hexadecimal number; 0 for none. */
uint64_t parse_tag(std::string_view text);

/** An identifier for a station, which nobody guesses. */
std::string fresh_station_uid();

/* What a station knows tracks, artists and albums by. */
int64_t identity_of_artist(std::string_view artist_uid);
int64_t identity_of_tui(std::string_view tui);
/** `owner_uid` is the identifier of the album's artist, empty where there is no album. */
identity identity_of(std::string_view artist_uid, int64_t title_key, std::string_view tui, std::string_view owner_uid,
                     int64_t album_key);

}  // namespace velox::catalog

#endif
