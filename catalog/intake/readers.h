// What is read of an audio file: a list of readers, in whose order they run. A further one, such as an analyser of sound, is a file
// of its own and a row in readers.cpp.
#ifndef VELOX_CATALOG_INTAKE_READERS_H
#define VELOX_CATALOG_INTAKE_READERS_H

#include "intake/scan.h"

namespace velox::catalog {

/** Looks at a file: a song of its path, size and time of change. False with errno when that can't be done. */
bool look_at(const std::string& path, song& file, bool* regular);
/** Reads a new or changed file that was looked at; a non-empty result tells why that can't be done. */
std::string read_file(const scan_run& run, song& track);

// The rows
std::string read_tags_of(const scan_run& run, song& track);
std::string read_digest(const scan_run& run, song& track); /* none where the scan has no function for it */

}  // namespace velox::catalog

#endif
