/* Tracks, albums and artists as the protocol tells them, and its identifiers: a kind and the catalogue's own identifier. */
#ifndef CADENZ_APP_THINGS_H
#define CADENZ_APP_THINGS_H

#include "core/finding.h"
#include "http/api.h"
#include "http/subsonic/keepings.h"

namespace app::http::subsonic {

/** "tr-", "al-" or "ar-" and the address of what it names; "st-" for a station, "pl-" for a playlist. */
std::string thing_of(item_kind kind, const std::string& id);
struct thing {
  std::string kind;  // "tr", "al", "ar", "st", "pl"
  std::string id;
};
std::optional<thing> thing_in(const std::string& text);

/** A moment as the protocol wants it. */
std::string date_of(int64_t seconds);

/** Tells things with what a listener keeps of them. */
class teller {
 public:
  teller(house& in, keepings& of, const person& who) : in_(in), stars_(of.stars(who)), ratings_(of.ratings(who)) {}

  json song(const item& track);
  /** `with_songs` as "song", or as "child" of a folder. */
  json album(const found_object& found, const char* songs = nullptr);
  /** The same as a folder that a list shows. */
  json folder(const found_object& album);
  json artist(const item& shown);

 private:
  void put_kept(json& object, const std::string& thing);
  house& in_;
  const std::map<std::string, int64_t> stars_, ratings_;
};

/** The tracks of an album's object. */
std::vector<item> tracks_of(const found_object& album);

}  // namespace app::http::subsonic

#endif
