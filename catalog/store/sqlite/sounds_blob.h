// Lists, scales and records of sounds as bytes of a row.
#ifndef VELOX_CATALOG_SQLITE_SOUNDS_BLOB_H
#define VELOX_CATALOG_SQLITE_SOUNDS_BLOB_H

#include <bit>
#include <cstring>

#include "model/sound.h"
#include "store/sqlite/connection.h"

namespace velox::catalog::sqlite {

static_assert(std::endian::native == std::endian::little, "a catalogue's file is the same on every machine");

struct packed_near {
  uint32_t id;
  float distance;
};

inline near_sounds list_in(const statement& row, int column) {
  const bytes from = row.blob(column);
  if (from.size() % sizeof(packed_near) != 0) row.damaged(column);
  near_sounds list(from.size() / sizeof(packed_near));
  for (size_t i = 0; i < list.size(); ++i) {
    packed_near each;
    std::memcpy(&each, from.data() + i * sizeof each, sizeof each);
    if (!(each.distance >= 0)) row.damaged(column);
    list[i] = {each.id, each.distance};
  }
  return list;
}

inline std::vector<packed_near> packed(const near_sounds& list) {
  std::vector<packed_near> made;
  made.reserve(list.size());
  for (const near_sound& each : list) made.push_back({static_cast<uint32_t>(each.id), each.distance});
  return made;
}

#define SONIC_COLUMNS "tempo, loudness, energy, brightness, key, minor"

/** What is shown of a sound, from its columns. */
inline sonic sonic_in(const statement& row, int first) {
  return {row.real(first),
          row.real(first + 1),
          row.real(first + 2),
          row.real(first + 3),
          static_cast<int>(row.within(first + 4, -1, 11)),
          row.within(first + 5, 0, 1) == 1};
}

/** Values of a row that are what they are in memory. */
template <class Plain>
Plain plain_in(const statement& row, int column) {
  const bytes from = row.blob(column);
  Plain made = {};
  if (from.empty()) return made;
  if (from.size() != sizeof made) row.damaged(column);
  std::memcpy(&made, from.data(), sizeof made);
  return made;
}

template <class Plain>
bytes bytes_of(const Plain& value) {
  return std::as_bytes(std::span(&value, 1));
}

}  // namespace velox::catalog::sqlite

#endif
