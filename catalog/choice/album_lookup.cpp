// Finding what a seed describes that carries names instead of identifiers.
#include "choice/answers.h"
#include "choice/objects.h"

namespace velox::catalog {
namespace {

description described_by(const velox_standin_request& asked) {
  const auto text = [&](const char* key) {
    const char* value = value_of(data_of(asked), key);
    return value ? std::string_view(value) : std::string_view();
  };
  return {.tui = text(VELOX_LOOKUP_DATA_TUI),
          .tag = text(VELOX_LOOKUP_DATA_TUI_TAG),
          .album_artist = text(VELOX_LOOKUP_DATA_ALBUM_ARTIST),
          .album_title = text(VELOX_LOOKUP_DATA_ALBUM_TITLE),
          .track_artist = text(VELOX_LOOKUP_DATA_TRACK_ARTIST),
          .track_title = text(VELOX_LOOKUP_DATA_TRACK_TITLE)};
}

subjects subjects_of(const identified& found) {
  subjects wanted{.with_tracks = true};
  if (found.track != 0) wanted.tracks.push_back(found.track);
  if (found.album != 0) wanted.albums.push_back(found.album);
  if (found.artist != 0) wanted.artists.push_back(found.artist);
  return wanted;
}

}  // namespace

standin::mdo_ref look_up_album(store& from, const velox_standin_request& asked, progress& run) {
  const view all(from);
  const identified found = from.identify(described_by(asked));
  run.looked(1);
  if (found.track == 0 && found.album == 0 && found.artist == 0) return {};
  const records told = from.describe(subjects_of(found));

  object_maker make(from, told);
  standin::mdo_builder answer("velox_ctx_response");
  answer.child(VELOX_CHILD_ALBUM, found.album != 0   ? make.album(found.album, found.track)
                                  : found.track != 0 ? make.lone_album(found.track)
                                                     : make.artist_as_album(found.artist));
  run.gave(1);
  return answer.finish();
}

}  // namespace velox::catalog
