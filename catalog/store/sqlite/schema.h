// The tables of a catalogue's file and how they came about.
#ifndef VELOX_CATALOG_SQLITE_SCHEMA_H
#define VELOX_CATALOG_SQLITE_SCHEMA_H

#include <cstdint>
#include <span>

namespace velox::catalog::sqlite {

constexpr uint32_t k_application_id = 0x56437a31;  // "VCz1", in the file's header

/** Each makes the next version of the one before it; the first one begins with an empty file. */
std::span<const char* const> schema_versions();

}  // namespace velox::catalog::sqlite

#endif
