// What the string map adds to the hash table: texts with their terminator, borrowed values and the check of them, copies
// between maps, and the formatted value.
#include <gtest/gtest.h>
#include <velox/pask_modules.h>
#include <velox/pask_stringmap.h>
#include <velox/velox_standin.h>

#include "report_log.h"

namespace {

constexpr pask_status NOT_FOUND = 0x100d0003, PAST_END = 0x100d0361, NOT_TEXT = 0x900d0360, INVALID = 0x900d0001;

struct StringMap : testing::Test {
  void SetUp() override { ASSERT_EQ(pask_datatypes_initialize(), 0u); }
  void TearDown() override {
    for (auto* map : maps) EXPECT_EQ(pask_stringmap_delete(map), 0u);
    EXPECT_EQ(pask_datatypes_shutdown(), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0) << "leak";
  }

  // A map with these entries, keys and values in turn.
  pask_stringmap_handle make(uint32_t flags, std::initializer_list<const char*> entries = {}) {
    EXPECT_EQ(pask_stringmap_create(&maps.emplace_back(), flags), 0u);
    for (auto at = entries.begin(); at != entries.end(); at += 2)
      EXPECT_EQ(pask_stringmap_value_add(maps.back(), at[0], at[1]), 0u);
    return maps.back();
  }

  static std::string text(pask_stringmap_handle map) {
    std::string all;
    const char *key, *value;
    for (uint32_t i = 0; pask_stringmap_value_get(map, i, &key, &value) == 0; ++i)
      all += std::string(key) + "=" + (value ? value : "null") + " ";
    return all;
  }

  std::vector<pask_stringmap_handle> maps;
};

TEST_F(StringMap, FindsTextsAndNulls) {
  auto* map = make(PASK_HASHTABLE_MULTI_VALUE, {"x", "1", "n", nullptr, "e", "", "X", "2"});
  EXPECT_EQ(text(map), "x=1 x=2 n=null e= ");
  const char* value = "untouched";
  uint32_t count = 7;
  EXPECT_EQ(pask_stringmap_value_find_ex(map, "unknown", 0, &value), NOT_FOUND);
  EXPECT_EQ(pask_stringmap_value_get(map, 4, &value, nullptr), PAST_END);
  EXPECT_STREQ(value, "untouched");
  EXPECT_EQ(pask_stringmap_value_find_ex(map, "N", 0, &value), 0u);
  EXPECT_EQ(value, nullptr);
  EXPECT_EQ(pask_stringmap_value_count(map, "unknown", &count), 0u);
  EXPECT_EQ(count, 0u);
}

TEST_F(StringMap, ABorrowedValueThatLostItsEndIsNoText) {
  char borrowed[] = "ab";
  auto* map = make(PASK_STRINGMAP_BORROW_VALUES, {"k", borrowed});
  const char *key = nullptr, *value = nullptr;
  EXPECT_EQ(pask_stringmap_value_find_ex(map, "k", 0, &value), 0u);
  EXPECT_EQ(std::exchange(value, "untouched"), borrowed);
  borrowed[2] = 'c';
  report_log log;
  EXPECT_EQ(pask_stringmap_value_find_ex(map, "k", 0, &value), NOT_TEXT);
  EXPECT_EQ(pask_stringmap_value_get(map, 0, &key, &value), NOT_TEXT);
  EXPECT_STREQ(key, "k");
  EXPECT_STREQ(value, "untouched");
  EXPECT_EQ(log.taken().size(), 2u);
}

TEST_F(StringMap, CopiesGoByTheFlagsOfTheirDestination) {
  auto* source = make(PASK_HASHTABLE_MULTI_VALUE, {"b", "1", "a", "2", "B", "3", "n", nullptr});
  ASSERT_EQ(pask_stringmap_copy(source, &maps.emplace_back()), 0u);
  auto* copy = maps.back();
  EXPECT_EQ(text(copy), "b=1 b=3 a=2 n=null ");
  for (const auto& [flags, result] :
       std::initializer_list<std::pair<uint32_t, const char*>>{{0, "A=2 b=3 n=null "},
                                                               {0x20, "A=0 b=1 n=null "},
                                                               {0x41, "A=0 A=2 b=1 b=3 n=null "},
                                                               {0x10, "A=0 b=3 a=2 n=null "}}) {
    auto* destination = make(flags | PASK_STRINGMAP_BORROW_VALUES, {"A", "0"});
    EXPECT_EQ(pask_stringmap_copyto(destination, make(0)) | pask_stringmap_copyto(destination, copy), 0u);
    EXPECT_EQ(pask_stringmap_copyto(destination, destination), INVALID);
    EXPECT_EQ(text(destination), result);
  }
}

TEST_F(StringMap, AddsFormattedTexts) {
  auto* map = make(PASK_STRINGMAP_BORROW_VALUES);
  const std::string stem(300, 'x');
  EXPECT_EQ(pask_stringmap_value_add_format(map, "key", "%s-%u", stem.c_str(), 7u), 0u);
  EXPECT_EQ(pask_stringmap_value_add_format(map, "none", nullptr), INVALID);
  EXPECT_EQ(pask_stringmap_value_add_format(map, "none", "%s", ""), INVALID);
  EXPECT_EQ(pask_stringmap_value_add_format(map, nullptr, "x"), INVALID);
  EXPECT_EQ(text(map), "key=" + stem + "-7 ");
}

}  // namespace
