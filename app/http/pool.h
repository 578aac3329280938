/* Threads for the server's connections. */
#ifndef CADENZ_APP_POOL_H
#define CADENZ_APP_POOL_H

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace app::http {

/** Threads as they are needed: a stream that is listened to keeps one. */
class growing_pool final : public httplib::TaskQueue {
 public:
  explicit growing_pool(size_t most) : most_(most) {}
  void enqueue(std::function<void()> task) override {
    {
      const std::lock_guard held(mutex_);
      tasks_.push_back(std::move(task));
      if (idle_ < tasks_.size() && threads_.size() < most_) threads_.emplace_back([this] { serve(); });
    }
    there_is_work_.notify_one();
  }
  void shutdown() override {
    {
      const std::lock_guard held(mutex_);
      over_ = true;
    }
    there_is_work_.notify_all();
    for (std::thread& one : threads_) one.join();
  }

 private:
  void serve() {
    std::unique_lock held(mutex_);
    for (;;) {
      ++idle_;
      there_is_work_.wait(held, [this] { return over_ || !tasks_.empty(); });
      --idle_;
      if (tasks_.empty()) return;
      const std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      held.unlock();
      task();
      held.lock();
    }
  }

  const size_t most_;
  std::mutex mutex_;
  std::condition_variable there_is_work_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  size_t idle_ = 0;
  bool over_ = false;
};

}  // namespace app::http

#endif
