// Progress records of kind 20, whose amounts are added up: state 10 for tracks looked at, 11 for tracks given.
#include "choice/progress.h"

#include <chrono>
#include <utility>

namespace velox::catalog {
namespace {

constexpr int64_t k_tell_every_ns = 20'000'000;
constexpr uint32_t k_counted = 20;
constexpr int32_t k_looked = 10, k_gave = 11;

int64_t now_ns() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

progress::progress(velox_standin_run* run, store& watched) : run_(run), watched_(watched), last_ns_(now_ns()) {
  watched_.watch([this] { return tell_now_and_then(); });
}

progress::~progress() { watched_.watch(nullptr); }

bool progress::tell_now_and_then() {
  const int64_t now = now_ns();
  if (status_ != 0) return false;
  if (now - last_ns_ < k_tell_every_ns) return true;
  last_ns_ = now;
  tell(k_looked, std::exchange(looked_, 0));
  return status_ == 0;
}

void progress::tell(int32_t state, uint32_t tracks) {
  if (run_ && status_ == 0) status_ = velox_standin_run_progress(run_, k_counted, state, tracks, nullptr);
}

void progress::looked(size_t tracks) {
  looked_ += static_cast<uint32_t>(tracks);
  tell_now_and_then();
  check();
}

void progress::gave(size_t tracks) {
  tell(k_looked, std::exchange(looked_, 0));
  tell(k_gave, static_cast<uint32_t>(tracks));
  check();
}

void progress::check() const {
  if (status_ != 0) throw failure{status_, "the lookup was aborted"};
}

}  // namespace velox::catalog
