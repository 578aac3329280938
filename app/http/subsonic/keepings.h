/* What a listener keeps through an app: stars, ratings, how often an album was played, playlists, and where playing stopped. Things are
 * told by the identifiers that the interface gives them. */
#ifndef CADENZ_APP_KEEPINGS_H
#define CADENZ_APP_KEEPINGS_H

#include <map>
#include <optional>
#include <vector>

#include "http/listeners.h"

namespace app::http::subsonic {

struct kept_playlist {
  int64_t id = 0;
  std::string name, comment;
  int64_t created = 0, changed = 0;
  std::vector<std::string> tracks;
};

struct play_queue {
  std::string current, changed_by;
  int64_t position = 0, changed = 0;
  std::vector<std::string> tracks;
};

class keepings {
 public:
  explicit keepings(database& in) : in_(in) {}

  void star(const person& who, const std::string& thing, int64_t now);
  void unstar(const person& who, const std::string& thing);
  /** When each was starred, in seconds since 1970. */
  std::map<std::string, int64_t> stars(const person& who);
  /** 1 to 5; 0 takes it away. */
  void rate(const person& who, const std::string& thing, int64_t stars);
  std::map<std::string, int64_t> ratings(const person& who);

  void played(const person& who, const std::string& album, int64_t now);
  std::vector<std::string> albums_by(const person& who, bool most_played, size_t most);

  std::vector<kept_playlist> playlists(const person& who);
  std::optional<kept_playlist> playlist(const person& who, int64_t id);
  /** Makes one, or puts another in its place; gives its number. */
  int64_t put(const person& who, const kept_playlist& list);
  bool remove(const person& who, int64_t id);

  void put_queue(const person& who, const play_queue& queue);
  std::optional<play_queue> queue(const person& who);

 private:
  database& in_;
};

}  // namespace app::http::subsonic

#endif
