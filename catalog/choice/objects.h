// Records of the catalogue as metadata objects.
#ifndef VELOX_CATALOG_CHOICE_OBJECTS_H
#define VELOX_CATALOG_CHOICE_OBJECTS_H

#include <unordered_map>

#include "choice/scorer.h"
#include "standin.h"

namespace velox::catalog {

/** Makes objects of records that a store has told; artists are made once. The records hold all that is asked for. */
class object_maker {
 public:
  object_maker(const store& from, const records& told, bool xids = false, bool sonic = false)
      : from_(from), told_(told), xids_(xids), sonic_(sonic) {}
  standin::mdo_ref track(int64_t id, const reason* why = nullptr);
  /** With its tracks as children; `matching`, where not 0, is also its matching track. */
  standin::mdo_ref album(int64_t id, int64_t matching = 0);
  standin::mdo_ref artist(int64_t id);
  struct told_track {
    int64_t id;
    const reason* why;
  };
  /** An album with some of its tracks; 0 for the place of one that a first track doesn't have. */
  standin::mdo_ref album_of(int64_t id, const std::vector<told_track>& tracks);
  /** What stands in an album's place for a track that belongs to none. */
  standin::mdo_ref lone_album(int64_t track);
  /** What stands in an album's place for an artist alone: no tracks, so that who takes it as a seed gets the artist. */
  standin::mdo_ref artist_as_album(int64_t id);

 private:
  std::string identifier_of(const album_record& album) const;
  void frame(standin::mdo_builder& album, std::string_view title, int64_t artist);
  velox_mdo_handle shared_artist(int64_t id);
  const store& from_;
  const records& told_;
  bool xids_, sonic_;
  std::unordered_map<int64_t, standin::mdo_ref> artists_;
};

}  // namespace velox::catalog

#endif
