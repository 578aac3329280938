// The seed of a test's random numbers: that of $VELOX_TEST_SEED, or another one each time. A failure tells it in the same words.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

inline uint32_t test_seed() {
  const char* wanted = std::getenv("VELOX_TEST_SEED");
  return wanted ? static_cast<uint32_t>(std::strtoul(wanted, nullptr, 0)) : std::random_device{}();
}

// At the top of a test: an engine of that name from here on.
#define TEST_RANDOM(name, engine)                                    \
  const uint32_t test_seed_here = test_seed();                       \
  SCOPED_TRACE("VELOX_TEST_SEED=" + std::to_string(test_seed_here)); \
  engine name(test_seed_here)
