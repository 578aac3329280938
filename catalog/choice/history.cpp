// The chooser asks a store about the tracks that it is about to choose and tells the answer here, so what a history costs depends
// on the playlist and not on how long the station has been heard.
#include "choice/history.h"

#include <algorithm>

namespace velox::catalog {
namespace {

constexpr int64_t k_absence = 300;    /* tracks heard before one comes back, where there are enough */
constexpr int k_lately_of_artist = 3; /* of the tracks heard lately */

constexpr int k_album_in_three_hours = 3, k_artist_in_three_hours = 4;
constexpr int k_album_in_a_row = 2, k_artist_in_a_row = 3;

}  // namespace

station_history::station_history(const station& of, std::vector<heard_track> heard, const request& asked, int64_t now)
    : station_(of.id),
      heard_(of.heard),
      radio_rule_(of.keeps_radio_rule()),
      spread_(asked.per_artist != 0),
      latest_(std::move(heard)) {
  const int64_t since = now - k_radio_rule_seconds;
  for (size_t i = 0; i < latest_.size(); ++i) {
    const heard_track& each = latest_[i];
    if (i < k_heard_lately) ++lately_[each.artist];
    if (!radio_rule_ || each.time < since) continue;
    ++three_hours_[each.artist];
    if (each.album != 0) ++three_hours_[each.album];
  }
}

bool station_history::heard_too_lately(const memory& of) const {
  if (of.last == 0) return false;
  const int64_t since = heard_ - of.last;
  switch (patience_) {
    case strict:
      return since < k_absence * (1 + 2 * of.skips);
    case half_heard:
      return since < half_ * (1 + of.skips);
    default:
      return since < half_;
  }
}

bool station_history::admits(const candidate& track) {
  const memory& of = about(track);
  if (of.banned || heard_too_lately(of)) return false;
  const identity& who = of.who;
  if (spread_ && patience_ == strict && lately_[who.artist] >= k_lately_of_artist) return false;
  return !radio_rule_ || (three_hours_[who.artist] < k_artist_in_three_hours &&
                          (who.album == 0 || three_hours_[who.album] < k_album_in_three_hours));
}

void station_history::chosen(const candidate& track) {
  const identity& who = about(track).who;
  ++lately_[who.artist];
  ++three_hours_[who.artist];
  if (who.album != 0) ++three_hours_[who.album];
}

bool station_history::relax(const std::vector<candidate>& there) {
  if (patience_ == whatever_is_left) return false;
  patience_ = patience_ == strict ? half_heard : whatever_is_left;
  if (patience_ == half_heard) {
    auto playable = static_cast<int64_t>(there.size());
    if (playable < 4 * k_absence)
      playable -= std::count_if(there.begin(), there.end(), [&](const candidate& each) { return about(each).banned; });
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
  for (auto each = latest_.rend() - static_cast<ptrdiff_t>(std::min(latest_.size(), k_heard_lately));
       each != latest_.rend(); ++each)
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
    if (next == tracks.end()) next = radio_rule_ ? follows_within(k_artist_in_a_row, k_album_in_a_row) : place;
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
