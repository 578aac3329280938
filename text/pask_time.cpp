// Clock readings, dates packed in a word, ISO 8601 text to numbers. The text forms of instants stand in pask_time_format.cpp.
#include "pask_time.h"

#include <sys/time.h>
#include <time.h>

#include "pask_number.h"
#include "pask_status.h"
#include "pask_string.h"

static_assert(sizeof(time_t) == 8, "dates after 2038");

// --- Dates. A date's fields are whole minutes, and the minutes of 4096 years fit 32 bits.

constexpr uint32_t DAY_MINUTES = 24 * 60;
constexpr uint32_t YEAR_MINUTES = 365 * DAY_MINUTES;
constexpr uint32_t MAX_YEARS = 4096;

// Days of a common year before each month. All values of the month's four bits have an entry.
static constexpr uint32_t s_pask_time_months[16] = {0,   31,  59,  90,  120, 151, 181, 212,
                                                    243, 273, 304, 334, 365, 365, 365, 365};

// The leap days in so many elapsed years.
static constexpr uint32_t leap_days(uint32_t years) { return years / 4 + years / 400 - years / 100; }

// The minutes from the word 0 to the date.
static constexpr uint32_t minutes_of(pask_vxtime time) {
  const uint32_t year = time >> 20;
  const uint32_t days = (time >> 11 & 0x1f) + s_pask_time_months[time >> 16 & 0xf] + leap_days(year);
  return year * YEAR_MINUTES + days * DAY_MINUTES + (time >> 6 & 0x1f) * 60 + (time & 0x3f);
}

static constexpr uint64_t seconds_between(pask_vxtime a, pask_vxtime b) {
  return (uint64_t{minutes_of(b)} - minutes_of(a)) * 60;
}

uint32_t pask_time_vxtime_create(uint32_t year, uint32_t month, uint32_t day, uint32_t hour, uint32_t minute,
                                 pask_vxtime* time) {
  if (year >= MAX_YEARS || month > 11 || day > 30 || hour > 23 || minute > 59 || !time)
    return PASK_TIME_ERR_INVALID_ARG;
  *time = year << 20 | month << 16 | day << 11 | hour << 6 | minute;
  return 0;
}

uint32_t pask_time_vxtime_create_from_seconds(uint64_t seconds, pask_vxtime* time) {
  // The leap days of 4100 years are less than 3 years: whatever is refused here lies behind the last year.
  const uint64_t total = seconds / 60;
  if (total >= (MAX_YEARS + 4) * uint64_t{YEAR_MINUTES}) return PASK_TIME_ERR_INVALID_ARG;
  const uint32_t minutes = static_cast<uint32_t>(total);

  uint32_t leap = leap_days(minutes / YEAR_MINUTES);
  uint32_t common = minutes - leap * DAY_MINUTES;  // as if no year had a leap day
  if (leap_days(common / YEAR_MINUTES) != leap) common += DAY_MINUTES;

  const uint32_t in_year = common % YEAR_MINUTES;
  const uint32_t day_of_year = in_year / DAY_MINUTES;
  uint32_t month = day_of_year / 32;  // the month or the one before it
  if (day_of_year >= s_pask_time_months[month + 1]) ++month;
  const uint32_t in_day = in_year % DAY_MINUTES;
  return pask_time_vxtime_create(common / YEAR_MINUTES, month, day_of_year - s_pask_time_months[month], in_day / 60,
                                 in_day % 60, time);
}

uint32_t pask_time_vxtime_delta(pask_vxtime a, pask_vxtime b, uint64_t* seconds) {
  if (!seconds) return PASK_TIME_ERR_INVALID_ARG;
  *seconds = seconds_between(a, b);
  return 0;
}

uint32_t pask_time_vxtime_add(pask_vxtime time, uint64_t seconds, pask_vxtime* sum) {
  return pask_time_vxtime_create_from_seconds(minutes_of(time) * uint64_t{60} + seconds, sum);
}

uint32_t pask_time_vxtime_current(pask_vxtime* time) {
  const time_t now = ::time(nullptr);
  tm local;
  if (!localtime_r(&now, &local)) return PASK_TIME_ERR_INVALID_ARG;
  return pask_time_vxtime_create(static_cast<uint32_t>(local.tm_year + 1900), static_cast<uint32_t>(local.tm_mon),
                                 static_cast<uint32_t>(local.tm_mday - 1), static_cast<uint32_t>(local.tm_hour),
                                 static_cast<uint32_t>(local.tm_min), time);
}

// --- ISO 8601 text.

constexpr uint64_t US = 1000000;  // microseconds of a second
constexpr pask_vxtime EPOCH = 1969u << 20;

static bool is_digit(char c) { return static_cast<uint8_t>(c - '0') < 10; }

// Reads the number at `at`; returns the position behind the next separator, null if there is none or nothing behind it.
static const char* read_field(const char* at, char separator, uint32_t* value) {
  uint32_t number = 0;
  const char* end = at;
  for (; end - at < 9 && is_digit(*end); ++end) number = number * 10 + static_cast<uint32_t>(*end - '0');
  if (end == at || *end != separator) {  // not the usual digits right up to the separator
    number = pask_string_atou32(at);
    end = pask_string_strchr(at, static_cast<uint8_t>(separator));
  }
  *value = number;
  return end && end[1] != 0 ? end + 1 : nullptr;
}

// The seconds since 1970; *rest gets the position of the text's own seconds.
static uint32_t read_seconds(const char* text, uint64_t* seconds, const char** rest) {
  uint32_t fields[5];
  for (uint32_t i = 0; i < 5 && text; ++i) text = read_field(text, "--T::"[i], &fields[i]);
  if (!text) return PASK_TIME_ERR_INVALID_ARG;
  *rest = text;
  pask_vxtime date;
  PASK_TRY(pask_time_vxtime_create(fields[0] - 1, fields[1] - 1, fields[2] - 1, fields[3], fields[4], &date));
  *seconds = seconds_between(EPOCH, date) + pask_string_atou32(text);
  return 0;
}

// The fraction of a second behind the seconds, in microseconds. The bytes up to the end of the text tell its magnitude.
static uint64_t read_fraction(const char* seconds) {
  const char* at = pask_string_strchr(seconds, ',');
  if (!at) at = pask_string_strchr(seconds, '.');
  if (!at || *++at == 0) return 0;
  uint64_t value = pask_string_atou32(at);
  uint32_t digits = pask_string_bytelen_nonull(at);
  for (; digits < 6; ++digits) value *= 10;
  for (; digits > 6 && value != 0; --digits) value /= 10;
  return value;
}

uint32_t pask_time_iso8601_to_epoch(const char* text, uint64_t* seconds) {
  return seconds ? read_seconds(text, seconds, &text) : PASK_TIME_ERR_INVALID_ARG;
}

uint32_t pask_time_iso8601_to_epoch_us(const char* text, uint64_t* us) {
  if (!us) return PASK_TIME_ERR_INVALID_ARG;
  uint64_t seconds;
  PASK_TRY(read_seconds(text, &seconds, &text));
  *us = seconds * US + read_fraction(text);
  return 0;
}

// --- Clocks.

uint64_t pask_time_get_microseconds() {
  timeval now;
  if (gettimeofday(&now, nullptr) != 0) return 0;
  return static_cast<uint64_t>(now.tv_sec) * US + static_cast<uint64_t>(now.tv_usec);
}

uint64_t pask_time_get_milliseconds() { return (pask_time_get_microseconds() + 500) / 1000; }
uint64_t pask_time_get_seconds() { return (pask_time_get_microseconds() + US / 2) / US; }
uint64_t pask_time_get_ticks() { return pask_time_get_microseconds(); }
