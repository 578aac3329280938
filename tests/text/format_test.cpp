// The format engine: its language row by row, agreement with libc where the two languages are one, and refused memory.
#include <gtest/gtest.h>
#include <velox/pask_format.h>
#include <velox/pask_string.h>
#include <velox/velox_standin.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "random.h"

namespace {

// The text of a format, zero bytes included.
template <class... Args>
std::string formatted(const char* format, Args... args) {
  pask_string_accum* acc = nullptr;
  pask_string_accum_create(&acc, nullptr, 0);
  pask_string_accum_append_format(acc, format, args...);
  const std::string text(acc->text ? acc->text : "", acc->length);
  pask_string_accum_delete(acc);
  return text;
}

using texts = std::vector<std::string>;

void check(std::initializer_list<std::pair<std::string, std::string>> rows) {
  for (const auto& [wanted, got] : rows) EXPECT_EQ(got, wanted);
}

TEST(Format, Integers) {
  void* const pointer = reinterpret_cast<void*>(0x1F2C);
  const std::string all_ones(sizeof(size_t) == 8 ? "18446744073709551615" : "4294967295");
  check({
      {"   42|42   |00042|00042|0042|  007", formatted("%5d|%-5d|%05d|%-05d|%.4d|%5.3d", 42, 42, 42, 42, 42, 7)},
      {"+42| 42|5|+42|-42|-0042|+0042", formatted("%+d|% d|%+u|% +d|%+d|%05d|%+05i", 42, 42, 5, 42, -42, -42, 42)},
      {"ff|FF|0xff|0XFF|0|010|1010|1010|0x000000ff",
       formatted("%x|%X|%#x|%#X|%#x|%#o|%b|%#b|%#08x", 255, 255, 255, 255, 0, 8, 10, 10, 255)},
      {"4294967295|-1|65535|255|-5000000000|0|0",
       formatted("%u|%hd|%hu|%hhu|%lld|%.0d|%#.0x", -1, -1, 0x1FFFF, 0x1FF, -5000000000LL, 0, 0)},
      // The sign is decided, and the prefix refused, by what stands before and behind the cut.
      {"-0|0|+0", formatted("%hd|%#hx|%+hhd", -0x10000, 0x10000, 0x100)},
      {all_ones + "|+" + all_ones, formatted("%zd|%+zd", static_cast<size_t>(-1), static_cast<size_t>(-1))},
      {"-9223372036854775808|18446744073709551615|-2147483648",
       formatted("%lld|%llu|%ld", INT64_MIN, UINT64_MAX, static_cast<long>(INT32_MIN))},
      {"1F2C|0x1F2C|0|    2c", formatted("%p|%#p|%#p|%6x", pointer, pointer, nullptr, 0x2c)},
  });
  EXPECT_EQ((texts{formatted("%1000d", 1), formatted("%*d", INT32_MIN, 1), formatted("%+01000d", 1),
                   formatted("%.1000d", 1), formatted("%.*d", -3, 1)}),
            (texts{std::string(339, ' ') + "1", "1" + std::string(339, ' '), "+" + std::string(338, '0') + "1",
                   std::string(309, '0') + "1", "001"}));
  EXPECT_EQ(formatted("%#0340llX", UINT64_MAX).size(), 342u);
}

TEST(Format, Texts) {
  const char* none = nullptr;
  check({
      {"(null)|ab|(nu||  abc|abc  |",
       formatted("%s|%.2s|%.3s|%.s|%5s|%-5s|%s", none, "abc", none, "abc", "abc", "abc", "")},
      {"ab|  abc|abc  ||(n", formatted("%*s|%*s|%*s|%*s|%*s", 2, "abcdef", 5, "abc", -5, "abc", 0, "abc", 2, none)},
      {"abcd", formatted("%*.4s", 2, "abcdef")},
      {"two|tw|two wo|(null)|  two|",
       formatted("%w|%.2w|%*w|%w|%5w|%w", "  two words", "two", 6, "\t two words", none, "two x", " ")},
      {"  A|AAA||\xe2\x82\xac|\xe2\xac\xac", formatted("%3c|%.3c|%.0c|%c|%.3c", 'A', 'A', 'A', 0x20AC, 0x20AC)},
      {"    %|%q|  %q|%   |%\xc3\xa9", formatted("%5%|%q|%4q|%-4%|%\xc3\xa9")},
      {"a%a%na\xc3\xafve 1", formatted("a%") + formatted("a%-05.3l") + formatted("na\xc3\xafve %d", 1)},
  });
  // An overlong "%" is one, an overlong zero and an invalid sequence end the format.
  EXPECT_EQ(
      (texts{formatted("x\xc0\xa5i", 7), formatted("ab\xc0\x80%d", 7), formatted("ab\xff%d", 7),
             formatted("%d%\xff", 100), formatted("a%N%3Nb"), formatted("%c", 0),
             formatted("%.999s", std::string(2000, 'x').c_str()), formatted("%400s", "x"), formatted("%.999c", 'x')}),
      (texts{"x7", "ab", "ab", "100%", std::string("a\0  \0b", 6), std::string(1, '\0'), std::string(999, 'x'),
             std::string(399, ' ') + "x", std::string(310, 'x')}));
}

TEST(Format, CountsToTheWidthAskedFor) {
  unsigned char byte[] = {0xff, 0xff};
  uint16_t half[] = {0xffff, 0xffff};
  uint32_t word[] = {~0u, ~0u};
  uint64_t wide = ~0ull;
  EXPECT_EQ(formatted("%300s%hhn%hn%n%lln%n%5n", "", byte, half, word, &wide, nullptr, word), std::string(305, ' '));
  EXPECT_EQ(byte[0] | byte[1] << 8, 0xff00 | (300 & 0xff));
  EXPECT_EQ(half[0] | half[1] << 16, static_cast<int>(0xffff0000 | 300));
  EXPECT_EQ(word[0] | static_cast<uint64_t>(word[1]) << 32, 0xffffffff00000000 | 300);
  EXPECT_EQ(wide, 300u);
}

TEST(Format, Floats) {
  check({
      {"3.141590|3.14|3|3.", formatted("%f|%.2f|%.0f|%#.0f", 3.14159, 3.14159, 2.5, 3.0)},
      {"-00003.142|3.142     ", formatted("%010.3f|%-10.3f", -3.14159, 3.14159)},
      {"1.234500e+03|1.234500E+03|1.000000e+100|2e+01|0.000000e+00",
       formatted("%e|%E|%e|%.0e|%e", 1234.5, 1234.5, 1e100, 15.0, 0.0)},
      {"1234.5|100000|1e+06|0.0001|1e-05|0|1",
       formatted("%g|%g|%g|%g|%g|%g|%g", 1234.5, 100000.0, 1e6, 0.0001, 0.00001, 0.0, 1.0)},
      {"1.50000|1.0|1.23e+03|1.E+06", formatted("%#g|%!g|%.3g|%#.0G", 1.5, 1.0, 1234.5, 1e6)},
      {"NaN|Inf|+Inf|-Inf|  Inf|Inf|NaN  ",
       formatted("%f|%e|%+g|%f|%05f|% f|%+-5f", NAN, HUGE_VAL, HUGE_VAL, -HUGE_VAL, HUGE_VAL, HUGE_VAL, -NAN)},
      {"0.000000|0.000000|-0.5|+0.5| 0.5", formatted("%f|%f|%g|%+g|% g", -0.0, 0.0, -0.5, 0.5, 0.5)},
      {"123456789012345600.000000|0.1000000000000000000000", formatted("%f|%.22f", 123456789012345678.0, 0.1)},
      {"0|1|0.00|0.01|9.99|10.0", formatted("%.0f|%.0f|%.2f|%.2f|%.2f|%.1f", 0.4, 0.5, 0.004, 0.005, 9.994, 9.96)},
      {"4.940656458412465e-324|2.225073858507201e-308", formatted("%.15e|%.15e", 5e-324, 2.2250738585072014e-308)},
      {"1." + std::string(165, '0'), formatted("%.999f", 1.0)},
      {"0." + std::string(165, '0'), formatted("%.165f", 1e-300)},
      {"-" + std::string(336, '0') + "1.0", formatted("%0999.1f", -1.0)},
  });
  const std::string largest = formatted("%-.165f", -DBL_MAX);
  EXPECT_EQ(largest.substr(0, 17), "-1797693134862316");
  EXPECT_EQ(largest.size(), 1 + 309 + 1 + 165u);
}

// The digits as they are defined: the integer part, then ten times what is left. From 1 to 10 nothing is done before.
TEST(Format, FloatDigitsAreExact) {
  TEST_RANDOM(random, std::mt19937_64);
  for (int i = 0; i < 20000; ++i) {
    const uint64_t bits = i % 4 == 0 ? random() & 0xff : random() >> 12;
    double v = 1 + std::ldexp(static_cast<double>(bits), -52) * (i % 9 + 1);
    const std::string text = formatted("%.16f", v);
    std::string digits;
    for (int digit = 0; digit < 16; ++digit) {
      digits += static_cast<char>('0' + static_cast<int>(v));
      v = (v - static_cast<int>(v)) * 10.0;
      if (digit == 0) digits += '.';
    }
    ASSERT_EQ(text, digits + "0");
  }
}

TEST(Format, AgreesWithLibcOnTheCommonLanguage) {
  TEST_RANDOM(random, std::mt19937);
  const auto pick = [&](const char* from) { return std::string(1, from[random() % strlen(from)]); };
  for (int i = 0; i < 20000; ++i) {
    const char letter = "dxXous"[random() % 6];
    std::string format = "<%";
    if (random() % 2) format += letter == 'd' ? pick("-+ ") : "-";
    if (random() % 2) format += std::to_string(1 + random() % 40);
    if (random() % 2) format += "." + std::to_string(1 + random() % 12);
    const bool wide = letter != 's' && random() % 2;
    format += std::string(wide ? "ll" : "") + letter + "> \xe2\x82\xac";
    const uint64_t bits = (static_cast<uint64_t>(random()) << 32 | random()) >> random() % 64;
    char wanted[128], got[128];
    const auto both = [&](auto value) {
      snprintf(wanted, sizeof wanted, format.c_str(), value);
      pask_string_snprintf(got, sizeof got, format.c_str(), value);
    };
    if (letter == 's')
      both("some words to cut");
    else if (wide)
      both(bits);
    else
      both(static_cast<uint32_t>(bits));
    ASSERT_STREQ(got, wanted) << format;
  }
}

TEST(Format, SnprintfCutsCountsAndStaysOffTheHeap) {
  char dst[400];
  const auto printed = [&](uint32_t wanted, const char* text, uint32_t size) {
    EXPECT_EQ(size, wanted);
    EXPECT_STREQ(dst, text);
  };
  printed(7, "abc", pask_string_snprintf(dst, 4, "%s", "abcdef"));
  printed(0, "", pask_string_snprintf(dst, 4, "%s", ""));
  memcpy(dst, "own", 4);
  printed(0, "own", pask_string_snprintf(nullptr, 4, "x") + pask_string_snprintf(dst, 0, "x"));
  printed(6, "[own]", pask_string_snprintf(dst, sizeof dst, "[%s]", dst));
  printed(0, "", pask_string_snprintf(dst, sizeof dst, nullptr));
  EXPECT_EQ(pask_string_mprintf(nullptr), nullptr);

  const std::string fits(283, 'x'), more(284, 'x');
  const uint64_t before = velox_standin_memory_allocations();
  EXPECT_EQ(pask_string_snprintf(dst, sizeof dst, "%s", fits.c_str()), 284u);
  EXPECT_EQ(velox_standin_memory_allocations(), before);
  EXPECT_EQ(pask_string_snprintf(dst, sizeof dst, "%s", more.c_str()), 285u);
  EXPECT_GT(velox_standin_memory_allocations(), before);
  EXPECT_EQ(dst, more);
}

TEST(Format, RefusedMemoryShortensTheText) {
  char dst[600];
  const std::string longer(300, 'x');
  velox_standin_memory_refuse(0, 1);
  EXPECT_EQ(pask_string_snprintf(dst, sizeof dst, "a%sb%400db", longer.c_str(), 7), 29u * 9 + 5);
  EXPECT_EQ(pask_string_mprintf("x"), nullptr);
  EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
  EXPECT_EQ(dst, "ab" + std::string(29 * 9, ' ') + "7b");

  char* text = pask_string_mprintf("%s", "");
  EXPECT_STREQ(text, "");
  pask_string_free(text);
}

}  // namespace
