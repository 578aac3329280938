// The accumulator: capacities as promised, aliasing, the model of a std::string, and refused memory.
#include <gtest/gtest.h>
#include <velox/pask_string.h>
#include <velox/pask_string_accum.h>
#include <velox/velox_standin.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "random.h"

namespace {

constexpr pask_status INVALID_ARG = 0x90050001, NO_MEMORY = 0x90050002;
constexpr uint32_t HEAD = sizeof(pask_string_accum);

using list = std::vector<uint32_t>;  // what calls gave one after the other
using accum_ptr = std::unique_ptr<pask_string_accum, decltype(&pask_string_accum_delete)>;

struct block {
  alignas(void*) char room[HEAD + 10];
};

accum_ptr make(uint32_t size, block* b = nullptr) {
  pask_string_accum* acc = nullptr;
  EXPECT_EQ(pask_string_accum_create(&acc, b, size), 0u);
  return {acc, pask_string_accum_delete};
}

void detach_and_check(pask_string_accum* acc, const char* wanted, uint32_t wanted_size) {
  char* text = nullptr;
  uint32_t size = 99;
  EXPECT_EQ(pask_string_accum_detach(acc, &text, &size), 0u);
  EXPECT_STREQ(text, wanted);
  EXPECT_EQ(size, wanted_size);
  pask_string_free(text);
}

TEST(Accum, CapacityIsTwiceWhatANeedyChangeNeeds) {
  const accum_ptr acc = make(0), ten = make(10);
  const char* text = "untouched";
  uint32_t size = 9;
  EXPECT_EQ((list{pask_string_accum_append(acc.get(), nullptr, &text), text == nullptr,
                  pask_string_accum_append(acc.get(), "a", &text), text == acc->text, acc->capacity,
                  pask_string_accum_bytelen(ten.get(), &size), size}),
            (list{0, 1, 0, 1, 4, 0, 0}));
  EXPECT_STREQ(ten->text, "");
  pask_string_accum_append(ten.get(), "abc", nullptr);
  pask_string_accum_append_bytes(ten.get(), "defghi", 6, nullptr);
  EXPECT_EQ(ten->capacity, 10u);
  pask_string_accum_append_format(ten.get(), "%2c", 'j');  // a blank, then the letter: two changes
  EXPECT_EQ(ten->capacity, 22u);
  EXPECT_STREQ(ten->text, "abcdefghi j");
  const char* kept = ten->text;
  EXPECT_EQ(pask_string_accum_set_format(ten.get(), "%s", "next"), 0u);
  EXPECT_EQ(ten->text, kept);
  EXPECT_EQ(ten->capacity, 22u);
}

TEST(Accum, StartsInTheCallersBlockAndLeavesItIntact) {
  block b;
  memset(&b, 'x', sizeof b);
  const int64_t live = velox_standin_memory_live_blocks();
  {
    const accum_ptr acc = make(HEAD + 10, &b);
    EXPECT_EQ(acc->text, b.room + HEAD);
    EXPECT_EQ(b.room[HEAD + 9], 0);
    EXPECT_EQ(acc->capacity, 10u);
    pask_string_accum_append(acc.get(), "123456789", nullptr);
    EXPECT_EQ(velox_standin_memory_live_blocks(), live);
    detach_and_check(acc.get(), "123456789", 10);
    EXPECT_STREQ(b.room + HEAD, "123456789");
    pask_string_accum_append(acc.get(), "z", nullptr);  // from a capacity of 0
    EXPECT_EQ(acc->capacity, 4u);
    detach_and_check(acc.get(), "z", 2);
    detach_and_check(acc.get(), "", 0);
    detach_and_check(make(0).get(), "", 0);
    EXPECT_EQ(make(HEAD, &b)->capacity, HEAD);  // a block without room for text isn't used
  }
  EXPECT_EQ(velox_standin_memory_live_blocks(), live);
}

TEST(Accum, NullAndNothing) {
  const accum_ptr acc = make(0);
  const char* text = "untouched";
  uint32_t size = 7;
  EXPECT_EQ(pask_string_accum_append_bytes(acc.get(), "abc", 0, &text), 0u);
  EXPECT_EQ(pask_string_accum_append_chars(acc.get(), "abc", 0, &text), 0u);
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ((list{pask_string_accum_get_string(acc.get(), &text, &size), text != nullptr, size,
                  pask_string_accum_append_format(acc.get(), nullptr),
                  pask_string_accum_get_string(acc.get(), nullptr, nullptr), pask_string_accum_delete(nullptr)}),
            list(6, 0));
  EXPECT_EQ(
      (list{pask_string_accum_create(nullptr, nullptr, 5), pask_string_accum_append(nullptr, "a", nullptr),
            pask_string_accum_append_accum(nullptr, acc.get(), nullptr),
            pask_string_accum_append_chars(nullptr, "a", 0, nullptr),
            pask_string_accum_append_bytes(nullptr, "a", 0, nullptr), pask_string_accum_append_format(nullptr, "a"),
            pask_string_accum_bytelen(acc.get(), nullptr), pask_string_accum_bytelen(nullptr, &size),
            pask_string_accum_get_string(nullptr, &text, &size), pask_string_accum_detach(acc.get(), nullptr, &size),
            pask_string_accum_remove_range(nullptr, 0, 0, &size), pask_string_accum_clear(nullptr),
            pask_string_accum_set(nullptr, "a"), pask_string_accum_set_format(nullptr, "a")}),
      list(14, INVALID_ARG));
}

TEST(Accum, TakesItsOwnTextAsASource) {
  const accum_ptr acc = make(4);
  pask_string_accum_append_bytes(acc.get(), "a\0c", 3, nullptr);
  pask_string_accum_append_accum(acc.get(), acc.get(), nullptr);  // grows under the source
  EXPECT_EQ(std::string(acc->text, acc->length), std::string("a\0ca\0c", 6));
  pask_string_accum_set(acc.get(), "0123456");
  for (int i = 0; i < 6; ++i) pask_string_accum_append(acc.get(), acc->text + 5, nullptr);
  EXPECT_EQ(std::string(acc->text).substr(0, 13), "0123456565656");
  pask_string_accum_set(acc.get(), acc->text + 3);
  EXPECT_EQ(std::string(acc->text).substr(0, 6), "345656");
}

TEST(Accum, MatchesAString) {
  TEST_RANDOM(random, std::mt19937);
  block b;
  accum_ptr acc = make(HEAD + 10, &b);
  std::string model;
  const std::string source = "a\xc3\xa9\xe2\x82\xac z0123456789";
  uint32_t n = 0;
  const std::function<void()> changes[] = {
      [&] { pask_string_accum_append_bytes(acc.get(), source.data(), n, nullptr), model.append(source, 0, n); },
      [&] { pask_string_accum_append(acc.get(), source.c_str() + n, nullptr), model += source.substr(n); },
      [&] { pask_string_accum_append_chars(acc.get(), source.c_str(), 3, nullptr), model.append(source, 0, 6); },
      [&] { pask_string_accum_append_format(acc.get(), "<%u>", n), model += "<" + std::to_string(n) + ">"; },
      [&] { pask_string_accum_append_accum(acc.get(), acc.get(), nullptr), model += model; },
      [&] { pask_string_accum_set(acc.get(), "set"), model = "set"; },
      [&] { pask_string_accum_clear(acc.get()), model.clear(); },
      [&] {
        const uint32_t start = n * 50, count = n % 5 ? n * 9 : UINT32_MAX;
        uint32_t removed = 99;
        pask_string_accum_remove_range(acc.get(), start, count, &removed);
        const size_t from = std::min<size_t>(start, model.size());
        EXPECT_EQ(removed, std::min<size_t>(count, model.size() - from));
        model.erase(from, removed);
      },
  };
  for (int i = 0; i < 20000; ++i) {
    n = static_cast<uint32_t>(random() % 12);
    changes[random() % std::size(changes)]();
    ASSERT_EQ(std::string(acc->text, acc->length), model);
    ASSERT_EQ(acc->text[acc->length], 0);
    ASSERT_GT(acc->capacity, acc->length);
  }
}

TEST(Accum, RefusedGrowthChangesNothing) {
  block b;
  for (const bool heap : {false, true}) {
    const accum_ptr acc = heap ? make(10) : make(HEAD + 10, &b);
    pask_string_accum_append(acc.get(), "abc", nullptr);
    const pask_string_accum before = *acc;
    const char* out = nullptr;
    velox_standin_memory_refuse(0, 1);
    EXPECT_EQ(pask_string_accum_append(acc.get(), "0123456", &out), NO_MEMORY);
    for (const uint32_t size : {UINT32_MAX - 3, 0x7ffffffdu})
      EXPECT_EQ(pask_string_accum_append_bytes(acc.get(), "x", size, &out), NO_MEMORY);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(memcmp(acc.get(), &before, sizeof before), 0);
    char* text = nullptr;
    EXPECT_EQ(pask_string_accum_detach(acc.get(), &text, nullptr), heap ? 0u : NO_MEMORY);
    velox_standin_memory_refuse_end();
    EXPECT_STREQ(heap ? text : acc->text, "abc");
    pask_string_free(text);
  }
}

}  // namespace
