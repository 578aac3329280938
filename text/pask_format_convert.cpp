// The conversions of everything but floats: integers, text and characters.
#include <string.h>

#include "pask_format_conversion.h"
#include "pask_utf8.h"

namespace {

struct digit_pairs {
  char text[200];
};
constexpr digit_pairs k_pairs = [] {
  digit_pairs made{};
  for (int i = 0; i < 100; ++i) {
    made.text[2 * i] = static_cast<char>('0' + i / 10);
    made.text[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return made;
}();

char* put_pair(char* first, uint32_t pair) {
  first -= 2;
  memcpy(first, k_pairs.text + 2 * pair, 2);
  return first;
}

// Digits are laid down in front of `first`, which moves; at least one.
char* put_decimal32(char* first, uint32_t value) {
  for (; value >= 100; value /= 100) first = put_pair(first, value % 100);
  if (value >= 10) return put_pair(first, value);
  *--first = static_cast<char>('0' + value);
  return first;
}

char* put_decimal(char* first, uint64_t value) {
  // Eight digits for each division of 64 bits, which 32-bit systems do in a routine.
  while (value > UINT32_MAX) {
    auto low = static_cast<uint32_t>(value % 100000000);
    value /= 100000000;
    for (int pair = 0; pair < 4; ++pair, low /= 100) first = put_pair(first, low % 100);
  }
  return put_decimal32(first, static_cast<uint32_t>(value));
}

char* put_power_of_two(char* first, uint64_t value, uint32_t base, bool capitals) {
  const uint32_t shift = base == 16 ? 4 : base == 8 ? 3 : 1;
  const char* digits = capitals ? "0123456789ABCDEF" : "0123456789abcdef";
  do {
    *--first = digits[value & (base - 1)];
    value >>= shift;
  } while (value != 0);
  return first;
}

int64_t next_signed(const conversion* c, format_args* args) {
  if (c->length == LENGTH_LL) return va_arg(args->list, long long);
  if (c->length == LENGTH_L) return va_arg(args->list, long);
  return va_arg(args->list, int);
}

uint64_t next_unsigned(const conversion* c, format_args* args) {
  if (c->row->traits & TRAIT_POINTER) return reinterpret_cast<uintptr_t>(va_arg(args->list, void*));
  if (c->length == LENGTH_LL) return va_arg(args->list, unsigned long long);
  if (c->length == LENGTH_L) return va_arg(args->list, unsigned long);
  if (c->length == LENGTH_Z) return va_arg(args->list, size_t);
  return va_arg(args->list, unsigned);
}

// The length of s, or of its first word, reading no more than `limit` bytes.
uint32_t text_length(const char* s, uint32_t limit) { return static_cast<uint32_t>(strnlen(s, limit)); }

uint32_t word_length(const char* s, uint32_t limit) {
  uint32_t length = 0;
  while (length<limit&& static_cast<unsigned char>(s[length])> 32) ++length;
  return length;
}

const char* next_text(format_args* args) {
  const char* s = va_arg(args->list, const char*);
  return s ? s : "(null)";
}

}  // namespace

format_text convert_integer(conversion* c, format_args* args, const pask_string_accum*, char* area) {
  format_limit_width(c);
  uint64_t value = 0;
  char sign = 0;
  if (!(c->row->traits & TRAIT_SIGNED)) {
    value = next_unsigned(c, args);
  } else {
    sign = format_sign(c);
    const int64_t number = c->length == LENGTH_Z ? 0 : next_signed(c, args);
    value = c->length == LENGTH_Z ? next_unsigned(c, args) : static_cast<uint64_t>(number);
    if (number < 0) {
      value = 0 - value;
      sign = '-';
    }
  }
  if (c->length == LENGTH_H) value &= 0xffff;
  if (c->length == LENGTH_HH) value &= 0xff;

  char* const end = area + WORK_AREA;
  char* first = c->row->base == 10 ? put_decimal(end, value)
                                   : put_power_of_two(end, value, c->row->base, c->row->traits & TRAIT_CAPITALS);
  uint32_t digits = c->precision == NO_PRECISION ? 0 : c->precision;
  if (c->flags & FLAG_ZERO) {
    const uint32_t filled = sign != 0 && c->width != 0 ? c->width - 1 : c->width;
    if (filled > digits) digits = filled;
  }
  while (static_cast<uint32_t>(end - first) < digits) *--first = '0';
  if (sign != 0) *--first = sign;
  if (c->flags & FLAG_ALTERNATE && value != 0 && c->row->prefix) {
    const size_t size = strlen(c->row->prefix);
    first -= size;
    memcpy(first, c->row->prefix, size);
  }
  return {first, static_cast<uint32_t>(end - first)};
}

format_text convert_string(conversion* c, format_args* args, const pask_string_accum*, char*) {
  const char* s = next_text(args);
  const uint32_t limit = c->precision != NO_PRECISION ? c->precision : c->flags & FLAG_STAR ? c->width : UINT32_MAX;
  return {s, text_length(s, limit)};
}

format_text convert_word(conversion* c, format_args* args, const pask_string_accum*, char*) {
  const char* s = next_text(args);
  while (*s != 0 && static_cast<unsigned char>(*s) <= 32) ++s;
  if (c->precision == NO_PRECISION && c->flags & FLAG_STAR) return {s, text_length(s, c->width)};
  return {s, word_length(s, c->precision)};  // NO_PRECISION is no limit
}

format_text convert_character(conversion* c, format_args* args, const pask_string_accum*, char* area) {
  const auto character = va_arg(args->list, unsigned);
  uint32_t size = 0;
  area[0] = 0;
  _utf8_set_next_char(area, WORK_AREA, character, &size);
  if (c->precision == NO_PRECISION) return {area, size};
  if (c->precision > 1) memset(area + 1, static_cast<int>(character & 0xff), c->precision - 1);
  return {area, c->precision};
}

format_text convert_count(conversion* c, format_args* args, const pask_string_accum* acc, char*) {
  void* to = va_arg(args->list, void*);
  if (!to) return {nullptr, 0};
  switch (c->length) {
    case LENGTH_HH:
      *static_cast<unsigned char*>(to) = static_cast<unsigned char>(acc->length);
      break;
    case LENGTH_H:
      *static_cast<unsigned short*>(to) = static_cast<unsigned short>(acc->length);
      break;
    case LENGTH_LL:
      *static_cast<unsigned long long*>(to) = acc->length;
      break;
    case LENGTH_L:
      *static_cast<unsigned long*>(to) = acc->length;
      break;
    case LENGTH_Z:
      *static_cast<size_t*>(to) = acc->length;
      break;
    default:
      *static_cast<unsigned*>(to) = acc->length;
      break;
  }
  return {nullptr, 0};
}

format_text convert_zero_byte(conversion*, format_args*, const pask_string_accum*, char*) { return {"", 1}; }

format_text convert_percent(conversion*, format_args*, const pask_string_accum*, char*) { return {"%", 1}; }

format_text convert_unknown(conversion* c, format_args*, const pask_string_accum*, char* area) {
  uint32_t size = 0;
  area[0] = '%';
  _utf8_set_next_char(area + 1, WORK_AREA - 1, c->character, &size);
  return {area, size + 1};
}
