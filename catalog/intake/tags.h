// What the tags of an audio file tell.
#ifndef VELOX_CATALOG_INTAKE_TAGS_H
#define VELOX_CATALOG_INTAKE_TAGS_H

#include <string_view>

#include "model/song.h"

namespace velox::catalog {

constexpr size_t k_longest_list = 8192; /* bytes of genres or moods that are read; a track has the first few */

/** Whether a file's name ends like one of the formats that are read. */
bool is_audio(std::string_view path);

/** Reads a file's tags into the song, whose path is set; a non-empty result tells why that can't be done. */
std::string read_tags(song& track);

/** The year that a date text begins with; 0 for none. */
int year_of(std::string_view date);

/** Takes the artist of a track and of its album from what is there; needed texts get a stand-in. */
void complete(song& track);

}  // namespace velox::catalog

#endif
