// The sort against its own definition, element for element and comparison for comparison, and hexadecimal text.
#include <gtest/gtest.h>
#include <velox/pask_utils.h>

#include <cstring>
#include <random>
#include <vector>

#include "report_log.h"

namespace {

using bytes = std::vector<uint8_t>;

// Elements are ordered by their first byte alone, so that the rest tells equal ones apart.
int32_t by_first_byte(const void* a, const void* b, void* compared) {
  ++*static_cast<uint32_t*>(compared);
  return *static_cast<const uint8_t*>(a) - *static_cast<const uint8_t*>(b);
}

// The order that the sort promises, also of equal elements: partition around the middle one, on whole elements. Gives the
// number of comparisons.
uint32_t sort_as_told(std::vector<bytes>& items, int32_t low, int32_t high) {
  if (low >= high) return 0;
  std::swap(items[low + (high - low) / 2], items[high]);
  int32_t store = low;
  for (int32_t i = low; i < high; ++i)
    if (items[i][0] < items[high][0]) std::swap(items[store++], items[i]);
  std::swap(items[store], items[high]);
  return high - low + sort_as_told(items, store + 1, high) + sort_as_told(items, low, store - 1);
}

TEST(Sort, GivesTheToldOrderForAnySizeAndAlignment) {
  std::mt19937 random(20160822);
  for (const uint32_t size : {1u, 3u, 4u, 7u, 8u, 13u, 24u, 100000u}) {
    for (const uint32_t count : {0u, 1u, 2u, 3u, 20u, size > 1000 ? 40u : 2000u}) {
      std::vector<bytes> items(count, bytes(size));
      bytes room(1);  // an odd address to begin with
      for (bytes& item : items) {
        for (uint8_t& byte : item) byte = static_cast<uint8_t>(random());
        room.insert(room.end(), item.begin(), item.end());
      }
      uint32_t compared = 0;
      ASSERT_EQ(pask_utils_qsort(room.data() + 1, count, size, by_first_byte, &compared), 0u);
      ASSERT_EQ(compared, sort_as_told(items, 0, static_cast<int32_t>(count) - 1));
      for (uint32_t i = 0; i < count; ++i)
        ASSERT_EQ(std::memcmp(&room[1 + size_t{i} * size], items[i].data(), size), 0)
            << size << " bytes, element " << i;
    }
  }
}

// An order in which every pivot has two elements on its left, so that a range for each three elements comes to wait. Slots are
// sorted by hand as the partition would, and get their ranks on the way.
TEST(Sort, KeepsItsStackWhereRangesPileUp) {
  constexpr uint32_t COUNT = 30000;
  std::vector<uint32_t> slots(COUNT), ranks(COUNT);
  for (uint32_t i = 0; i < COUNT; ++i) slots[i] = i;
  for (uint32_t low = 0; low < COUNT; low += 3) {
    if (low + 3 < COUNT) std::swap(slots[low + (COUNT - 1 - low) / 2], slots[COUNT - 1]);
    if (low + 3 < COUNT) std::swap(slots[low + 2], slots[COUNT - 1]);
    for (uint32_t i = low; i < low + 3; ++i) ranks[slots[i]] = i;
  }
  const auto by_word = [](const void* a, const void* b, void*) {
    return *static_cast<const int32_t*>(a) - *static_cast<const int32_t*>(b);
  };
  ASSERT_EQ(pask_utils_qsort(ranks.data(), COUNT, 4, by_word, nullptr), 0u);
  for (uint32_t i = 0; i < COUNT; ++i) ASSERT_EQ(ranks[i], i);
}

// A byte for each pair, whatever it is made of; an odd digit at the end is left.
TEST(Hex, ReadsPairs) {
  using namespace std::string_literals;
  bytes all;
  for (const std::string& text : {"00ff"s, "00FF"s, "9aAf"s, "12345"s, "x"s, "zz"s, "1z"s, " 1"s, "-1"s, "+f"s, "0x"s,
                                  "@G`g"s, "\0001"s, "/0:9"s}) {
    const uint32_t length = static_cast<uint32_t>(text.size());
    bytes out(length / 2 + 1, 0xee);
    EXPECT_EQ(pask_utils_asc2bin(text.data(), length, out.data(), length / 2), 0u) << text;
    EXPECT_EQ(out.back(), 0xee) << text;
    all.insert(all.end(), out.begin(), out.end() - 1);
  }
  EXPECT_EQ(all, (bytes{0, 0xff, 0, 0xff, 0x9a, 0xaf, 0x12, 0x34, 0, 1, 1, 0xff, 0x0f, 0, 0, 0, 0, 0, 0}));
}

TEST(Utils, RefuseWhatTheyCannotDoAndOnlyTheSortUnreported) {
  report_log log;
  uint8_t out[2] = {7, 7};
  for (const pask_status word :
       {pask_utils_asc2bin("00f", 3, out, 2), pask_utils_asc2bin("", 0, out, 0), pask_utils_asc2bin(nullptr, 4, out, 2),
        pask_utils_asc2bin("0000", 4, nullptr, 2), pask_utils_asc2bin("0000", 4, out, 0x80000002u),
        pask_utils_qsort(nullptr, 0, 4, by_first_byte, nullptr), pask_utils_qsort(out, 1, 0, by_first_byte, nullptr),
        pask_utils_qsort(out, 1, 1, nullptr, nullptr)})
    EXPECT_EQ(word, 0x900f0001u);
  EXPECT_EQ(out[0] + out[1], 14);
  EXPECT_EQ(log.taken(), std::vector<std::string>(5, "pask_utils 900f0001"));
}

}  // namespace
