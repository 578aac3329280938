// Numbers: cut texts, limits of 32 and 64 bits, booleans, and the floating-point accumulation step by step.
#include <gtest/gtest.h>
#include <velox/pask_number.h>

#include <bit>
#include <cmath>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "guarded.h"

namespace {

// What fits of a number: the lowest digits, and the sign only where all fits.
std::string cut(const std::string& text, size_t room) {
  return text.size() <= room ? text : text.substr(text.size() - room);
}

TEST(Number, WritesTheLowestDigits) {
  std::mt19937_64 random(20);
  std::vector<uint64_t> values = {0, 9, 10, 12, 99, 100, 101, 4294967295, 4294967296, 1ull << 63, ~0ull};
  for (int i = 0; i < 300; ++i) values.push_back(random() >> random() % 64);
  for (const uint64_t value : values) {
    for (uint32_t size = 1; size <= PASK_NUMBER_BYTES; ++size) {
      const guarded_text buf("", size);
      EXPECT_EQ(cut(std::to_string(value), size - 1), pask_string_u64toa(value, buf, size));
      const auto wide = static_cast<int64_t>(value);
      EXPECT_EQ(cut(std::to_string(wide), size - 1), pask_string_i64toa(wide, buf, size));
      const auto narrow = static_cast<int32_t>(value);
      EXPECT_EQ(cut(std::to_string(narrow), size - 1), pask_string_i32toa(narrow, buf, size));
    }
  }
  char one = 'x';
  EXPECT_EQ(pask_string_u32toa(7, &one, 0), &one);
  EXPECT_EQ(one, 'x');
  EXPECT_EQ(pask_string_i32toa(7, nullptr, 5), nullptr);
}

TEST(Number, ReadsIntegersWithTheLimitsOfTheirType) {
  using row = std::tuple<const char*, int32_t, uint32_t, int64_t, uint64_t>;
  for (const auto& [text, i32, u32, i64, u64] :
       {row(nullptr, 0, 0, 0, 0), row("", 0, 0, 0, 0), row("x1", 0, 0, 0, 0), row(" \t\n+0042x", 42, 42, 42, 42),
        row("-1", -1, 4294967295u, -1, ~0ull), row("2147483648", INT32_MAX, 2147483648u, 2147483648, 2147483648),
        row("-2147483649", INT32_MIN, 2147483647u, -2147483649, 18446744071562067967ull),
        row("4294967296", INT32_MAX, UINT32_MAX, 4294967296, 4294967296),
        row(" -4294967295", INT32_MIN, 1, -4294967295, 18446744069414584321ull),
        row("-4294967296", INT32_MIN, UINT32_MAX, -4294967296, 18446744069414584320ull),
        row("18446744073709551614", INT32_MAX, UINT32_MAX, INT64_MAX, 18446744073709551614ull),
        row("-18446744073709551615", INT32_MIN, UINT32_MAX, INT64_MIN, 1),
        row("99999999999999999999", INT32_MAX, UINT32_MAX, INT64_MAX, UINT64_MAX),
        row("-99999999999999999999", INT32_MIN, UINT32_MAX, INT64_MIN, UINT64_MAX)}) {
    SCOPED_TRACE(testing::PrintToString(text));
    EXPECT_EQ(pask_string_atoi32(text), i32);
    EXPECT_EQ(pask_string_atou32(text), u32);
    EXPECT_EQ(pask_string_atoi64(text), i64);
    EXPECT_EQ(pask_string_atou64(text), u64);
  }
}

TEST(Number, KnowsBooleans) {
  for (const char* yes : {"Yes", "y", "Y", "TRUE", "oN", "1", "2x", "007", "9"})
    EXPECT_EQ(pask_string_atobool(yes), 1) << yes;
  for (const char* no : {"yep", "ye", "t", "o", "0", "000", "0x1", "false", "-1", "", "no", " 1", "trues"})
    EXPECT_EQ(pask_string_atobool(no), 0) << no;
  for (const char* word : {"0", "1", "TRUE", "False"}) EXPECT_EQ(pask_string_isbool(word), 1) << word;
  for (const char* other : {"yes", "on", "01", "10", "", "truer", "fals"})
    EXPECT_EQ(pask_string_isbool(other), 0) << other;
  EXPECT_EQ(pask_string_atobool(nullptr) + pask_string_isbool(nullptr), 0);
}

TEST(Number, AccumulatesDoubles) {
  const double inf = HUGE_VAL;
  volatile double tenth_power = 1.0;  // 10 * 0.1 ... is no correctly rounded 1e-20
  for (int i = 0; i < 20; ++i) tenth_power = tenth_power * 0.1;
  using row = std::pair<const char*, double>;
  for (const auto& [text, value] : {row(nullptr, 0.0),        row("", 0.0),
                                    row("abc", 0.0),          row("-", -0.0),
                                    row("-x", -0.0),          row("  -1.5e2xyz", -150.0),
                                    row(".5", 5 * 0.1),       row("5.", 5.0),
                                    row("1e", 1.0),           row("e5", 0.0),
                                    row("+7", 7.0),           row("1e-20", tenth_power),
                                    row("1.e+3", 1000.0),     row("--1", -0.0),
                                    row("1e2000000000", inf), row("-1e2000000000", -inf),
                                    row("0e2000000000", 0.0), row("1e-2000000000", 0.0),
                                    row("\x01\x20 8", 8.0),   row("inf", 0.0),
                                    row("0x10", 0.0),         row("1e4294967298", 100.0)})
    EXPECT_EQ(std::bit_cast<uint64_t>(pask_string_atof64(text)), std::bit_cast<uint64_t>(value))
        << testing::PrintToString(text);
}

}  // namespace
