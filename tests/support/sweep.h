// One fault after the other: a scenario is run again and again, each time with the next thing failing, until nothing is left to fail.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

/** What can be made to fail, counted from 0: allocations, table calls, system calls, a disk's calls. */
struct fault_source {
  std::string name;
  std::function<void(uint32_t n)> arm;  // the n-th from now on fails
  std::function<bool()> disarm;         // ends the failing; whether something failed
};

struct scenario {
  std::string name;
  std::function<void()> set_up = [] {};
  std::function<uint32_t()> act;                         // gives a status word
  std::function<void(uint32_t status, bool met)> check;  // after the faults have ended; whether there was one
};

/** Gives how many faults there were. */
inline uint32_t sweep(const scenario& run, const fault_source& source, uint32_t limit = 20000) {
  for (uint32_t n = 0; n < limit; ++n) {
    SCOPED_TRACE(run.name + ", " + source.name + ", fault " + std::to_string(n));
    run.set_up();
    source.arm(n);
    const uint32_t status = run.act();
    const bool met = source.disarm();
    run.check(status, met);
    EXPECT_TRUE(met || status == 0) << "fails without a fault";
    if (!met || testing::Test::HasFailure()) return n;
  }
  ADD_FAILURE() << run.name << " never gets through";
  return limit;
}
