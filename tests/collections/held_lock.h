// Who goes through a lock that the test holds.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

struct named_call {
  const char* name;
  std::function<void()> run;
};

// Runs all calls at once, each in a thread of its own, and gives the lock free after a while. The names of those that had come
// through by then, each with a blank.
inline std::string through_lock(const std::vector<named_call>& calls, const std::function<void()>& free_lock) {
  std::vector<std::atomic<bool>> done(calls.size());
  std::vector<std::jthread> threads;
  for (size_t i = 0; i < calls.size(); ++i)
    threads.emplace_back([&, i] {
      calls[i].run();
      done[i] = true;
    });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::string names;
  for (size_t i = 0; i < calls.size(); ++i)
    if (done[i]) names += calls[i].name + std::string(" ");
  free_lock();
  return names;
}
