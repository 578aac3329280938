// Reads the conversions of a format: the table of letters, and the parser of flags, width, precision and length.
#include "pask_format_conversion.h"

namespace {

constexpr format_row k_rows[] = {
    {'s', 0, TRAIT_ANY_PRECISION, nullptr, convert_string},
    {'c', 0, 0, nullptr, convert_character},
    {'w', 0, TRAIT_ANY_PRECISION, nullptr, convert_word},
    {'d', 10, TRAIT_SIGNED, nullptr, convert_integer},
    {'i', 10, TRAIT_SIGNED, nullptr, convert_integer},
    {'o', 8, 0, "0", convert_integer},
    {'u', 10, 0, nullptr, convert_integer},
    {'x', 16, 0, "0x", convert_integer},
    {'X', 16, TRAIT_CAPITALS, "0X", convert_integer},
    {'b', 2, 0, nullptr, convert_integer},
    {'f', 0, TRAIT_SIGNED, nullptr, convert_fixed},
    {'F', 0, TRAIT_SIGNED, nullptr, convert_fixed},
    {'e', 0, TRAIT_SIGNED, nullptr, convert_exponent},
    {'E', 0, TRAIT_SIGNED | TRAIT_CAPITALS, nullptr, convert_exponent},
    {'g', 0, TRAIT_SIGNED, nullptr, convert_generic},
    {'G', 0, TRAIT_SIGNED | TRAIT_CAPITALS, nullptr, convert_generic},
    {'p', 16, TRAIT_CAPITALS | TRAIT_POINTER, "0x", convert_integer},
    {'n', 0, 0, nullptr, convert_count},
    {'N', 0, TRAIT_ANY_PRECISION, nullptr, convert_zero_byte},
    {'%', 0, 0, nullptr, convert_percent},
};
constexpr format_row k_unknown = {0, 0, 0, nullptr, convert_unknown};

struct flag_row {
  char letter;
  uint8_t flag;
};
constexpr flag_row k_flags[] = {{' ', FLAG_BLANK}, {'!', FLAG_POINT}, {'#', FLAG_ALTERNATE},
                                {'+', FLAG_PLUS},  {'-', FLAG_LEFT},  {'0', FLAG_ZERO}};

// Letter to row and character to flag, without a search.
struct lookup {
  uint8_t row[0x80];  // index + 1
  uint8_t flag[0x80];
};
constexpr lookup k_lookup = [] {
  lookup made{};
  for (const format_row& row : k_rows)
    made.row[static_cast<uint8_t>(row.letter)] = static_cast<uint8_t>(&row - k_rows + 1);
  for (const flag_row& row : k_flags) made.flag[static_cast<uint8_t>(row.letter)] = row.flag;
  return made;
}();

uint8_t flag_of(uint32_t ch) { return ch < 0x80 ? k_lookup.flag[ch] : 0; }

const format_row* row_of(uint32_t ch) {
  const uint8_t index = ch < 0x80 ? k_lookup.row[ch] : 0;
  return index ? &k_rows[index - 1] : &k_unknown;
}

uint32_t magnitude(int32_t value) {
  return value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
}

// Reads digits from *ch on and leaves the character behind them there. A number past 31 bits stays at the largest.
uint32_t parse_digits(const char** at, uint32_t* ch) {
  uint64_t number = 0;
  for (; *ch - '0' <= 9; *ch = format_next_char(at)) {
    number = number * 10 + (*ch - '0');
    if (number > INT32_MAX) number = INT32_MAX;
  }
  return static_cast<uint32_t>(number);
}

void parse_width(const char** at, uint32_t* ch, format_args* args, conversion* c) {
  if (*ch != '*') {
    c->width = parse_digits(at, ch);
    return;
  }
  const int width = va_arg(args->list, int);
  c->flags |= FLAG_STAR;
  if (width < 0) c->flags |= FLAG_LEFT;
  c->width = magnitude(width);
  *ch = format_next_char(at);
}

void parse_precision(const char** at, uint32_t* ch, format_args* args, conversion* c) {
  if (*ch != '.') return;
  *ch = format_next_char(at);
  if (*ch != '*') {
    c->precision = parse_digits(at, ch);
    return;
  }
  c->precision = magnitude(va_arg(args->list, int));
  *ch = format_next_char(at);
}

void parse_length(const char** at, uint32_t* ch, conversion* c) {
  const uint32_t first = *ch;
  if (first == 'z')
    c->length = LENGTH_Z;
  else if (first == 'l')
    c->length = LENGTH_L;
  else if (first == 'h')
    c->length = LENGTH_H;
  else
    return;
  *ch = format_next_char(at);
  if (*ch != first || first == 'z') return;
  c->length = first == 'l' ? LENGTH_LL : LENGTH_HH;
  *ch = format_next_char(at);
}

}  // namespace

const char* format_parse(const char* at, format_args* args, conversion* c) {
  uint32_t ch = format_next_char(&at);
  *c = {row_of(ch), ch, 0, NO_PRECISION, 0, LENGTH_NONE};
  if (c->row != &k_unknown) return at;  // a bare letter
  for (uint8_t flag = flag_of(ch); flag != 0; flag = flag_of(ch)) {
    c->flags |= flag;
    ch = format_next_char(&at);
  }
  parse_width(&at, &ch, args, c);
  parse_precision(&at, &ch, args, c);
  parse_length(&at, &ch, c);
  if (ch == 0) return nullptr;
  c->character = ch;
  c->row = row_of(ch);
  const bool limited = !(c->row->traits & TRAIT_ANY_PRECISION) && c->precision != NO_PRECISION;
  if (limited && c->precision > MAX_PRECISION) c->precision = MAX_PRECISION;
  return at;
}
