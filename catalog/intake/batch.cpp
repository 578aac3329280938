// A batch ends by size, so that memory stays bounded, and by time, so that an interrupted scan loses about a second.
#include "intake/batch.h"

namespace velox::catalog {
namespace {

constexpr size_t k_most_changes = 10000;
constexpr auto k_longest = std::chrono::seconds(1);

}  // namespace

void batch::add(change what) {
  if (changes_.empty()) began_ = std::chrono::steady_clock::now();
  changes_.push_back(std::move(what));
}

int64_t batch::put(song track, int64_t replaced) {
  add({.of = change::put_track, .id = replaced, .what = std::move(track)});
  return -static_cast<int64_t>(changes_.size());
}

void batch::put_duplicate(song file, int64_t of) {
  add({.of = change::put_duplicate, .id = of, .what = std::move(file)});
}

bool batch::due() const {
  return !changes_.empty() &&
         (changes_.size() >= k_most_changes || std::chrono::steady_clock::now() - began_ >= k_longest);
}

void batch::flush() {
  if (!changes_.empty()) into_.apply(changes_);
  changes_.clear();
  kept_ = report_;
}

batch::~batch() {
  report_.added = kept_.added;
  report_.updated = kept_.updated;
  report_.removed = kept_.removed;
  report_.moved = kept_.moved;
  report_.duplicates = kept_.duplicates;
}

}  // namespace velox::catalog
