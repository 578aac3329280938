// The shapes that velox_catalog.h and the readers of seeds know: a track with its artist and title, an album with its tracks,
// an artist with its name and contributor. Objects hold copies, so they outlive the connection.
#include "choice/objects.h"

#include <cstdio>

#include "model/identity.h"
#include "model/text.h"
#include "velox_catalog.h"

namespace velox::catalog {
namespace {

constexpr standin::key k_id_keys[k_kinds] = {"", VELOX_VAL_GENRE_ID, VELOX_VAL_MOOD_ID, VELOX_VAL_ERA_ID};
constexpr standin::key k_name_keys[k_kinds] = {"", VELOX_VAL_GENRE, VELOX_VAL_MOOD, VELOX_VAL_ERA};

standin::mdo_ref titled(std::string_view title) {
  return standin::mdo_builder("velox_ctx_title", 64).value(VELOX_VAL_DISPLAY, title).finish();
}

/** What an artist and its contributor have in common. */
void fill(standin::mdo_builder& to, const artist_record& of) {
  to.value(VELOX_VAL_ARTIST_ID, of.uid);
  if (of.genre != 0) to.value(k_id_keys[k_genre], of.genre);
  if (of.era != 0) to.value(k_id_keys[k_era], of.era);
  to.child(VELOX_CHILD_NAME, standin::mdo_builder("velox_ctx_name", 64).value(VELOX_VAL_DISPLAY, of.name).finish());
}

/** A number with so many digits behind the point. */
std::string decimal(float value, int digits) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", digits, static_cast<double>(value));
  return text;
}

void add_sonic(standin::mdo_builder& to, const sonic& sound) {
  if (sound.tempo > 0) to.value(VELOX_VAL_SONIC_TEMPO, decimal(sound.tempo, 1));
  if (sound.key >= 0)
    to.value(VELOX_VAL_SONIC_KEY, sound.key).value(VELOX_VAL_SONIC_MODE, sound.minor ? "minor" : "major");
  to.value(VELOX_VAL_SONIC_LOUDNESS, decimal(sound.loudness, 1))
      .value(VELOX_VAL_SONIC_ENERGY, decimal(sound.energy, 2))
      .value(VELOX_VAL_SONIC_BRIGHTNESS, decimal(sound.brightness, 0));
}

/** "sounds like "Nebula" (seed 1): slow, dark, 92 BPM, A minor". */
std::string sentence_of(const reason& why, const track_record& of) {
  const std::string words = of.sound ? words_of(*of.sound) : std::string();
  return words.empty() ? why.sentence : why.sentence + ": " + words;
}

}  // namespace

std::string object_maker::identifier_of(const album_record& album) const {
  return album_identifier(told_.artists.at(album.artist).uid, album.title);
}

velox_mdo_handle object_maker::shared_artist(int64_t id) {
  const auto [place, fresh] = artists_.try_emplace(id);
  if (!fresh) return place->second.get();
  const artist_record& of = told_.artists.at(id);
  standin::mdo_builder contributor(VELOX_CTX_CONTRIBUTOR, 128);
  fill(contributor, of);
  standin::mdo_builder whole(VELOX_CTX_ARTIST, 128);
  fill(whole, of);
  whole.value(VELOX_VAL_ARTIST, of.name)
      .value(VELOX_VAL_TRACKS, of.count)
      .child(VELOX_CHILD_CONTRIBUTOR, contributor.finish());
  if (xids_ && is_external(of.uid)) whole.value(VELOX_VAL_XID, of.uid);
  place->second = whole.finish();
  return place->second.get();
}

standin::mdo_ref object_maker::artist(int64_t id) {
  velox_mdo_handle shared = shared_artist(id);
  velox_standin_mdo_addref(shared);
  return standin::mdo_ref(shared);
}

standin::mdo_ref object_maker::track(int64_t id, const reason* why) {
  standin::mdo_builder made(VELOX_CTX_TRACK, 512);
  const auto found = told_.tracks.find(id);
  if (found == told_.tracks.end()) return made.finish();
  const track_record& of = found->second;
  const artist_record& artist = told_.artists.at(of.artist);
  made.value(VELOX_VAL_TUI, of.tui).value(VELOX_VAL_TUI_TAG, hex(of.tag, 8)).value(VELOX_VAL_ARTIST_ID, artist.uid);
  for (const int64_t each : of.attributes) {
    const attribute_info& info = from_.attribute(each);
    if (info.kind != k_no_attribute) made.value(k_id_keys[info.kind], each).value(k_name_keys[info.kind], info.name);
  }
  made.value(VELOX_VAL_TITLE, of.title).value(VELOX_VAL_ARTIST, of.credit.empty() ? artist.name : of.credit);
  if (!of.album_title.empty()) made.value(VELOX_VAL_ALBUM, of.album_title);
  if (const auto album = told_.albums.find(of.album); album != told_.albums.end())
    made.value(VELOX_VAL_ALBUM_ID, identifier_of(album->second));
  if (of.number > 0) made.value(VELOX_VAL_NUMBER, of.number);
  if (of.year > 0) made.value(VELOX_VAL_YEAR, of.year);
  if (of.duration > 0) made.value(VELOX_VAL_DURATION, of.duration);
  made.value(VELOX_VAL_POPULARITY, of.popularity);
  if (!of.path.empty()) made.value(VELOX_VAL_LOCATION, of.path);
  if (xids_ && is_external(of.tui)) made.value(VELOX_VAL_XID, of.tui);
  if (sonic_ && of.sound) add_sonic(made, *of.sound);
  if (why) {
    made.value(VELOX_VAL_REASON, why->kind == k_sound_reason ? sentence_of(*why, of) : why->sentence)
        .value(VELOX_VAL_REASON_KIND, why->kind)
        .value(VELOX_VAL_SCORE, why->score);
    if (why->seed != 0) made.value(VELOX_VAL_REASON_SEED, why->seed);
  }
  made.child(VELOX_CHILD_ARTIST, shared_artist(of.artist)).child(VELOX_CHILD_TITLE, titled(of.title));
  return made.finish();
}

void object_maker::frame(standin::mdo_builder& album, std::string_view title, int64_t artist_id) {
  const artist_record& artist = told_.artists.at(artist_id);
  album.value(VELOX_VAL_TITLE, title).value(VELOX_VAL_ARTIST, artist.name).value(VELOX_VAL_ARTIST_ID, artist.uid);
  if (artist.genre != 0) album.value(k_id_keys[k_genre], artist.genre);
  album.child(VELOX_CHILD_ARTIST, shared_artist(artist_id)).child(VELOX_CHILD_TITLE, titled(title));
}

standin::mdo_ref object_maker::album(int64_t id, int64_t matching) {
  standin::mdo_builder made(VELOX_CTX_ALBUM);
  const auto found = told_.albums.find(id);
  if (found == told_.albums.end()) return made.finish();
  frame(made, found->second.title, found->second.artist);
  made.value(VELOX_VAL_ALBUM_ID, identifier_of(found->second)).value(VELOX_VAL_TRACKS, found->second.count);
  for (const int64_t each : found->second.tracks) made.child(VELOX_CHILD_TRACK, track(each));
  if (matching != 0) made.child(VELOX_CHILD_MATCHING_TRACK, track(matching));
  return made.finish();
}

standin::mdo_ref object_maker::album_of(int64_t id, const std::vector<told_track>& tracks) {
  standin::mdo_builder made(VELOX_CTX_ALBUM);
  const auto album = told_.albums.find(id);
  const auto first = told_.tracks.find(tracks.front().id);
  if (album != told_.albums.end()) {
    frame(made, album->second.title, album->second.artist);
  } else if (first != told_.tracks.end()) {
    frame(made, first->second.title, first->second.artist);
  }
  for (const told_track& each : tracks) made.child(VELOX_CHILD_TRACK, track(each.id, each.why));
  return made.finish();
}

standin::mdo_ref object_maker::lone_album(int64_t id) {
  standin::mdo_builder made(VELOX_CTX_ALBUM);
  const auto found = told_.tracks.find(id);
  if (found == told_.tracks.end()) return made.finish();
  frame(made, found->second.title, found->second.artist);
  const standin::mdo_ref only = track(id);
  return made.child(VELOX_CHILD_TRACK, only).child(VELOX_CHILD_MATCHING_TRACK, only).finish();
}

standin::mdo_ref object_maker::artist_as_album(int64_t id) {
  standin::mdo_builder made(VELOX_CTX_ALBUM);
  frame(made, told_.artists.at(id).name, id);
  return made.finish();
}

}  // namespace velox::catalog
