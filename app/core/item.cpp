/* Reading metadata objects: contexts and values, as velox_catalog.h names them. */
#include "core/item.h"

#include <charconv>
#include <string_view>

namespace app {

namespace {

std::string text_of(velox_mdo_handle object, const char* key) {
  const char* value = velox_standin_mdo_value(object, key, 1);
  return value ? value : "";
}

std::vector<std::string> texts_of(velox_mdo_handle object, const char* key) {
  std::vector<std::string> values;
  for (uint32_t ordinal = 1; const char* value = velox_standin_mdo_value(object, key, ordinal); ++ordinal)
    values.emplace_back(value);
  return values;
}

std::optional<long> number_of(velox_mdo_handle object, const char* key) {
  const std::string text = text_of(object, key);
  long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc{}) return std::nullopt;
  return value;
}

std::optional<double> decimal_of(velox_mdo_handle object, const char* key) {
  const std::string text = text_of(object, key);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc{}) return std::nullopt;
  return value;
}

heard sound_of(velox_mdo_handle object) {
  return {.tempo = decimal_of(object, VELOX_VAL_SONIC_TEMPO),
          .loudness = decimal_of(object, VELOX_VAL_SONIC_LOUDNESS),
          .energy = decimal_of(object, VELOX_VAL_SONIC_ENERGY),
          .brightness = decimal_of(object, VELOX_VAL_SONIC_BRIGHTNESS),
          .key = number_of(object, VELOX_VAL_SONIC_KEY),
          .mode = text_of(object, VELOX_VAL_SONIC_MODE)};
}

item_kind kind_of(velox_mdo_handle object) {
  const char* context = velox_standin_mdo_context(object);
  const std::string_view name = context ? context : "";
  if (name == VELOX_CTX_ALBUM) return item_kind::album;
  return name == VELOX_CTX_ARTIST || name == VELOX_CTX_CONTRIBUTOR ? item_kind::artist : item_kind::track;
}

}  // namespace

const char* kind_name(item_kind kind) {
  constexpr const char* names[] = {"track", "album", "artist"};
  return names[static_cast<int>(kind)];
}

item read_item(velox_mdo_handle object) {
  item read;
  read.kind = kind_of(object);
  read.album_id = text_of(object, VELOX_VAL_ALBUM_ID);
  read.artist_id = text_of(object, VELOX_VAL_ARTIST_ID);
  read.id = read.kind == item_kind::track   ? text_of(object, VELOX_VAL_TUI)
            : read.kind == item_kind::album ? read.album_id
                                            : read.artist_id;
  read.title = text_of(object, VELOX_VAL_TITLE);
  read.artist = text_of(object, VELOX_VAL_ARTIST);
  read.album = text_of(object, VELOX_VAL_ALBUM);
  read.era = text_of(object, VELOX_VAL_ERA);
  read.location = text_of(object, VELOX_VAL_LOCATION);
  read.genres = texts_of(object, VELOX_VAL_GENRE);
  read.moods = texts_of(object, VELOX_VAL_MOOD);
  read.year = number_of(object, VELOX_VAL_YEAR);
  read.duration_seconds = number_of(object, VELOX_VAL_DURATION);
  read.popularity = number_of(object, VELOX_VAL_POPULARITY);
  read.number = number_of(object, VELOX_VAL_NUMBER);
  read.tracks = number_of(object, VELOX_VAL_TRACKS);
  read.sound = sound_of(object);
  read.reason = text_of(object, VELOX_VAL_REASON);
  read.reason_kind = text_of(object, VELOX_VAL_REASON_KIND);
  read.reason_seed = number_of(object, VELOX_VAL_REASON_SEED);
  read.score = number_of(object, VELOX_VAL_SCORE);
  return read;
}

heard heard_in(const velox_sound& sound) {
  heard read;
  if (sound.tempo > 0) read.tempo = static_cast<double>(sound.tempo);
  read.loudness = static_cast<double>(sound.loudness);
  read.energy = static_cast<double>(sound.energy);
  read.brightness = static_cast<double>(sound.brightness);
  if (sound.key >= 0) read.key = sound.key, read.mode = sound.minor ? "minor" : "major";
  return read;
}

std::string key_name(const heard& sound) {
  constexpr const char* names[] = {"C",       "C sharp", "D",      "E flat", "E",      "F",
                                   "F sharp", "G",       "A flat", "A",      "B flat", "B"};
  if (!sound.key || *sound.key < 0 || *sound.key > 11) return {};
  return std::string(names[*sound.key]) + ' ' + sound.mode;
}

std::string description(const item& shown) {
  if (shown.kind == item_kind::artist) return shown.artist;
  return '"' + shown.title + "\" by " + shown.artist;
}

}  // namespace app
