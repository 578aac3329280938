// Rows of the catalogue as metadata objects and list elements.
#ifndef VELOX_CATALOG_OBJECTS_H
#define VELOX_CATALOG_OBJECTS_H

#include <unordered_map>
#include <vector>

#include "standin.h"
#include "store/sqlite/connection.h"

namespace velox::catalog {

/** Why a track is in an answer. */
struct reason {
  std::string sentence;
  const char* kind;
  uint32_t seed; /* 0: none */
  int score;
};

struct attribute_info {
  int kind = 0; /* 0: no such attribute */
  int64_t tracks = 0;
  int64_t levels[k_levels] = {};
  std::string name;
};

/** The attributes that were looked at, kept as long as nobody else writes to the catalogue. */
class attributes {
 public:
  explicit attributes(database& db) : db_(db) {}
  const attribute_info& at(int64_t id);
  /** The attribute of a name; 0 for none. */
  int64_t find(attribute_kind kind, std::string_view name);
  /** Forgets what may have changed; at the head of each view. */
  void refresh();

 private:
  database& db_;
  std::unordered_map<int64_t, attribute_info> known_;
  int64_t version_ = -1;
};

/** Makes objects inside one view of the catalogue; artists are made once. */
class object_maker {
 public:
  object_maker(database& db, attributes& attrs, bool xids = false) : db_(db), attrs_(attrs), xids_(xids) {}
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
  struct made_artist {
    standin::mdo_ref whole;
    std::string uid, name;
    int64_t genre = 0; /* 0: none */
  };
  const made_artist& artist_of(int64_t id);
  void frame(standin::mdo_builder& album, std::string_view title, int64_t artist);
  database& db_;
  attributes& attrs_;
  bool xids_;
  std::unordered_map<int64_t, made_artist> artists_;
};

}  // namespace velox::catalog

#endif
