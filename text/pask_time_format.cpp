// Instants and spans as text: strftime() and what goes behind its text.
#include <string.h>
#include <time.h>

#include "pask_format.h"
#include "pask_modules.h"
#include "pask_status.h"
#include "pask_string.h"
#include "pask_time.h"

static const char FORMAT_NUMBER[] = "s.u";
static const char FORMAT_ISO[] = "%Y-%m-%dT%H:%M:%S";
static const char FORMAT_HTTP[] = "%a, %d %b %Y %H:%M:%S";

constexpr uint32_t ISO_BYTES = sizeof "YYYY-MM-DDTHH:MM:SS";
constexpr uint32_t ZONE_BYTES = 8;
constexpr uint32_t TAIL_BYTES = 5 + 1 + ZONE_BYTES;  // ".1000", and the zone with its colon
constexpr uint64_t US = 1000000;                     // microseconds of a second

uint32_t pask_time_get_current(const char* format, char* buffer, uint32_t size) {
  if (pask_time_initchecks() == 0) return PASK_TIME_ERR_NOT_INITED;
  if (!format || !buffer || size == 0) return PASK_TIME_ERR_INVALID_ARG;
  const time_t now = time(nullptr);
  tm local;
  if (!localtime_r(&now, &local)) return PASK_TIME_ERR_INVALID_ARG;
  return strftime(buffer, size, format, &local) != 0 ? 0 : PASK_TIME_ERR_NO_TEXT;
}

// Writes the lowest digits of the value and one byte behind them; returns the position behind that.
static char* put_number(char* at, uint32_t value, uint32_t digits, char behind) {
  for (uint32_t i = digits; i-- != 0; value /= 10) at[i] = static_cast<char>('0' + value % 10);
  at[digits] = behind;
  return at + digits + 1;
}

// strftime() with FORMAT_ISO, written in place for what fits 19 bytes.
static size_t iso_text(const tm& fields, char* buffer, uint32_t size) {
  if (size < ISO_BYTES || fields.tm_year > 9999 - 1900) return strftime(buffer, size, FORMAT_ISO, &fields);
  char* at = put_number(buffer, static_cast<uint32_t>(fields.tm_year + 1900), 4, '-');
  at = put_number(at, static_cast<uint32_t>(fields.tm_mon + 1), 2, '-');
  at = put_number(at, static_cast<uint32_t>(fields.tm_mday), 2, 'T');
  at = put_number(at, static_cast<uint32_t>(fields.tm_hour), 2, ':');
  at = put_number(at, static_cast<uint32_t>(fields.tm_min), 2, ':');
  put_number(at, static_cast<uint32_t>(fields.tm_sec), 2, 0);
  return ISO_BYTES - 1;
}

static char* put_milliseconds(char* at, uint64_t us, uint32_t min_digits) {
  const uint32_t ms = (static_cast<uint32_t>(us % US) + 500) / 1000;
  *at = '.';
  return put_number(at + 1, ms, ms < 100 ? min_digits : ms < 1000 ? 3 : 4, 0) - 1;
}

// Writes the offset of the local zone as +hh:mm.
static bool put_zone(char* at, const tm& local) {
  char zone[ZONE_BYTES];
  if (strftime(zone, sizeof zone, "%z", &local) == 0) return false;
  memcpy(at, zone, 3);
  at[3] = ':';
  strcpy(at + 4, zone + 3);
  return true;
}

static uint32_t _time_format_us(uint64_t us, bool use_local_time, bool with_fraction, const char* format, char* buffer,
                                uint32_t size) {
  if (!format || !buffer) return PASK_TIME_ERR_INVALID_ARG;
  if (pask_string_equal(format, FORMAT_NUMBER, 0)) {
    pask_string_snprintf(buffer, size, "%llu.%06llu", us / US, us % US);
    return 0;
  }
  const time_t seconds = static_cast<time_t>(us / US);
  tm fields;
  if (!(use_local_time ? localtime_r(&seconds, &fields) : gmtime_r(&seconds, &fields)))
    return PASK_TIME_ERR_INVALID_ARG;
  const bool iso = pask_string_equal(format, FORMAT_ISO, 0) != 0;
  const size_t length = iso ? iso_text(fields, buffer, size) : strftime(buffer, size, format, &fields);
  if (length == 0) return PASK_TIME_ERR_NO_TEXT;

  // What follows is cut where it doesn't fit.
  buffer += length;
  size -= static_cast<uint32_t>(length);
  char cut[TAIL_BYTES] = "";
  char* const tail = size < TAIL_BYTES ? cut : buffer;
  char* at = tail;
  if (with_fraction) at = put_milliseconds(at, us, iso ? 2 : 3);
  if (use_local_time) {
    if (iso && !put_zone(at, fields)) return PASK_TIME_ERR_NO_TEXT;
  } else if (iso) {
    strcpy(at, "Z");
  } else if (pask_string_equal(format, FORMAT_HTTP, 0)) {
    strcpy(at, " GMT");
  }
  if (tail == cut) pask_string_strcpy(buffer, size, cut);
  return 0;
}

uint32_t pask_time_format_us(uint64_t us, uint32_t use_local_time, const char* format, char* buffer, uint32_t size) {
  return _time_format_us(us, use_local_time != 0, true, format, buffer, size);
}

uint32_t pask_time_format_ms(uint64_t ms, uint32_t use_local_time, const char* format, char* buffer, uint32_t size) {
  return _time_format_us(ms * 1000, use_local_time != 0, true, format, buffer, size);
}

uint32_t pask_time_format_s(uint64_t s, uint32_t use_local_time, const char* format, char* buffer, uint32_t size) {
  return _time_format_us(s * US, use_local_time != 0, false, format, buffer, size);
}

static uint64_t span(uint64_t start, uint64_t end) { return end < start ? 0 : end - start; }

uint32_t pask_time_format_ms_elapsed(uint64_t start, uint64_t end, char* buffer, uint32_t size) {
  const uint64_t ms = span(start, end);
  pask_string_snprintf(buffer, size, "%llu:%02llu:%02llu.%03llu", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60,
                       ms % 1000);
  return 0;
}

uint32_t pask_time_format_s_elapsed(uint64_t start, uint64_t end, char* buffer, uint32_t size) {
  const uint64_t s = span(start, end);
  const uint64_t days = s / 86400;
  pask_string_snprintf(buffer, size, "%llu %s %02llu:%02llu:%02llu", days, days == 1 ? "day" : "days", s / 3600 % 24,
                       s / 60 % 60, s % 60);
  return 0;
}
