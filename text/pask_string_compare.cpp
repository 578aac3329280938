// Comparison of strings: equality and order by bytes, order by characters over the codec's comparison.
#include "pask_string.h"
#include "pask_text.h"
#include "pask_text_block.h"
#include "pask_utf8.h"

const locale_t TEXT_C_LOCALE = newlocale(LC_ALL_MASK, "C", nullptr);  // libc's own object: nothing is allocated

uint8_t pask_string_equal(const char* a, const char* b, uint32_t ignore_case) {
  if (a == b) return 1;
  if (!a || !b) return 0;
  return ignore_case != 0 ? text_equal_nocase(a, b) : strcmp(a, b) == 0;
}

uint8_t pask_string_startswith(const char* s, const char* prefix, uint32_t ignore_case) {
  if (!s || !prefix || *prefix == 0) return 0;
  if (s == prefix) return 1;
  const size_t bytes = strlen(prefix);
  return (ignore_case != 0 ? strncasecmp_l(s, prefix, bytes, TEXT_C_LOCALE) : strncmp(s, prefix, bytes)) == 0;
}

static int16_t sign(int32_t difference) { return static_cast<int16_t>((difference > 0) - (difference < 0)); }

// What the addresses alone decide: true, with the order in *order.
static bool order_by_address(const char* a, const char* b, int16_t* order) {
  *order = a == b ? 0 : !a ? -1 : 1;
  return a == b || !a || !b;
}

static int16_t order_by_chars(const char* a, const char* b, uint32_t max_chars, bool exact) {
  int16_t order;
  if (order_by_address(a, b, &order)) return order;
  // Fast for texts that are equal by bytes but for the case of ASCII letters: so they are by characters, unless an invalid sequence
  // ends the comparison, where both texts go on and a is told to be the greater.
  if (!exact && max_chars == TEXT_NO_LIMIT && text_equal_nocase(a, b))
    return text_is_ascii(a) ? 0 : sign(text_measure(a, TEXT_NO_LIMIT, TEXT_NO_LIMIT).invalid != 0);
  int32_t difference = 0;
  _pask_string_utf8_compare(a, b, max_chars, exact, &difference, nullptr, nullptr, nullptr);
  return sign(difference);
}

int16_t pask_string_strcmp(const char* a, const char* b) {
  int16_t order;
  return order_by_address(a, b, &order) ? order : sign(strcmp(a, b));
}

int16_t pask_string_stricmp(const char* a, const char* b) { return order_by_chars(a, b, TEXT_NO_LIMIT, false); }
int16_t pask_string_strncmp(const char* a, const char* b, uint32_t n) { return order_by_chars(a, b, n, true); }
int16_t pask_string_strnicmp(const char* a, const char* b, uint32_t n) { return order_by_chars(a, b, n, false); }

static uint32_t match_length(const char* a, const char* b, const char** a_end, const char** b_end, bool exact) {
  if (!a || !b) return 0;
  uint32_t chars = 0;
  if (a != b) {
    _pask_string_utf8_compare(a, b, TEXT_NO_LIMIT, exact, nullptr, &chars, a_end, b_end);
    return chars;
  }
  chars = pask_string_charlen(a);
  const char* const end = a + strlen(a);
  if (a_end) *a_end = end;
  if (b_end) *b_end = end;
  return chars;
}

uint32_t pask_string_strcmp_len(const char* a, const char* b, const char** a_end, const char** b_end) {
  return match_length(a, b, a_end, b_end, true);
}

uint32_t pask_string_stricmp_len(const char* a, const char* b, const char** a_end, const char** b_end) {
  return match_length(a, b, a_end, b_end, false);
}
