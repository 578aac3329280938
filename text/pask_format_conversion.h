// One conversion of a format, on its way from the parser through a converter to the output.
#pragma once

#include <stdarg.h>
#include <stdint.h>

#include "pask_string_accum.h"
#include "pask_text.h"

// The arguments that are still to be read. In a structure, so that they can be handed on by address on every target.
struct format_args {
  va_list list;
};

enum format_flag : uint8_t {
  FLAG_BLANK = 0x01,
  FLAG_POINT = 0x02,      // "!"
  FLAG_ALTERNATE = 0x04,  // "#"
  FLAG_PLUS = 0x08,
  FLAG_LEFT = 0x10,  // "-", or a negative width
  FLAG_ZERO = 0x20,
  FLAG_STAR = 0x40,  // the width came as an argument
};

enum format_length : uint8_t { LENGTH_NONE, LENGTH_H, LENGTH_HH, LENGTH_L, LENGTH_LL, LENGTH_Z };

enum format_trait : uint8_t {
  TRAIT_SIGNED = 0x01,
  TRAIT_CAPITALS = 0x02,
  TRAIT_ANY_PRECISION = 0x04,
  TRAIT_POINTER = 0x08,
};

constexpr uint32_t NO_PRECISION = UINT32_MAX;
constexpr uint32_t MAX_PRECISION = 310;  // of conversions without TRAIT_ANY_PRECISION
constexpr uint32_t MAX_NUMBER_WIDTH = 340;
constexpr uint32_t MAX_FLOAT_PRECISION = 165;
// Where numbers and characters are built. The longest is a fixed float: sign, 309 digits, point, decimals; an integer
// takes its width, a sign and a prefix.
constexpr uint32_t WORK_AREA = 1 + 309 + 1 + MAX_FLOAT_PRECISION + 4;
static_assert(WORK_AREA >= MAX_NUMBER_WIDTH + 3 && WORK_AREA > MAX_PRECISION);

// The text of a conversion, in the work area or in an argument.
struct format_text {
  const char* bytes;
  uint32_t length;
};

struct conversion;
typedef format_text (*convert_fn)(conversion* c, format_args* args, const pask_string_accum* acc, char* area);

struct format_row {
  char letter;
  uint8_t base;        // of an integer
  uint8_t traits;      // format_trait
  const char* prefix;  // for "#", or null
  convert_fn convert;
};

struct conversion {
  const format_row* row;
  uint32_t character;  // the letter, for one that has no row
  uint32_t width;
  uint32_t precision;
  uint8_t flags;   // format_flag
  uint8_t length;  // format_length
};

// The next character of a format; 0 at its end, be that the terminator, an invalid sequence or a coded zero, and the
// position is then of no more use.
inline uint32_t format_next_char(const char** at) {
  uint32_t character = 0;
  *at += utf8_decode(*at, &character);
  return character;
}

// Reads the conversion behind a "%", with the arguments of its width and precision. Gives the position behind it, or
// null when the format ended inside.
const char* format_parse(const char* at, format_args* args, conversion* c);

// The sign in front of a number that isn't negative, 0 for none.
inline char format_sign(const conversion* c) { return c->flags & FLAG_PLUS ? '+' : c->flags & FLAG_BLANK ? ' ' : '\0'; }

inline void format_limit_width(conversion* c) {
  if (c->width > MAX_NUMBER_WIDTH) c->width = MAX_NUMBER_WIDTH;
}

// The converters. Each reads its argument and gives the text without the padding.
format_text convert_integer(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_fixed(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_exponent(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_generic(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_string(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_word(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_character(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_count(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_zero_byte(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_percent(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
format_text convert_unknown(conversion* c, format_args* args, const pask_string_accum* acc, char* area);
