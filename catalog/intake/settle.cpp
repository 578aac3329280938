// Each decision counts for the next: the maps of what the store told are kept as the batch will have changed it.
#include "intake/settle.h"

namespace velox::catalog {
namespace {

constexpr size_t k_most_entries = 1000;
constexpr auto k_longest = std::chrono::seconds(1);

}  // namespace

void settler::add(song track, const known_file* known) {
  if (entries_.empty()) began_ = std::chrono::steady_clock::now();
  entries_.push_back({std::move(track), known ? *known : known_file{}, known != nullptr, false});
}

void settler::add_gone(const known_file& file) {
  if (entries_.empty()) began_ = std::chrono::steady_clock::now();
  entries_.push_back({{}, file, true, true});
}

bool settler::due() const {
  return !entries_.empty() &&
         (entries_.size() >= k_most_entries || std::chrono::steady_clock::now() - began_ >= k_longest);
}

void settler::settle() {
  ask();
  for (const entry& each : entries_) decide(each);
  entries_.clear();
  run_.changes.flush();
}

/** Where the maps can't tell: what has been decided goes into the store, which then can. */
void settler::ask_again() {
  run_.changes.flush();
  ask();
}

/** Two questions: the tracks of the new contents, and the other files of tracks that change. */
void settler::ask() {
  holders_.clear(), duplicates_.clear(), copied_.clear();
  std::vector<content> contents;
  std::vector<int64_t> changing;
  for (const entry& each : entries_) {
    if (each.track.digest) contents.push_back({*each.track.digest, each.track.size});
    if (each.is_known && !each.known.duplicate) changing.push_back(each.known.id);
  }
  const std::vector<track_of_content> tracks = run_.into.tracks_of(contents);
  for (size_t i = 0; i < tracks.size(); ++i) {
    if (tracks[i].track != 0) holders_[{contents[i].digest, contents[i].size}] = {tracks[i].track, tracks[i].path};
  }
  for (duplicate& each : run_.into.duplicates_of(changing)) duplicates_[each.track].push_back(std::move(each));
}

void settler::decide(const entry& each) {
  if (each.is_gone) return take_gone(each.known);
  if (each.is_known && !each.known.duplicate) return take_changed(each.track, each.known.id);
  if (each.is_known) run_.changes.remove_duplicate(each.known.id);
  if (recognised(each.track)) return;
  hold(each.track, run_.changes.put(each.track, 0));
  ++run_.report.added;
}

/** The track's former content may be there elsewhere. */
void settler::take_changed(const song& track, int64_t id) {
  inherit(id, 0);
  for (auto& [content, held_by] : holders_) {
    if (held_by.track == id) held_by.track = 0;
  }
  run_.changes.put(track, id);
  hold(track, id);
  ++run_.report.updated;
}

void settler::take_gone(const known_file& file) {
  if (file.duplicate) return run_.changes.remove_duplicate(file.id);
  if (inherit(file.id, file.id)) {
    ++run_.report.moved;
  } else {
    run_.changes.remove(file.id);
    ++run_.report.removed;
  }
}

void settler::hold(const song& track, int64_t named) {
  if (track.digest) holders_[{*track.digest, track.size}] = {named, track.path};
}

/** Whether a new file is one that the catalogue has, moved or once more; it is then seen to. */
bool settler::recognised(const song& track) {
  if (!track.digest) return false;
  const content_key content = {*track.digest, track.size};
  auto found = holders_.find(content);
  if (found != holders_.end() && found->second.track == 0) {
    ask_again();
    found = holders_.find(content);
  }
  if (found == holders_.end()) return false;
  holder& same = found->second;
  song there;
  bool regular = false;
  if (look_at(same.path, there, &regular)) {
    copied_.insert(same.track);
    run_.changes.put_duplicate(track, same.track);
    ++run_.report.duplicates;
    return true;
  }
  seen_(same.path);
  same.path = track.path;
  run_.changes.put(track, same.track);
  ++run_.report.moved;
  return true;
}

/** Makes a track of the first file that has the content of a track's, under its number or, with 0, a new one. False when there is
 *  no such file. */
bool settler::inherit(int64_t of, int64_t under) {
  if (copied_.contains(of)) ask_again();
  const std::vector<duplicate> heirs = std::move(duplicates_[of]);
  duplicates_.erase(of);
  for (const duplicate& each : heirs) {
    run_.changes.remove_duplicate(each.id);
    song track;
    bool regular = false;
    const bool as_it_was = look_at(each.path, track, &regular) && regular &&
                           static_cast<int64_t>(track.size) == each.size && track.stamp == each.stamp;
    if (!as_it_was || !read_file(run_, track).empty()) continue;
    const int64_t named = run_.changes.put(track, under);
    run_.changes.hand_duplicates(of, named);
    hold(track, named);
    seen_(each.path);
    return true;
  }
  return false;
}

}  // namespace velox::catalog
