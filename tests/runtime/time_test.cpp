// Dates against libc's, instants and spans in every size of buffer, clocks, and the random sequence.
#include <gtest/gtest.h>
#include <time.h>
#include <velox/pask_modules.h>
#include <velox/pask_random.h>
#include <velox/pask_time.h>
#include <velox/velox_standin.h>

#include <string>
#include <tuple>

#include "guarded.h"

namespace {

constexpr uint32_t INVALID = 0x901c0001, NOT_INITED = 0x901c0007, NO_TEXT = 0x901c0009;
const char ISO[] = "%Y-%m-%dT%H:%M:%S", HTTP[] = "%a, %d %b %Y %H:%M:%S";

// Every day of the years 1 to 4096, at other times of day. A year's own leap day doesn't count: what follows it lies low.
TEST(Time, KeepsTheDaysOfLibc) {
  for (time_t at = -62135596800; at < 67121740800; at += 86400 - 61) {
    tm f;
    char text[32], written[32];
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&at, &f));
    const int year = f.tm_year + 1900;
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0), added = f.tm_yday == 59 && leap;
    uint64_t seconds = 0;
    pask_vxtime date = 0;
    ASSERT_EQ(pask_time_iso8601_to_epoch(text, &seconds), 0u) << text;
    ASSERT_EQ(seconds, static_cast<uint64_t>(at - (leap && f.tm_mon > 1 ? 86400 : 0))) << text;
    ASSERT_EQ(pask_time_vxtime_add(1969u << 20, seconds, &date), 0u) << text;
    const int day = added ? 2 << 5 : f.tm_mon << 5 | (f.tm_mday - 1);  // the leap day itself reads as 1 March
    ASSERT_EQ(date,
              static_cast<uint32_t>(year - 1) << 20 | static_cast<uint32_t>(day << 11 | f.tm_hour << 6 | f.tm_min))
        << text;
    ASSERT_EQ(pask_time_format_s(static_cast<uint64_t>(at < 0 ? 0 : at), 0, ISO, written, sizeof written), 0u);
    ASSERT_STREQ(written, at < 0 ? "1970-01-01T00:00:00Z" : text);
  }
}

TEST(Time, KeepsTheLimitsOfADate) {
  constexpr uint64_t DAY = 86400, END = (4096 * 365 + 993) * DAY;  // behind the last minute of the year 4095
  const auto create = pask_time_vxtime_create;
  pask_vxtime date = 7;
  uint64_t back = 0;
  for (const uint32_t status :
       {create(4096, 0, 0, 0, 0, &date), create(0, 12, 0, 0, 0, &date), create(0, 0, 31, 0, 0, &date),
        create(0, 0, 0, 24, 0, &date), create(0, 0, 0, 0, 60, &date), create(0, 0, 0, 0, 0, nullptr),
        pask_time_vxtime_create_from_seconds(END, &date), pask_time_vxtime_add(1u << 20, 60ull << 32, &date),
        pask_time_vxtime_delta(0, 0, nullptr)})
    EXPECT_EQ(status, INVALID);
  EXPECT_EQ(date, 7u);
  EXPECT_EQ(pask_time_vxtime_add(1u << 20, END - 366 * DAY - 1, &date), 0u);
  EXPECT_EQ(date, 4095u << 20 | 11 << 16 | 29 << 11 | 23 << 6 | 59);
  EXPECT_EQ(pask_time_vxtime_delta(~0u, 0, &back), 0u);  // month 16, day 32, hour 31, minute 63
  EXPECT_EQ(0 - back, (4095 * 365 + 993 + 365 + 31) * DAY + 31 * 3600 + 63 * 60);
}

TEST(Time, ReadsIsoText) {
  uint64_t us = 7;
  for (const char* const text : {"", "1970-1-1", "1970-1-1T0:0:", "0-1-1T0:0:0", "4097-1-1T0:0:0",
                                 "4294969266-1-1T0:0:0", "1970-0-1T0:0:0", "-1970-1-1T0:0:0", "1970-1\xff-1T0:0:0"})
    EXPECT_EQ(pask_time_iso8601_to_epoch_us(guarded_text(text), &us), INVALID) << text;
  EXPECT_EQ(us, 7u);
  using row = std::pair<std::string, uint64_t>;  // what stands behind the minutes of the epoch
  for (const auto& [text, expected] : {row("99", 99000000), row("1+01:00", 1000000), row("x", 0), row("0.5", 500000),
                                       row("0.7,5", 500000), row("00.1234567", 123456), row("0.", 0),
                                       row("0.5Z", 50000), row("0,12345678901", 42949), row("0.-1", 42949672950000)}) {
    EXPECT_EQ(pask_time_iso8601_to_epoch_us(guarded_text("01970x-1- 1T00000000000:00:" + text), &us), 0u) << text;
    EXPECT_EQ(us, expected) << text;
  }
}

// Writes into every size of buffer, right before an inaccessible page: below `least` bytes there is no text.
void expect_text(const std::string& expected, size_t least, auto write) {
  for (uint32_t size = 0; size <= expected.size() + 20; ++size) {
    const guarded_text buffer(std::string(size, 'x'), size);
    EXPECT_EQ(write(buffer.get(), size), size < least ? NO_TEXT : 0) << expected << size;
    EXPECT_TRUE(size < least || size == 0 || expected.substr(0, size - 1) == buffer.get()) << expected << size;
  }
}

TEST(Time, WritesInstantsAndSpans) {
  setenv("TZ", "XYZ3:30", 1), tzset();
  const auto us = pask_time_format_us, ms = pask_time_format_ms, s = pask_time_format_s;
  using row = std::tuple<decltype(us), uint64_t, uint32_t, const char*, size_t, const char*>;
  for (const auto& [write, value, local, format, least, expected] :
       {row(us, UINT64_MAX, 1, "s.u", 0, "18446744073709.551615"), row(ms, 1500, 0, "s.u", 0, "1.500000"),
        row(ms, 1500000000005, 0, ISO, 20, "2017-07-14T02:40:00.05Z"), row(s, 1500000000, 1, "%H:%M", 6, "23:10"),
        row(us, 1500000000999500, 1, ISO, 20, "2017-07-13T23:10:00.1000-03:30"), row(s, 1500000000, 1, "", 99, ""),
        row(s, 400000000000, 0, ISO, 21, "14645-06-30T15:06:40Z"), row(us, 999600, 0, "%H", 3, "00.1000"),
        row(ms, 1500000000005, 0, HTTP, 26, "Fri, 14 Jul 2017 02:40:00.005 GMT"),
        row(s, 1500000000, 1, HTTP, 26, "Thu, 13 Jul 2017 23:10:00")})
    expect_text(expected, least,
                [write = write, value = value, local = local, format = format](char* to, uint32_t size) {
                  return write(value, local, format, to, size);
                });
  unsetenv("TZ"), tzset();
  using span = std::tuple<uint64_t, uint64_t, const char*, const char*>;
  for (const auto& [start, end, in_ms, in_s] :
       {span(7, 3661008, "1:01:01.001", "42 days 08:56:41"), span(5, 4, "0:00:00.000", "0 days 00:00:00"),
        span(0, 90061, "0:01:30.061", "1 day 01:01:01")}) {
    expect_text(in_ms, 0, [start = start, end = end](char* to, uint32_t size) {
      return pask_time_format_ms_elapsed(start, end, to, size);
    });
    expect_text(in_s, 0, [start = start, end = end](char* to, uint32_t size) {
      return pask_time_format_s_elapsed(start, end, to, size);
    });
  }
}

TEST(Time, TellsTheTime) {
  const uint64_t us = pask_time_get_ticks(), ms = pask_time_get_milliseconds(), s = pask_time_get_seconds();
  const uint64_t last = pask_time_get_microseconds(), now = static_cast<uint64_t>(time(nullptr));
  EXPECT_TRUE((us + 500) / 1000 <= ms && ms <= (last + 500) / 1000) << ms;
  EXPECT_TRUE((us + 500000) / 1000000 <= s && s <= (last + 500000) / 1000000 && now - last / 1000000 + 1 <= 2) << s;
  char text[8];
  pask_vxtime date = 0;
  const velox_manager_record* record = nullptr;
  EXPECT_EQ(pask_time_get_current("%Y", text, 8), NOT_INITED);
  ASSERT_EQ(velox_standin_start(&record) | pask_time_initialize(), 0u);
  EXPECT_EQ(pask_time_get_current("%Y", text, 4), NO_TEXT);
  EXPECT_EQ(pask_time_get_current("%Y", text, 0) & pask_time_get_current(nullptr, text, 8), INVALID);
  EXPECT_EQ(pask_time_get_current("%Y", text, 5) | pask_time_vxtime_current(&date), 0u);
  EXPECT_EQ(std::to_string(date >> 20), text);
  EXPECT_EQ(pask_time_shutdown() | velox_standin_stop(), 0u);
}

TEST(Random, GivesTheSequenceOfItsSeed) {
  EXPECT_EQ(pask_random_rand(nullptr), 13289u);
  using row = std::tuple<uint32_t, uint32_t, uint32_t>;
  for (auto [state, next, result] : {row(0, 2531011, 38), row(1, 2745024, 41), row(0x12345678, 0xb3e97b5b, 13289)})
    EXPECT_TRUE(pask_random_rand(&state) == result && state == next) << next;
}

}  // namespace
