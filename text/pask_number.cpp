// Numbers and decimal text.
#include "pask_number.h"

#include <errno.h>
#include <stdlib.h>

#include "pask_string.h"
#include "pask_text.h"
#include "velox_lookup_keys.h"

// --- Numbers to text: two digits at a time, from the lowest up.

struct digit_pairs {
  char text[200];
};

static constexpr digit_pairs DIGITS = [] {
  digit_pairs pairs{};
  for (int i = 0; i < 100; ++i) {
    pairs.text[2 * i] = static_cast<char>('0' + i / 10);
    pairs.text[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

constexpr uint32_t MOST_DIGITS = 20;

// Writes the digits of value so that they end in front of `end`.
template <typename T>
static void write_digits(T value, char* end) {
  for (; value >= 100; value /= 100) {
    end -= 2;
    memcpy(end, DIGITS.text + 2 * (value % 100), 2);
  }
  if (value < 10)
    end[-1] = static_cast<char>('0' + value);
  else
    memcpy(end - 2, DIGITS.text + 2 * value, 2);
}

// Four digits a turn: most numbers take one or two.
static uint32_t count_digits(uint64_t value) {
  for (uint32_t count = 1;; count += 4, value /= 10000) {
    if (value < 10) return count;
    if (value < 100) return count + 1;
    if (value < 1000) return count + 2;
    if (value < 10000) return count + 3;
  }
}

static void write_number(uint64_t value, uint32_t count, char* buf) {
  buf[count] = 0;
  if (value <= UINT32_MAX)
    write_digits(static_cast<uint32_t>(value), buf + count);
  else
    write_digits(value, buf + count);
}

static char* number_to_text(uint64_t magnitude, bool negative, char* buf, uint32_t size) {
  if (!buf || size == 0) return buf;
  const uint32_t wanted = count_digits(magnitude);
  if (wanted < size) [[likely]] {
    const bool sign = negative && wanted + 1 < size;
    if (sign) *buf = '-';
    write_number(magnitude, wanted, buf + sign);
    return buf;
  }
  char digits[MOST_DIGITS + 1];
  write_number(magnitude, wanted, digits);
  memcpy(buf, digits + wanted - (size - 1), size);
  return buf;
}

char* pask_string_i64toa(int64_t value, char* buf, uint32_t size) {
  const uint64_t bits = static_cast<uint64_t>(value);
  return number_to_text(value < 0 ? 0 - bits : bits, value < 0, buf, size);
}

char* pask_string_i32toa(int32_t value, char* buf, uint32_t size) { return pask_string_i64toa(value, buf, size); }
char* pask_string_u64toa(uint64_t value, char* buf, uint32_t size) { return number_to_text(value, false, buf, size); }
char* pask_string_u32toa(uint32_t value, char* buf, uint32_t size) { return number_to_text(value, false, buf, size); }

// --- Text to integers.

long pask_string_strtol(const char* str, char** end, int base) { return strtol(str, end, base); }
long long pask_string_strtoll(const char* str, char** end, int base) { return strtoll(str, end, base); }
unsigned long pask_string_strtoul(const char* str, char** end, int base) { return strtoul(str, end, base); }
unsigned long long pask_string_strtoull(const char* str, char** end, int base) { return strtoull(str, end, base); }

static bool is_digit(char c) { return static_cast<uint8_t>(c - '0') < 10; }

// What option values look like: up to nine digits with nothing in front of them. False for all else.
static bool read_short(const char* s, uint32_t* value) {
  uint32_t read = 0;
  uint32_t i = 0;
  for (; i < 9 && is_digit(s[i]); ++i) read = read * 10 + static_cast<uint32_t>(s[i] - '0');
  *value = read;
  return i != 0 && !is_digit(s[i]);
}

// Where long is wider than 32 bits, the limits and the wrap of a 32-bit one are made good here.
static int32_t strtol_32(const char* s) {
  const long value = strtol(s, nullptr, 10);
  const int32_t cut = value < INT32_MIN ? INT32_MIN : value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
  if (cut != value) errno = ERANGE;
  return cut;
}

static uint32_t strtoul_32(const char* s) {
  char* end = nullptr;
  const unsigned long long value = strtoull(s, &end, 10);
  // A "-" has negated what was read, and the limit is that of what was read.
  while (end > s && is_digit(end[-1])) --end;
  const bool negated = end > s && end[-1] == '-';
  if ((negated ? 0 - value : value) <= UINT32_MAX) return static_cast<uint32_t>(value);
  errno = ERANGE;
  return UINT32_MAX;
}

int32_t pask_string_atoi32(const char* s) {
  uint32_t value = 0;
  if (!s) return 0;
  return read_short(s, &value) ? static_cast<int32_t>(value) : strtol_32(s);
}

uint32_t pask_string_atou32(const char* s) {
  uint32_t value = 0;
  if (!s) return 0;
  return read_short(s, &value) ? value : strtoul_32(s);
}

int64_t pask_string_atoi64(const char* s) {
  uint32_t value = 0;
  if (!s) return 0;
  return read_short(s, &value) ? value : strtoll(s, nullptr, 10);
}

uint64_t pask_string_atou64(const char* s) {
  uint32_t value = 0;
  if (!s) return 0;
  return read_short(s, &value) ? value : strtoull(s, nullptr, 10);
}

// --- Booleans.

uint8_t pask_string_atobool(const char* s) { return static_cast<uint8_t>(velox_is_true(s)); }

uint8_t pask_string_isbool(const char* s) {
  if (!s) return 0;
  if (*s == '0' || *s == '1') return s[1] == 0;
  return text_equal_nocase(s, "true") || text_equal_nocase(s, "false");
}

// --- Text to floating point. Every operation rounds to a double at once: the build
// allows no extended registers and no fused operations here.

static const char* accumulate_digits(const char* s, double* value) {
  double sum = *value;
  for (; is_digit(*s); ++s) {
    sum *= 10.0;
    sum += *s - '0';
  }
  *value = sum;
  return s;
}

// One multiplication for each step. Once a product equals its factor (0, infinity) all others would too.
static void scale(double* value, int32_t exponent) {
  const double factor = exponent < 0 ? 0.1 : 10.0;
  uint32_t steps = static_cast<uint32_t>(exponent);
  if (exponent < 0) steps = 0 - steps;
  double product = *value;
  for (; steps != 0; --steps) {
    const double before = product;
    product *= factor;
    if (product == before) break;
  }
  *value = product;
}

static bool take_sign(const char** s) {
  const bool negative = **s == '-';
  if (negative || **s == '+') ++*s;
  return negative;
}

// The exponent's digits, in 32 bits.
static uint32_t read_exponent(const char* s) {
  const bool negative = take_sign(&s);
  uint32_t exponent = 0;
  for (; is_digit(*s); ++s) exponent = exponent * 10 + static_cast<uint32_t>(*s - '0');
  return negative ? 0 - exponent : exponent;
}

double pask_string_atof64(const char* s) {
  if (!s) return 0.0;
  while (text_byte(s) - 1u < 32u) ++s;
  const bool negative = take_sign(&s);
  double value = 0.0;
  s = accumulate_digits(s, &value);
  uint32_t exponent = 0;
  if (*s == '.') {
    const char* const fraction = s + 1;
    s = accumulate_digits(fraction, &value);
    exponent -= static_cast<uint32_t>(s - fraction);
  }
  if (*s == 'e' || *s == 'E') exponent += read_exponent(s + 1);
  scale(&value, static_cast<int32_t>(exponent));
  return negative ? -value : value;
}
