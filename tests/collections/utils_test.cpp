// The sort against its own definition, element for element, and hexadecimal text.
#include <gtest/gtest.h>
#include <velox/pask_utils.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "report_log.h"

namespace {

using bytes = std::vector<uint8_t>;

uint32_t s_compared;

// Elements are ordered by their first byte alone, so that the rest tells equal ones apart.
int32_t by_first_byte(const void* a, const void* b, void* context) {
  EXPECT_EQ(context, &s_compared);
  ++s_compared;
  return *static_cast<const uint8_t*>(a) - *static_cast<const uint8_t*>(b);
}

// The order that the sort promises, also of equal elements: partition around the middle one, on whole elements.
void sort_as_told(std::vector<bytes>& items, int32_t low, int32_t high) {
  if (low >= high) return;
  std::swap(items[low + (high - low) / 2], items[high]);
  int32_t store = low;
  for (int32_t i = low; i < high; ++i)
    if (items[i][0] < items[high][0]) std::swap(items[store++], items[i]);
  std::swap(items[store], items[high]);
  sort_as_told(items, store + 1, high);
  sort_as_told(items, low, store - 1);
}

TEST(Sort, GivesTheToldOrderForAnySizeAndAlignment) {
  std::mt19937 random(20160822);
  for (const uint32_t size : {1u, 3u, 4u, 7u, 8u, 13u, 24u, 100000u}) {
    for (const uint32_t count : {2u, 3u, 20u, size > 1000 ? 40u : 2000u}) {
      std::vector<bytes> items(count, bytes(size));
      for (bytes& item : items)
        for (uint8_t& byte : item) byte = static_cast<uint8_t>(random());
      bytes room(size_t{size} * count + 1);
      uint8_t* const base = room.data() + 1;
      for (uint32_t i = 0; i < count; ++i) std::memcpy(base + size_t{i} * size, items[i].data(), size);

      sort_as_told(items, 0, static_cast<int32_t>(count) - 1);
      ASSERT_EQ(pask_utils_qsort(base, count, size, by_first_byte, &s_compared), 0u);
      for (uint32_t i = 0; i < count; ++i)
        ASSERT_EQ(std::memcmp(base + size_t{i} * size, items[i].data(), size), 0) << size << " bytes, element " << i;
    }
  }
}

TEST(Sort, ComparesAsOftenAsTold) {
  bytes one = {5};
  bytes two = {2, 1};
  bytes equal(100, 7);
  s_compared = 0;
  EXPECT_EQ(pask_utils_qsort(one.data(), 1, 1, by_first_byte, &s_compared), 0u);
  EXPECT_EQ(pask_utils_qsort(one.data(), 0, 1, by_first_byte, &s_compared), 0u);
  EXPECT_EQ(s_compared, 0u);
  EXPECT_EQ(pask_utils_qsort(two.data(), 2, 1, by_first_byte, &s_compared), 0u);
  EXPECT_EQ(s_compared, 1u);
  EXPECT_EQ(two, (bytes{1, 2}));
  s_compared = 0;
  EXPECT_EQ(pask_utils_qsort(equal.data(), 100, 1, by_first_byte, &s_compared), 0u);
  EXPECT_EQ(s_compared, 99u * 100 / 2);
}

// An order in which every pivot has two elements on its left, so that a range for each three elements comes to wait. Slots are
// sorted by hand as the partition would, and get their ranks on the way.
std::vector<uint32_t> order_that_waits(uint32_t count) {
  std::vector<uint32_t> slots(count);
  std::vector<uint32_t> ranks(count);
  for (uint32_t i = 0; i < count; ++i) slots[i] = i;
  uint32_t low = 0;
  const uint32_t high = count - 1;
  for (; low + 3 <= high; low += 3) {
    std::swap(slots[low + (high - low) / 2], slots[high]);
    ranks[slots[low]] = low;
    ranks[slots[low + 1]] = low + 1;
    ranks[slots[high]] = low + 2;
    std::swap(slots[low + 2], slots[high]);
  }
  for (; low <= high; ++low) ranks[slots[low]] = low;
  return ranks;
}

TEST(Sort, KeepsItsStackWhereRangesPileUp) {
  auto words = order_that_waits(30000);
  auto expected = words;
  std::sort(expected.begin(), expected.end());
  const auto by_word = [](const void* a, const void* b, void*) -> int32_t {
    const uint32_t left = *static_cast<const uint32_t*>(a);
    const uint32_t right = *static_cast<const uint32_t*>(b);
    return (left > right) - (left < right);
  };
  ASSERT_EQ(pask_utils_qsort(words.data(), 30000, 4, by_word, nullptr), 0u);
  EXPECT_EQ(words, expected);
}

TEST(Sort, RefusesWhatItCannotSortUnreported) {
  report_log log;
  uint32_t word = 1;
  EXPECT_EQ(pask_utils_qsort(nullptr, 0, 4, by_first_byte, nullptr), 0x900f0001u);
  EXPECT_EQ(pask_utils_qsort(&word, 1, 0, by_first_byte, nullptr), 0x900f0001u);
  EXPECT_EQ(pask_utils_qsort(&word, 1, 4, nullptr, nullptr), 0x900f0001u);
  EXPECT_TRUE(log.taken().empty());
}

struct hex_case {
  const char* text;
  uint32_t length;
  bytes out;
};

TEST(Hex, ReadsPairs) {
  const hex_case cases[] = {
      {"00ff", 4, {0x00, 0xff}},
      {"00FF", 4, {0x00, 0xff}},
      {"9aAf", 4, {0x9a, 0xaf}},
      {"12345", 5, {0x12, 0x34}},
      {"x", 1, {}},
      {"zz", 2, {0}},
      {"1z", 2, {1}},
      {" 1", 2, {1}},
      {"-1", 2, {0xff}},
      {"+f", 2, {0x0f}},
      {"0x", 2, {0}},
      {"@G`g", 4, {0, 0}},
      {"\0"
       "1",
       2,
       {0}},
      {"/0:9", 4, {0, 0}},
  };
  for (const hex_case& c : cases) {
    bytes out(c.out.size() + 1, 0xee);
    EXPECT_EQ(pask_utils_asc2bin(c.text, c.length, out.data(), static_cast<uint32_t>(c.out.size())), 0u) << c.text;
    bytes expected = c.out;
    expected.push_back(0xee);
    EXPECT_EQ(out, expected) << c.text;
  }
}

TEST(Hex, RefusesTooLittleText) {
  report_log log;
  uint8_t out[2] = {7, 7};
  EXPECT_EQ(pask_utils_asc2bin("00f", 3, out, 2), 0x900f0001u);
  EXPECT_EQ(pask_utils_asc2bin("", 0, out, 0), 0x900f0001u);
  EXPECT_EQ(pask_utils_asc2bin(nullptr, 4, out, 2), 0x900f0001u);
  EXPECT_EQ(pask_utils_asc2bin("0000", 4, nullptr, 2), 0x900f0001u);
  EXPECT_EQ(pask_utils_asc2bin("0000", 4, out, 0x80000002u), 0x900f0001u);
  EXPECT_EQ(out[0] + out[1], 14);
  EXPECT_EQ(log.taken(), std::vector<std::string>(5, "pask_utils 900f0001"));
}

}  // namespace
