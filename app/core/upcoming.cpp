/* The service chooses; this only leaves out what it can't know. */
#include "core/upcoming.h"

namespace app {

bool upcoming::draw(const item* playing) {
  outdated_ = true;  // if the service fails
  const bool another = station_.draw();
  outdated_ = playing != nullptr;
  if (!another) return false;

  tracks_ = station_.tracks();
  std::erase_if(tracks_, [&](const playlist_track& one) {
    return !wanted(one.shown) || (playing && one.shown.id == playing->id);
  });
  return true;
}

std::optional<playlist_track> upcoming::take() {
  if (tracks_.empty()) return std::nullopt;
  playlist_track first = std::move(tracks_.front());
  tracks_.erase(tracks_.begin());
  return first;
}

void upcoming::ban_track(const item& track) {
  banned_tracks_.insert(track.id);
  std::erase_if(tracks_, [&](const playlist_track& one) { return !wanted(one.shown); });
}

void upcoming::ban_artist(const item& track) {
  banned_artists_.insert(track.artist);
  std::erase_if(tracks_, [&](const playlist_track& one) { return !wanted(one.shown); });
}

bool upcoming::bring_back() {
  tracks_ = station_.tracks();
  std::erase_if(tracks_, [&](const playlist_track& one) { return !unplayable_.contains(one.shown.id); });
  unplayable_.clear();
  std::erase_if(tracks_, [&](const playlist_track& one) { return !wanted(one.shown); });
  return !tracks_.empty();
}

bool upcoming::wanted(const item& track) const {
  return !unplayable_.contains(track.id) && !banned_tracks_.contains(track.id) &&
         !banned_artists_.contains(track.artist);
}

}  // namespace app
