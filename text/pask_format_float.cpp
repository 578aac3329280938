// The conversions of floats: fixed, with an exponent, and whichever of the two is shorter. The text is what this
// sequence of double operations gives, bit for bit, on every target; so no operation may run in a wider format or be
// fused with its neighbour (see CMakeLists.txt), and none may be reordered.
#include <float.h>
#include <string.h>

#include "pask_format_conversion.h"
#include "pask_string_accum_append.h"

static_assert(FLT_EVAL_METHOD == 0, "doubles must be computed as doubles: on i386 build this file with -mfpmath=sse");

namespace {

constexpr int INFINITE = 350;         // an exponent beyond it
constexpr uint32_t SIGNIFICANT = 16;  // digits that are taken from the value; zeros follow

enum float_style { STYLE_FIXED, STYLE_EXPONENT, STYLE_GENERIC };

// Half a unit of the last decimal, by precision: 0.5 multiplied so many times by 0.1.
struct rounders {
  double at[MAX_FLOAT_PRECISION + 1];
};
constexpr rounders k_rounders = [] {
  rounders made{};
  double rounder = 0.5;
  for (double& r : made.at) {
    r = rounder;
    rounder *= 0.1;
  }
  return made;
}();

// Brings a positive value into 1 to 10 and gives its decimal exponent, which passes INFINITE for an infinity.
int normalise(double* value) {
  double v = *value;
  int exp = 0;
  for (; v >= 1e32 && exp <= INFINITE; exp += 32) v *= 1e-32;
  for (; v >= 1e8 && exp <= INFINITE; exp += 8) v *= 1e-8;
  for (; v >= 10.0 && exp <= INFINITE; ++exp) v *= 0.1;
  for (; v < 1e-8; exp -= 8) v *= 1e8;
  for (; v < 1.0; --exp) v *= 10.0;
  *value = v;
  return exp;
}

// The digits of a value below 10: its integer part, then ten times what is left, and so on.
struct digit_source {
  char digits[SIGNIFICANT];
  uint32_t taken = 0;

  // From 1 to 10 a double is a multiple of 2^-52, and each step makes that unit at least twice as large. After three
  // steps it is 2^-49; from then on no step rounds, and the rest is exact in 64-bit integers, four digits at a time. A
  // value below 1 is a lone rounder, whose digits are all 0.
  digit_source(double v, uint32_t wanted) {
    constexpr int EXACT_BITS = 49;
    for (int i = 0; i < 3; ++i) {
      const int digit = static_cast<int>(v);
      digits[i] = static_cast<char>('0' + digit);
      v = (v - digit) * 10.0;
    }
    auto rest = static_cast<uint64_t>(static_cast<int64_t>(v * static_cast<double>(1ull << EXACT_BITS)));
    digits[3] = static_cast<char>('0' + (rest >> EXACT_BITS));
    for (uint32_t i = 4; i < SIGNIFICANT && i < wanted; i += 4) {
      rest = (rest & ((1ull << EXACT_BITS) - 1)) * 10000;
      const auto four = static_cast<uint32_t>(rest >> EXACT_BITS);
      digits[i] = static_cast<char>('0' + four / 1000);
      digits[i + 1] = static_cast<char>('0' + four / 100 % 10);
      digits[i + 2] = static_cast<char>('0' + four / 10 % 10);
      digits[i + 3] = static_cast<char>('0' + four % 10);
    }
  }

  char* put(char* to, uint32_t count) {
    const uint32_t real = count < SIGNIFICANT - taken ? count : SIGNIFICANT - taken;
    move_bytes(to, digits + taken, real);
    if (count > real) memset(to + real, '0', count - real);
    taken += real;
    return to + count;
  }
};

// What the digits are laid out by.
struct float_layout {
  int precision;  // decimals
  int leading;    // decimal exponent of the first digit, as far as the point has to show it
  bool exponent_form;
  bool drop_zeros;  // at the end of the decimals
};

char* put_number(char* to, const float_layout& layout, uint8_t flags, double v) {
  digit_source source(v, static_cast<uint32_t>(layout.leading + 1 + layout.precision));
  if (layout.leading < 0)
    *to++ = '0';
  else
    to = source.put(to, static_cast<uint32_t>(layout.leading + 1));
  const bool point = layout.precision > 0 || flags & (FLAG_ALTERNATE | FLAG_POINT);
  if (!point) return to;
  *to++ = '.';
  int zeros = layout.leading < -1 ? -layout.leading - 1 : 0;
  if (zeros > layout.precision) zeros = layout.precision;
  if (zeros > 0) memset(to, '0', static_cast<size_t>(zeros));
  to = source.put(to + zeros, static_cast<uint32_t>(layout.precision - zeros));
  if (!layout.drop_zeros) return to;
  while (to[-1] == '0') --to;
  if (to[-1] != '.') return to;
  if (!(flags & FLAG_POINT)) return to - 1;
  *to++ = '0';
  return to;
}

char* put_exponent(char* to, int exp, bool capitals) {
  *to++ = capitals ? 'E' : 'e';
  *to++ = exp < 0 ? '-' : '+';
  const int size = exp < 0 ? -exp : exp;
  if (size > 99) *to++ = static_cast<char>('0' + size / 100);
  *to++ = static_cast<char>('0' + size / 10 % 10);
  *to++ = static_cast<char>('0' + size % 10);
  return to;
}

// Zeros behind the sign, up to the width.
char* fill_zeros(char* number, char* end, uint32_t missing) {
  memmove(number + missing, number, static_cast<size_t>(end - number));
  memset(number, '0', missing);
  return end + missing;
}

format_text infinite_text(char sign) {
  if (sign == '-') return {"-Inf", 4};
  if (sign == '+') return {"+Inf", 4};
  return {"Inf", 3};
}

// Chooses the form of a normalised value that isn't fixed, and rounds it.
float_layout layout_rounded(float_style style, const conversion* c, int precision, double rounder, double* v,
                            int* exp) {
  *v += rounder;
  if (*v >= 10.0) {
    *v *= 0.1;
    ++*exp;
  }
  if (style == STYLE_EXPONENT) return {precision, 0, true, false};
  const bool drop_zeros = !(c->flags & FLAG_ALTERNATE);
  if (*exp < -4 || *exp > precision) return {precision, 0, true, drop_zeros};
  return {precision - *exp, *exp, false, drop_zeros};
}

format_text convert_float(float_style style, conversion* c, double v, char* area) {
  format_limit_width(c);
  int precision = 6;
  if (c->precision != NO_PRECISION)
    precision = static_cast<int>(c->precision < MAX_FLOAT_PRECISION ? c->precision : MAX_FLOAT_PRECISION);
  char sign = format_sign(c);
  if (v < 0) {
    v = -v;
    sign = '-';
  }
  if (style == STYLE_GENERIC && precision > 0) --precision;
  const double rounder = k_rounders.at[precision];
  if (style == STYLE_FIXED) v += rounder;
  if (v != v) return {"NaN", 3};
  int exp = v > 0 ? normalise(&v) : 0;
  if (exp > INFINITE) return infinite_text(sign);
  const float_layout layout = style == STYLE_FIXED ? float_layout{precision, exp, false, false}
                                                   : layout_rounded(style, c, precision, rounder, &v, &exp);
  char* number = area;
  if (sign != 0) *number++ = sign;
  char* end = put_number(number, layout, c->flags, v);
  if (layout.exponent_form) end = put_exponent(end, exp, c->row->traits & TRAIT_CAPITALS);
  const auto length = static_cast<uint32_t>(end - area);
  const bool zero_filled = (c->flags & (FLAG_ZERO | FLAG_LEFT)) == FLAG_ZERO;
  if (zero_filled && length < c->width) end = fill_zeros(number, end, c->width - length);
  return {area, static_cast<uint32_t>(end - area)};
}

}  // namespace

format_text convert_fixed(conversion* c, format_args* args, const pask_string_accum*, char* area) {
  return convert_float(STYLE_FIXED, c, va_arg(args->list, double), area);
}

format_text convert_exponent(conversion* c, format_args* args, const pask_string_accum*, char* area) {
  return convert_float(STYLE_EXPONENT, c, va_arg(args->list, double), area);
}

format_text convert_generic(conversion* c, format_args* args, const pask_string_accum*, char* area) {
  return convert_float(STYLE_GENERIC, c, va_arg(args->list, double), area);
}
