// Strings: what each operation does at null, empty and invalid text, and at the end of its room.
#include <gtest/gtest.h>
#include <velox/pask_string.h>
#include <velox/velox_standin.h>

#include <chrono>
#include <string>

#include "guarded.h"

namespace {

TEST(String, Compares) {
  const guarded_text shared("shared");
  const struct {
    const char *a, *b;
    int equal, equal_nocase, order, order_nocase, starts, starts_nocase;
  } rows[] = {
      {nullptr, nullptr, 1, 1, 0, 0, 0, 0}, {nullptr, "", 0, 0, -1, -1, 0, 0},
      {"", nullptr, 0, 0, 1, 1, 0, 0},      {"", "", 1, 1, 0, 0, 0, 0},
      {"abc", "", 0, 0, 1, 1, 0, 0},        {"abc", "ABC", 0, 1, 1, 0, 0, 1},
      {"[", "{", 0, 0, -1, -1, 0, 0},       {"@", "`", 0, 0, -1, -1, 0, 0},
      {"B", "a", 0, 0, -1, 1, 0, 0},        {"\xc3\xa9", "\xc3\x89", 0, 0, 1, 1, 0, 0},
      {"\xff", "a", 0, 0, 1, 1, 0, 0},      {"abcabc", "abc", 0, 0, 1, 1, 1, 1},
      {shared, shared, 1, 1, 0, 0, 1, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << (row.a ? row.a : "null") << " / " << (row.b ? row.b : "null"));
    EXPECT_EQ(pask_string_equal(row.a, row.b, 0), row.equal);
    EXPECT_EQ(pask_string_equal(row.a, row.b, 0x100), row.equal_nocase);
    EXPECT_EQ(pask_string_strcmp(row.a, row.b), row.order);
    EXPECT_EQ(pask_string_stricmp(row.a, row.b), row.order_nocase);
    EXPECT_EQ(pask_string_startswith(row.a, row.b, 0), row.starts);
    EXPECT_EQ(pask_string_startswith(row.a, row.b, 1), row.starts_nocase);
  }
  EXPECT_EQ(pask_string_strncmp("abc", "abd", 0), 0);
  EXPECT_EQ(pask_string_strnicmp("abC", "aBd", 2), 0);
  const char *a_end = nullptr, *b_end = nullptr;
  EXPECT_EQ(pask_string_strcmp_len("ab\xff", shared, nullptr, nullptr), 0u);
  EXPECT_EQ(pask_string_stricmp_len("SHx", shared, &a_end, &b_end), 2u);
  EXPECT_EQ(b_end, shared + 3);
  EXPECT_EQ(pask_string_strcmp_len(shared, shared, &a_end, &b_end), 6u);
  EXPECT_EQ(a_end, shared + 6);
}

TEST(String, CopiesWholeCharactersIntoItsRoom) {
  const guarded_text four("", 4);
  EXPECT_STREQ(pask_string_strcpy(four, 4, "ab\xc3\xa9"), "ab");
  EXPECT_STREQ(pask_string_strcat(four, 4, "c"), "abc");  // filled to its last byte
  EXPECT_STREQ(pask_string_strcat(four, 4, "d"), "abc");
  EXPECT_STREQ(pask_string_strncpy(four, 4, "xyz", 1), "x");
  EXPECT_STREQ(pask_string_strncat(four, 4, "\xc3\xa9z", 1), "x\xc3\xa9");
  EXPECT_STREQ(pask_string_strcpy(four, 4, "a\377b"), "a");
  memcpy(four, "full", 4);
  EXPECT_EQ(pask_string_strcat(four, 4, "x"), four.get());
  EXPECT_EQ(pask_string_strcpy(four, 0, "x"), four.get());
  EXPECT_EQ(pask_string_strcpy(four, 4, nullptr), four.get());
  EXPECT_EQ(memcmp(four, "full", 4), 0);
  EXPECT_EQ(pask_string_strcpy(nullptr, 4, "x"), nullptr);
}

TEST(String, Duplicates) {
  const int64_t live = velox_standin_memory_live_blocks();
  const struct {
    char* made;
    const char* text;
  } rows[] = {
      {pask_string_strdup("a\377b"), "a\377b"},
      {pask_string_strdup(nullptr), nullptr},
      {pask_string_strndup("\342\202\254b", 1), "\xe2\x82\xac"},
      {pask_string_strndup("abc", 0xffffffff), "abc"},
      {pask_string_strndup("abc", 0), ""},
      {pask_string_strdupn("abc", 6, '.'), "abc.."},
      {pask_string_strdupn("abc", 3, '.'), "ab"},
      {pask_string_strdupn("abc", 0, '.'), nullptr},
      {pask_string_worddup("  two words"), "two"},
      {pask_string_worddup("\n t\xc3\xa9\xff"), "t\xc3\xa9"},
      {pask_string_worddup("   "), nullptr},
      {pask_string_worddup(" \xff"), nullptr},
  };
  for (const auto& row : rows) {
    EXPECT_STREQ(row.made, row.text);
    pask_string_free(row.made);
  }
  char kept = 0;
  char* out = &kept;
  EXPECT_EQ(pask_string_strdup2(nullptr, &out), 0x90050002u);
  EXPECT_EQ(pask_string_worddup2(" ", &out), 0x90050002u);
  velox_standin_memory_refuse(0, 1);
  EXPECT_EQ(pask_string_strndup2("a", 1, &out), 0x90050002u);
  EXPECT_EQ(pask_string_strdupn2("a", 4, '.', &out), 0x90050002u);
  std::string text(300, 'x');
  text[0] = 'a';
  EXPECT_EQ(pask_string_reverse(text.data())[0], 'a');  // refused, unchanged
  velox_standin_memory_refuse_end();
  EXPECT_EQ(out, &kept);
  EXPECT_EQ(pask_string_reverse(text.data())[299], 'a');
  EXPECT_EQ(velox_standin_memory_live_blocks(), live);
}

TEST(String, Measures) {
  EXPECT_EQ(pask_string_bytelen(""), 1u);
  EXPECT_EQ(pask_string_bytelen(nullptr) + pask_string_bytelen_nonull(nullptr) + pask_string_charlen(nullptr), 0u);
  const guarded_text three("abc", 3);
  EXPECT_EQ(pask_string_bytenlen(three, 3), 3u);
  EXPECT_EQ(pask_string_bytenlen("abc", 9), 4u);
  EXPECT_EQ(pask_string_bytenlen_nonull(three, 3), 3u);
  EXPECT_EQ(pask_string_charlen("a\377b"), 2u);
  EXPECT_EQ(pask_string_isvalid(nullptr), 1);
  EXPECT_EQ(pask_string_nextcharsize("\xff"), 1u);
}

TEST(String, StepsThroughCharacters) {
  const guarded_text text("a\xe2\x82\xac");
  const char* p = text;
  uint32_t size = 0;
  EXPECT_EQ(pask_string_charnext(&p, &size), 'a');
  EXPECT_EQ(pask_string_charnext(&p, &size), 0x20acu);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(pask_string_charnext(&p, nullptr), 0u);
  EXPECT_EQ(p, text + 5);
  p = nullptr;
  EXPECT_EQ(pask_string_charnext(&p, &size) + pask_string_charnext(nullptr, &size), 0u);
  EXPECT_EQ(pask_string_charprev(text, &p, &size), 0x20acu);
  EXPECT_EQ(size, 3u);
  EXPECT_EQ(pask_string_charprev(text, &p, &size), 'a');
  EXPECT_EQ(pask_string_charprev(text, &p, &size), 0u);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(p, text.get());
  char two[2];
  EXPECT_EQ(pask_string_setchar(two, 2, 0xe9, &size), two);
  EXPECT_EQ(size, 0u);
}

TEST(String, Searches) {
  const struct {
    const char *haystack, *needle;
    int exact, at, end;  // -1: null
    uint32_t chars;
  } rows[] = {
      {"abcabc", "BC", 1, -1, -1, 0},     {"abcabc", "BC", 0, 1, 3, 2},
      {"aab", "ab", 0, 1, 3, 2},          {"abc", "", 1, 0, -1, 0},
      {"abc", "\xff", 1, 0, -1, 0},       {nullptr, "a", 1, -1, -1, 0},
      {"abc", nullptr, 0, -1, -1, 0},     {"\xc3\xa9t\xc3\xa9", "t\xc3\xa9", 1, 2, 5, 2},
      {"\377abc", "abc", 1, -1, -1, 0},    // the scan ends in front of it
      {"ab\377abc", "abc", 1, -1, -1, 0},  // a try meets the invalid byte
      {"abc\xff", "abc", 1, 0, 3, 3},     {"abc", "ab\xff", 1, -1, -1, 0},
      {"x\301\241ba", "ab", 1, 1, 4, 2},  // an overlong "a" is an "a"
      {"x\xc1\xa1ya", "a", 1, 1, 3, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << testing::PrintToString(row.haystack) << testing::PrintToString(row.needle));
    const char* end = "x";
    uint32_t chars = 9;
    const char* const at =
        _pask_string_substring(row.haystack, row.needle, &end, &chars, static_cast<uint32_t>(row.exact));
    EXPECT_EQ(at, row.at < 0 ? nullptr : row.haystack + row.at);
    EXPECT_EQ(end, row.end < 0 ? nullptr : row.haystack + row.end);
    EXPECT_EQ(chars, row.chars);
    if (row.exact) {
      EXPECT_EQ(pask_string_strrstr(row.haystack, row.needle), end);
    }
  }
  const guarded_text text("a\xc3\xa9/b/\xff/c");
  EXPECT_EQ(pask_string_strchr(text, 0xe9), text + 1);
  EXPECT_EQ(pask_string_strchr(text, 'c'), nullptr);
  EXPECT_EQ(pask_string_strchr(text, 0), nullptr);
  EXPECT_EQ(pask_string_strnchr(text, 0xe9, 2), nullptr);
  EXPECT_EQ(pask_string_strnchr(text, '/', 4), text + 3);
  EXPECT_EQ(pask_string_strrchr(text, '/'), text + 5);
  EXPECT_EQ(pask_string_strrchr("a/b/c", 'x'), nullptr);
  EXPECT_EQ(pask_string_strcspn(text, "\xff"), 6u);
  EXPECT_EQ(pask_string_strcspn(text, ""), 9u);
  EXPECT_EQ(pask_string_strcnspn(text, "/", 2), 2u);
  EXPECT_EQ(pask_string_strcspn(nullptr, "") + pask_string_strcspn("a", nullptr), 0u);
}

TEST(String, TakesTokens) {
  char text[] = ",a,,b";
  char* save = nullptr;
  uint8_t found = 9;
  EXPECT_STREQ(pask_string_strtok(text, ",", &save, &found), "a");
  EXPECT_EQ(found, ',');
  EXPECT_STREQ(pask_string_strtok(nullptr, ",", &save, &found), "b");
  EXPECT_EQ(found, 0);
  found = 9;
  EXPECT_EQ(pask_string_strtok(nullptr, ",", &save, &found), nullptr);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(save, nullptr);
  found = 9;
  EXPECT_EQ(pask_string_strtok(nullptr, ",", &save, &found), nullptr);
  EXPECT_EQ(found, 9);
}

TEST(String, MatchesPatterns) {
  const struct {
    const char *pattern, *text;
    int32_t taken;
  } rows[] = {
      {"a*/c", "AxY/cz", 5},
      {"ab$", "abc", -1},
      {"x|ab", "ab", 2},
      {"*", "ab/c", 2},
      {"**", "ab/c", 4},
      {"", "ab", 0},
      {"?", "", -1},
      {"a?c", "aXc", 3},
      {"*c", "abcc/c", 4},
      {"**c", "abcc/cx", 6},
      {"$|a", "a", 1},
      {"|a", "a", 1},
      {"a|", "b", 0},
      {"*?$", "ab", 2},
      {"a*b*c$", "a1b2b3c", 7},
      {"**/x*y", "a/xb/xay", 8},
      {"*a*/", "aab/", 4},
  };
  for (const auto& row : rows) {
    const guarded_text pattern(row.pattern, strlen(row.pattern)), text(row.text);
    EXPECT_EQ(pask_string_match_prefix(pattern, static_cast<uint32_t>(strlen(row.pattern)), text), row.taken)
        << row.pattern << " on " << row.text;
  }
  // Thirty stars in front of a byte that isn't there: each must give up once.
  std::string stars, text(500, 'a');
  for (int i = 0; i < 30; ++i) stars += "**a";
  stars += "b";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(pask_string_match_prefix(stars.c_str(), static_cast<uint32_t>(stars.size()), text.c_str()), -1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(String, ChangesInPlace) {
  const struct {
    void (*change)(char*);
    const char *from, *to;
  } rows[] = {
      {pask_string_trim, "  a b \n", "a b"},
      {pask_string_trim, " \t ", ""},
      {pask_string_trim, "ab ", "ab"},
      {pask_string_trim, "", ""},
      {[](char* s) { pask_string_reverse(s); }, "a\xc3\xa9\xe2\x82\xac", "\342\202\254\303\251a"},
      {[](char* s) { pask_string_reverse(s); }, "ab\xff", "ab\xff"},
      {[](char* s) { pask_string_reverse(s); }, "ab\xe2\x82", "ab\xe2\x82"},
      {[](char* s) { pask_string_reverse(s); }, "", ""},
  };
  for (const auto& row : rows) {
    const guarded_text text(row.from);
    row.change(text);
    EXPECT_STREQ(text, row.to);
    row.change(nullptr);
  }
  const guarded_text three("", 3);
  EXPECT_STREQ(pask_string_tolower_buf("ABC", three, 2), "ab");
  EXPECT_STREQ(pask_string_toupper_buf("x", three, 2), "X");
  EXPECT_EQ(pask_string_tolower_buf("ABC", three, 0), three.get());
  EXPECT_EQ(pask_string_tolower_buf(nullptr, three, 2), three.get());
  EXPECT_STREQ(three, "X");
}

TEST(String, ClassifiesAsciiOnly) {
  const struct {
    uint8_t (*ours)(uint32_t);
    int (*libcs)(int);  // in the C locale
  } rows[] = {{pask_string_isalpha, isalpha}, {pask_string_isdigit, isdigit},   {pask_string_isalnum, isalnum},
              {pask_string_isspace, isspace}, {pask_string_isxdigit, isxdigit}, {pask_string_isprint, isprint},
              {pask_string_islower, islower}, {pask_string_isupper, isupper}};
  for (const auto& row : rows)
    for (uint32_t c = 0; c < 1000; ++c) EXPECT_EQ(row.ours(c), c < 128 && row.libcs(static_cast<int>(c)) != 0) << c;
  EXPECT_EQ(pask_string_char_tolower('A'), 'a');
  EXPECT_EQ(pask_string_char_toupper('z'), 'Z');
  EXPECT_EQ(pask_string_char_tolower(0x20ac), 0x20acu);
  EXPECT_EQ(pask_string_char_tolower(static_cast<uint32_t>(-129)), static_cast<uint32_t>(-129));
}

}  // namespace
