// What the string map adds to the hash table: texts with their terminator, borrowed values and the check of them, copies
// between maps, and the formatted value.
#include <gtest/gtest.h>
#include <velox/pask_modules.h>
#include <velox/pask_stringmap.h>
#include <velox/velox_standin.h>

#include <string>
#include <vector>

namespace {

constexpr pask_status NOT_FOUND = 0x100d0003, PAST_END = 0x100d0361, NOT_TEXT = 0x900d0360, INVALID = 0x900d0001;

int s_reports;
void count_report(int32_t, const char*, uint32_t, uint32_t, const char*, ...) { ++s_reports; }

struct StringMap : testing::Test {
  void SetUp() override {
    ASSERT_EQ(pask_datatypes_initialize(), 0u);
    velox_standin_log_set(count_report);
    velox_standin_log_enable(0x0d, PASK_LOG_ERROR);
    live_ = velox_standin_memory_live_blocks();
  }
  void TearDown() override {
    for (auto* map : maps_) EXPECT_EQ(pask_stringmap_delete(map), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), live_) << "leak";
    velox_standin_log_set(nullptr);
    pask_datatypes_shutdown();
  }

  // A map with these entries, keys and values in turn.
  pask_stringmap_handle make(uint32_t flags, std::initializer_list<const char*> entries = {}) {
    pask_stringmap_handle map = nullptr;
    EXPECT_EQ(pask_stringmap_create(&map, flags), 0u);
    for (auto at = entries.begin(); at != entries.end(); at += 2)
      EXPECT_EQ(pask_stringmap_value_add(map, at[0], at[1]), 0u);
    return keep(map);
  }
  pask_stringmap_handle keep(pask_stringmap_handle map) { return maps_.push_back(map), map; }

  static std::string text(pask_stringmap_handle map) {
    std::string all;
    const char *key, *value;
    for (uint32_t i = 0; pask_stringmap_value_get(map, i, &key, &value) == 0; ++i)
      all += std::string(key) + "=" + (value ? value : "null") + " ";
    return all;
  }

 private:
  std::vector<pask_stringmap_handle> maps_;
  int64_t live_ = 0;
};

TEST_F(StringMap, FlagsSayWhatASecondAddDoes) {
  const struct {
    uint32_t flags;
    const char* text;
  } rows[] = {{0, "x=3 n=null e= "}, {0x40, "x=1 x=2 x=3 n=null e= "}, {0x10, "x=1 n=null e= X=3 "}};
  for (const auto& r : rows) {
    auto* map = make(r.flags, {"x", "1", "n", nullptr, "e", ""});
    EXPECT_EQ(pask_stringmap_value_add(map, "X", "2") | pask_stringmap_value_add(map, "X", "3"), 0u);
    EXPECT_EQ(text(map), r.text);
    const char* value = "untouched";
    uint32_t count = 7;
    EXPECT_EQ(pask_stringmap_value_find_ex(map, "N", 0, &value), r.flags == 0x10 ? NOT_FOUND : 0u);
    EXPECT_STREQ(value, r.flags == 0x10 ? "untouched" : nullptr);
    EXPECT_EQ(pask_stringmap_value_count(map, "unknown", &count), 0u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(pask_stringmap_value_get(map, 5, &value, nullptr), PAST_END);
  }
}

TEST_F(StringMap, ABorrowedValueThatLostItsEndIsNoText) {
  char borrowed[] = "ab";
  auto* map = make(PASK_STRINGMAP_BORROW_VALUES, {"k", borrowed});
  const char *key = nullptr, *value = "untouched";
  EXPECT_EQ(pask_stringmap_value_find_ex(map, "k", 0, &value), 0u);
  EXPECT_EQ(value, borrowed);
  value = "untouched";
  borrowed[2] = 'c';
  s_reports = 0;
  EXPECT_EQ(pask_stringmap_value_find_ex(map, "k", 0, &value), NOT_TEXT);
  EXPECT_EQ(pask_stringmap_value_get(map, 0, &key, &value), NOT_TEXT);
  EXPECT_STREQ(key, "k");
  EXPECT_STREQ(value, "untouched");
  EXPECT_EQ(s_reports, 2);
}

TEST_F(StringMap, CopiesGoByTheFlagsOfTheirDestination) {
  auto* source = make(PASK_HASHTABLE_MULTI_VALUE, {"b", "1", "a", "2", "B", "3", "n", nullptr});
  pask_stringmap_handle copy = nullptr;
  ASSERT_EQ(pask_stringmap_copy(source, &copy), 0u);
  EXPECT_EQ(text(keep(copy)), "b=1 b=3 a=2 n=null ");
  const struct {
    uint32_t flags;
    const char* text;
  } rows[] = {{0, "a=2 b=3 n=null "}, {0x20, "a=0 b=1 n=null "}, {0x41, "a=0 a=2 b=1 b=3 n=null "}};
  for (const auto& r : rows) {
    auto* destination = make(r.flags | PASK_STRINGMAP_BORROW_VALUES, {"a", "0"});
    EXPECT_EQ(pask_stringmap_copyto(destination, make(0)), 0u);
    EXPECT_EQ(pask_stringmap_copyto(destination, copy), 0u);
    EXPECT_EQ(text(destination), r.text);
  }
  EXPECT_EQ(pask_stringmap_clear(copy), 0u);
  EXPECT_EQ(text(copy), "");
}

TEST_F(StringMap, AddsFormattedTexts) {
  auto* map = make(PASK_STRINGMAP_BORROW_VALUES);
  const std::string stem(300, 'x');
  EXPECT_EQ(pask_stringmap_value_add_format(map, "short", "%s-%u", "a", 7u), 0u);
  EXPECT_EQ(pask_stringmap_value_add_format(map, "long", "%s", stem.c_str()), 0u);
  EXPECT_EQ(text(map), "short=a-7 long=" + stem + " ");
  for (const char* nothing : {static_cast<const char*>(nullptr), ""})
    EXPECT_EQ(pask_stringmap_value_add_format(map, "none", nothing), INVALID);
  EXPECT_EQ(pask_stringmap_value_add_format(map, nullptr, "x"), INVALID);
  EXPECT_EQ(pask_stringmap_value_delete(map, "none"), NOT_FOUND);
}

}  // namespace
