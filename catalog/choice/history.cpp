// History is asked about a track when it is about to be chosen, so what it costs depends on the playlist and not on how long
// the station has been heard.
#include "choice/history.h"

#include <algorithm>

namespace velox::catalog {
namespace {

constexpr int64_t k_absence = 300; /* tracks heard before one comes back, where there are enough */
constexpr size_t k_lately = 12;    /* tracks among which an artist isn't to flood */
constexpr int k_lately_of_artist = 3;

constexpr int64_t k_three_hours = 3 * 60 * 60;
constexpr int k_album_in_three_hours = 3, k_artist_in_three_hours = 4;
constexpr int k_album_in_a_row = 2, k_artist_in_a_row = 3;

}  // namespace

station_history::station_history(connection& from, const station& of, const wish& asked, bool dmca, int64_t now)
    : from_(from), of_(of), dmca_(dmca), spread_(asked.per_artist != 0), store_(*from.db) {
  const int64_t since = now - k_three_hours;
  if (of.heard > 0) latest_ = store_.heard(of.id, k_lately, dmca ? since : INT64_MAX);
  for (size_t i = 0; i < latest_.size(); ++i) {
    const heard_track& each = latest_[i];
    if (i < k_lately) ++lately_[each.artist];
    if (!dmca || each.time < since) continue;
    ++three_hours_[each.artist];
    if (each.album != 0) ++three_hours_[each.album];
  }
}

const station_history::knowledge& station_history::about(const candidate& track) {
  const auto [place, fresh] = known_.try_emplace(track.id);
  if (fresh) {
    place->second.who = identity_of(*from_.db, track.id);
    if (of_.id != 0) place->second.is = store_.judge(of_.id, place->second.who);
  }
  return place->second;
}

bool station_history::heard_too_lately(const verdict& is) const {
  if (is.last == 0) return false;
  const int64_t since = of_.heard - is.last;
  switch (patience_) {
    case strict:
      return since < k_absence * (1 + 2 * is.skips);
    case half_heard:
      return since < half_ * (1 + is.skips);
    default:
      return since < half_;
  }
}

bool station_history::admits(const candidate& track) {
  const auto& [who, is] = about(track);
  if (is.banned || heard_too_lately(is)) return false;
  if (spread_ && patience_ == strict && lately_[who.artist] >= k_lately_of_artist) return false;
  return !dmca_ || (three_hours_[who.artist] < k_artist_in_three_hours &&
                    (who.album == 0 || three_hours_[who.album] < k_album_in_three_hours));
}

void station_history::chosen(const candidate& track) {
  const identity& who = about(track).who;
  ++lately_[who.artist];
  ++three_hours_[who.artist];
  if (who.album != 0) ++three_hours_[who.album];
}

bool station_history::relax(const pool& there) {
  if (patience_ == whatever_is_left) return false;
  patience_ = patience_ == strict ? half_heard : whatever_is_left;
  if (patience_ == half_heard) {
    const auto& tracks = there.all();
    auto playable = static_cast<int64_t>(tracks.size());
    if (playable < 4 * k_absence)
      playable -=
          std::count_if(tracks.begin(), tracks.end(), [&](const candidate& each) { return about(each).is.banned; });
    half_ = std::min(k_absence, playable / 2);
  }
  return true;
}

void station_history::keep_apart(std::vector<choice>& tracks) {
  int64_t artist = 0, album = 0;
  int of_artist = 0, of_album = 0;  // how many of them came in a row
  const auto follow = [&](int64_t next_artist, int64_t next_album) {
    of_artist = next_artist == artist ? of_artist + 1 : 1;
    of_album = next_album != 0 && next_album == album ? of_album + 1 : 1;
    artist = next_artist, album = next_album;
  };
  for (auto each = latest_.rend() - static_cast<ptrdiff_t>(std::min(latest_.size(), k_lately)); each != latest_.rend();
       ++each)
    follow(each->artist, each->album);

  for (auto place = tracks.begin(); place != tracks.end(); ++place) {
    const auto follows_within = [&](int artists, int albums) {
      return std::find_if(place, tracks.end(), [&](const choice& each) {
        const identity& who = about(each.track).who;
        return (who.artist != artist || of_artist < artists) &&
               (who.album == 0 || who.album != album || of_album < albums);
      });
    };
    auto next = follows_within(1, k_album_in_a_row);
    if (next == tracks.end()) next = dmca_ ? follows_within(k_artist_in_a_row, k_album_in_a_row) : place;
    if (next == tracks.end()) {
      tracks.erase(place, tracks.end());
      return;
    }
    std::rotate(place, next, next + 1);
    const identity& who = about(place->track).who;
    follow(who.artist, who.album);
  }
}

}  // namespace velox::catalog
