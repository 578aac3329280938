// Waits for what another thread must bring about.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

constexpr uint32_t PATIENCE_MS = 60000;  // for what must come; a test that runs into it has failed

template <class Test>
void await(Test test) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(PATIENCE_MS);
  for (; !test(); std::this_thread::yield()) ASSERT_LT(std::chrono::steady_clock::now(), limit);
}
