// Strings: what each operation does at null, empty and invalid text, and at the end of its room.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <velox/pask_string.h>
#include <velox/velox_standin.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "guarded.h"
#include "random.h"

namespace {

// What calls gave one after the other.
using list = std::vector<int64_t>;
using texts = std::vector<std::string>;

TEST(String, Compares) {
  const std::tuple<const char*, const char*, int, int> rows[] = {
      {nullptr, nullptr, 0, 0}, {nullptr, "", -1, -1}, {"", nullptr, 1, 1}, {"", "", 0, 0},
      {"abc", "", 1, 1},        {"abc", "ABC", 1, 0},  {"B", "a", -1, 1},   {"\xc3\xa9", "\xc3\x89", 1, 1},
      {"\xff", "a", 1, 1},      {"[", "{", -1, -1},    {"@", "`", -1, -1}};
  for (const auto& [a, b, order, order_nocase] : rows) {
    SCOPED_TRACE(testing::PrintToString(a) + " / " + testing::PrintToString(b));
    EXPECT_EQ((list{pask_string_equal(a, b, 0), pask_string_equal(a, b, 0x100), pask_string_strcmp(a, b),
                    pask_string_stricmp(a, b)}),
              (list{order == 0, order_nocase == 0, order, order_nocase}));
  }
  const guarded_text shared("shared");
  const char *a_end = nullptr, *b_end = nullptr;
  EXPECT_EQ((list{pask_string_startswith(nullptr, nullptr, 0), pask_string_startswith(nullptr, "", 0),
                  pask_string_startswith("", nullptr, 1), pask_string_startswith("abc", "", 1),
                  pask_string_startswith("abcabc", "abc", 0), pask_string_startswith("abc", "ABC", 0),
                  pask_string_startswith(shared, shared, 0), pask_string_strncmp("abc", "abd", 0),
                  pask_string_strnicmp("abC", "aBd", 2), pask_string_strcmp_len("ab\xff", shared, nullptr, nullptr),
                  pask_string_stricmp_len("SHx", shared, &a_end, &b_end), b_end - shared,
                  pask_string_strcmp_len(shared, shared, &a_end, &b_end), a_end - shared}),
            (list{0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 2, 3, 6, 6}));
}

TEST(String, CopiesWholeCharactersIntoItsRoom) {
  const guarded_text four("", 4);
  EXPECT_EQ((texts{pask_string_strcpy(four, 4, "ab\xc3\xa9"), pask_string_strcat(four, 4, "c"),
                   pask_string_strcat(four, 4, "d"), pask_string_strncpy(four, 4, "xyz", 1),
                   pask_string_strncat(four, 4, "\xc3\xa9z", 1), pask_string_strcpy(four, 4, "a\377b")}),
            (texts{"ab", "abc", "abc", "x", "x\xc3\xa9", "a"}));
  memcpy(four, "full", 4);
  EXPECT_EQ(pask_string_strcat(four, 4, "x"), four.get());
  EXPECT_EQ(pask_string_strcpy(four, 0, "x"), four.get());
  EXPECT_EQ(pask_string_strcpy(four, 4, nullptr), four.get());
  EXPECT_EQ(memcmp(four, "full", 4), 0);
  EXPECT_EQ(pask_string_strcpy(nullptr, 4, "x"), nullptr);
}

TEST(String, Duplicates) {
  const int64_t live = velox_standin_memory_live_blocks();
  using row = std::pair<char*, const char*>;
  for (const auto& [made, text] :
       {row(pask_string_strdup("a\377b"), "a\377b"), row(pask_string_strdup(nullptr), nullptr),
        row(pask_string_strndup("\342\202\254b", 1), "\xe2\x82\xac"),
        row(pask_string_strndup("abc", 0xffffffff), "abc"), row(pask_string_strndup("abc", 0), ""),
        row(pask_string_strdupn("abc", 6, '.'), "abc.."), row(pask_string_strdupn("abc", 3, '.'), "ab"),
        row(pask_string_strdupn("abc", 0, '.'), nullptr), row(pask_string_worddup("  two words"), "two"),
        row(pask_string_worddup("\n t\xc3\xa9\xff"), "t\xc3\xa9"), row(pask_string_worddup("   "), nullptr),
        row(pask_string_worddup(" \xff"), nullptr)}) {
    EXPECT_STREQ(made, text);
    pask_string_free(made);
  }
  char kept = 0;
  char* out = &kept;
  EXPECT_EQ(pask_string_strdup2(nullptr, &out), 0x90050002u);
  EXPECT_EQ(pask_string_worddup2(" ", &out), 0x90050002u);
  EXPECT_EQ(out, &kept);
  std::string text = "a" + std::string(299, 'x');
  velox_standin_memory_refuse(0, 1);
  EXPECT_EQ(pask_string_reverse(text.data())[0], 'a');  // refused, unchanged
  velox_standin_memory_refuse_end();
  EXPECT_EQ(pask_string_reverse(text.data())[299], 'a');
  EXPECT_EQ(velox_standin_memory_live_blocks(), live);
}

#if __SIZEOF_POINTER__ == 8 && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// A text of 2^32 - 1 bytes: some pages, over and over. The last one gets the terminator.
TEST(String, RefusesWhatNoSizeCanTell) {
  constexpr size_t ALL = size_t{1} << 32, PART = 1 << 22;
  const int file = memfd_create("text", 0);
  ASSERT_EQ(pwrite(file, std::string(PART, 'a').data(), PART, 0), static_cast<ssize_t>(PART));
  char* const text =
      static_cast<char*>(mmap(nullptr, ALL, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
  for (size_t at = 0; at < ALL; at += PART)
    ASSERT_NE(mmap(text + at, PART, PROT_READ, MAP_SHARED | MAP_FIXED | MAP_POPULATE, file, 0), MAP_FAILED);
  mmap(text + ALL - PART, PART, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, file, 0);
  close(file);
  text[ALL - 1] = 0;
  char* out = nullptr;
  EXPECT_EQ(pask_string_strdup2(text, &out), 0x90050002u);
  EXPECT_EQ(pask_string_bytelen(text), UINT32_MAX);
  munmap(text, ALL);
}
#endif

TEST(String, Measures) {
  const guarded_text three("abc", 3);
  EXPECT_EQ((list{pask_string_bytelen(""), pask_string_bytelen(nullptr), pask_string_bytelen_nonull(nullptr),
                  pask_string_charlen(nullptr), pask_string_bytenlen(three, 3), pask_string_bytenlen("abc", 9),
                  pask_string_bytenlen_nonull(three, 3), pask_string_charlen("a\377b"), pask_string_isvalid(nullptr),
                  pask_string_nextcharsize("\xff")}),
            (list{1, 0, 0, 0, 3, 4, 3, 2, 1, 1}));
}

TEST(String, StepsThroughCharacters) {
  const guarded_text text("a\xe2\x82\xac");
  const char *p = text, *none = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(
      (list{pask_string_charnext(&p, &size), pask_string_charnext(&p, &size), size, pask_string_charnext(&p, nullptr),
            p - text, pask_string_charnext(&none, &size), pask_string_charnext(nullptr, &size)}),
      (list{'a', 0x20ac, 3, 0, 5, 0, 0}));
  p = nullptr;
  EXPECT_EQ((list{pask_string_charprev(text, &p, &size), size, pask_string_charprev(text, &p, &size),
                  pask_string_charprev(text, &p, &size), size, p - text}),
            (list{0x20ac, 3, 'a', 0, 0, 0}));
  char two[2];
  EXPECT_EQ(pask_string_setchar(two, 2, 0xe9, &(size = 9)), two);
  EXPECT_EQ(size, 0u);
}

TEST(String, Searches) {
  // The positions are -1 for null.
  const std::tuple<const char*, const char*, uint32_t, int, int, uint32_t> rows[] = {
      {"abcabc", "BC", 1, -1, -1, 0},    {"abcabc", "BC", 0, 1, 3, 2},
      {"aab", "ab", 0, 1, 3, 2},         {"abc", "", 1, 0, -1, 0},
      {"abc", "\xff", 1, 0, -1, 0},      {nullptr, "a", 1, -1, -1, 0},
      {"abc", nullptr, 0, -1, -1, 0},    {"\xc3\xa9t\xc3\xa9", "t\xc3\xa9", 1, 2, 5, 2},
      {"\377abc", "abc", 1, -1, -1, 0},  {"ab\377abc", "abc", 1, -1, -1, 0},
      {"abc\xff", "abc", 1, 0, 3, 3},    {"abc", "ab\xff", 1, -1, -1, 0},
      {"x\301\241ba", "ab", 1, 1, 4, 2}, {"x\xc1\xa1ya", "a", 1, 1, 3, 1}};
  for (const auto& [haystack, needle, exact, at, end, chars] : rows) {
    SCOPED_TRACE(testing::PrintToString(haystack) + testing::PrintToString(needle));
    const char* got_end = "x";
    uint32_t got_chars = 9;
    const char* const got = _pask_string_substring(haystack, needle, &got_end, &got_chars, exact);
    EXPECT_EQ(got, at < 0 ? nullptr : haystack + at);
    EXPECT_EQ(got_end, end < 0 ? nullptr : haystack + end);
    EXPECT_EQ(got_chars, chars);
    EXPECT_EQ(exact ? pask_string_strrstr(haystack, needle) : got_end, got_end);
  }
  const guarded_text text("a\xc3\xa9/b/\xff/c");
  for (const char* none : {pask_string_strchr(text, 'c'), pask_string_strchr(text, 0),
                           pask_string_strnchr(text, 0xe9, 2), pask_string_strrchr("a/b/c", 'x')})
    EXPECT_EQ(none, nullptr);
  EXPECT_EQ(
      (list{pask_string_strchr(text, 0xe9) - text, pask_string_strnchr(text, '/', 4) - text,
            pask_string_strrchr(text, '/') - text, pask_string_strcspn(text, "\xff"), pask_string_strcspn(text, ""),
            pask_string_strcnspn(text, "/", 2), pask_string_strcspn(nullptr, ""), pask_string_strcspn("a", nullptr)}),
      (list{1, 3, 5, 6, 9, 2, 0, 0}));
}

TEST(String, TakesTokens) {
  char text[] = ",a,,b";
  char *from = text, *save = nullptr;
  const std::pair<const char*, int> rows[] = {{"a", ','}, {"b", 0}, {nullptr, 0}, {nullptr, 9}};
  for (const auto& [token, delimiter] : rows) {
    uint8_t found = 9;
    EXPECT_STREQ(pask_string_strtok(std::exchange(from, nullptr), ",", &save, &found), token);
    EXPECT_EQ(found, delimiter);
  }
  EXPECT_EQ(save, nullptr);
}

TEST(String, MatchesPatterns) {
  using row = std::tuple<std::string, const char*, int32_t>;
  for (const auto& [wanted, from, taken] :
       {row("a*/c", "AxY/cz", 5), row("ab$", "abc", -1), row("x|ab", "ab", 2), row("*", "ab/c", 2),
        row("**", "ab/c", 4), row("", "ab", 0), row("?", "", -1), row("a?c", "aXc", 3), row("*c", "abcc/c", 4),
        row("**c", "abcc/cx", 6), row("$|a", "a", 1), row("|a", "a", 1), row("a|", "b", 0), row("*?$", "ab", 2),
        row("a*b*c$", "a1b2b3c", 7), row("**/x*y", "a/xb/xay", 8), row("*a*/", "aab/", 4)}) {
    const guarded_text pattern(wanted, wanted.size()), text(from);
    EXPECT_EQ(pask_string_match_prefix(pattern, static_cast<uint32_t>(wanted.size()), text), taken)
        << wanted << " on " << from;
  }
}

// The rules as they are told, by recursion.
int32_t model_match(const std::string& pattern, const std::string& text) {
  if (const char* const bar = pask_string_strnchr(pattern.c_str(), '|', static_cast<uint32_t>(pattern.size()))) {
    const int32_t taken = model_match(pattern.substr(0, static_cast<size_t>(bar - pattern.c_str())), text);
    return taken > 0 ? taken : model_match(bar + 1, text);
  }
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '$') return i == text.size() ? static_cast<int32_t>(i) : -1;
    if (pattern[i] == '*') {
      const size_t rest = pattern.compare(i, 2, "**") == 0 ? i + 2 : i + 1;
      const size_t run_end = rest == i + 2 ? text.size() : std::min(text.find('/', i), text.size());
      if (rest == pattern.size()) return static_cast<int32_t>(run_end);
      for (size_t at = run_end + 1; at-- > i;)
        if (const int32_t taken = model_match(pattern.substr(rest), text.substr(at)); taken >= 0)
          return taken + static_cast<int32_t>(at);
      return -1;
    }
    if (i == text.size() || (pattern[i] != '?' && tolower(pattern[i]) != tolower(text[i]))) return -1;
  }
  return static_cast<int32_t>(pattern.size());
}

TEST(String, MatchesPatternsAsTheModel) {
  TEST_RANDOM(random, std::mt19937);
  const auto made = [&](const std::string& of, size_t bytes) {
    std::string s;
    while (s.size() < bytes) s += of[random() % of.size()];
    return s;
  };
  for (int round = 0; round < 60000 && !HasFailure(); ++round) {
    const std::string pattern = made("aab/|?**$\377", random() % 12), text = made("aAb/\377", random() % 8);
    EXPECT_EQ(pask_string_match_prefix(pattern.c_str(), static_cast<uint32_t>(pattern.size()), text.c_str()),
              model_match(pattern, text))
        << testing::PrintToString(pattern) << " on " << testing::PrintToString(text);
  }
}

TEST(String, MatchesInTextTimesPattern) {
  const auto times = [](int n, const std::string& piece) {
    std::string s;
    for (int i = 0; i < n; ++i) s += piece;
    return s;
  };
  const std::string text = times(1000, "\377a");
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& pattern :
       {times(500, "*a") + "b", times(20000, "**a") + "b", times(500, "\377*b|*?b|*") + "b"}) {
    const int64_t live = velox_standin_memory_live_blocks();
    EXPECT_EQ(pask_string_match_prefix(pattern.c_str(), static_cast<uint32_t>(pattern.size()), text.c_str()), -1);
    EXPECT_EQ(velox_standin_memory_live_blocks(), live);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(String, ChangesInPlace) {
  const auto reverse = [](char* s) { pask_string_reverse(s); };
  using row = std::tuple<void (*)(char*), const char*, const char*>;
  for (const auto& [change, from, to] :
       {row(pask_string_trim, "  a b \n", "a b"), row(pask_string_trim, " \t ", ""), row(pask_string_trim, "ab ", "ab"),
        row(pask_string_trim, "", ""), row(reverse, "a\xc3\xa9\xe2\x82\xac", "\342\202\254\303\251a"),
        row(reverse, "ab\xff", "ab\xff"), row(reverse, "ab\xe2\x82", "ab\xe2\x82"), row(reverse, "", "")}) {
    const guarded_text text(from);
    change(text);
    EXPECT_STREQ(text, to);
    change(nullptr);
  }
  const guarded_text three("", 3);
  EXPECT_EQ((texts{pask_string_tolower_buf("ABC", three, 2), pask_string_toupper_buf("x", three, 2),
                   pask_string_tolower_buf("ABC", three, 0), pask_string_tolower_buf(nullptr, three, 2)}),
            (texts{"ab", "X", "X", "X"}));
}

TEST(String, ClassifiesAsciiOnly) {
  // Ours, and libc's in the C locale.
  const std::pair<uint8_t (*)(uint32_t), int (*)(int)> rows[] = {
      {pask_string_isalpha, isalpha}, {pask_string_isdigit, isdigit},   {pask_string_isalnum, isalnum},
      {pask_string_isspace, isspace}, {pask_string_isxdigit, isxdigit}, {pask_string_isprint, isprint},
      {pask_string_islower, islower}, {pask_string_isupper, isupper}};
  for (const auto& [ours, libcs] : rows)
    for (uint32_t c = 0; c < 1000; ++c) EXPECT_EQ(ours(c), c < 128 && libcs(static_cast<int>(c)) != 0) << c;
  const auto beyond = static_cast<uint32_t>(-129);
  EXPECT_EQ((list{pask_string_char_tolower('A'), pask_string_char_toupper('z'), pask_string_char_tolower(0x20ac),
                  pask_string_char_tolower(beyond)}),
            (list{'a', 'Z', 0x20ac, beyond}));
}

}  // namespace
