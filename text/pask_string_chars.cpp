// Stepping through the characters of a string, and what a single character is.
#include <ctype.h>

#include "pask_string.h"
#include "pask_text.h"
#include "pask_utf8.h"

uint32_t pask_string_charnext(const char** pp, uint32_t* size) {
  if (!pp || !*pp) return 0;
  uint32_t c = 0;
  const uint32_t bytes = utf8_decode(*pp, &c);
  if (bytes == 0) return 0;
  *pp += bytes;
  if (size) *size = bytes;
  return c;
}

uint32_t pask_string_charprev(const char* s, const char** pp, uint32_t* size) {
  if (size) *size = 0;
  if (!pp) return 0;
  if (!s || *s == 0) {
    *pp = s;
    return 0;
  }
  if (!*pp) *pp = s + strlen(s);
  if (*pp <= s) return 0;
  const char* const from = *pp;
  uint32_t c = 0;
  if (_utf8_step_back(pp, static_cast<size_t>(from - s), &c) != 0) return 0;
  if (size) *size = static_cast<uint32_t>(from - *pp);
  return c;
}

char* pask_string_setchar(char* dst, uint32_t size, uint32_t c, uint32_t* written) {
  if (!dst) return nullptr;
  uint32_t bytes = 0;
  _utf8_set_next_char(dst, size, c, &bytes);
  if (written) *written = bytes;
  return dst;
}

uint32_t pask_string_nextcharsize(const char* s) {
  if (!s) return 0;
  const uint32_t size = utf8_lead_size(text_byte(s));
  return size != 0 ? size : 1;
}

static bool in_range(uint32_t c, char first, char last) {
  return c - static_cast<uint8_t>(first) <= static_cast<uint32_t>(last - first);
}

uint8_t pask_string_isalpha(uint32_t c) { return in_range(c | 0x20, 'a', 'z'); }
uint8_t pask_string_isdigit(uint32_t c) { return in_range(c, '0', '9'); }
uint8_t pask_string_isalnum(uint32_t c) { return in_range(c | 0x20, 'a', 'z') || in_range(c, '0', '9'); }
uint8_t pask_string_isspace(uint32_t c) { return c == ' ' || in_range(c, '\t', '\r'); }
uint8_t pask_string_isxdigit(uint32_t c) { return in_range(c, '0', '9') || in_range(c | 0x20, 'a', 'f'); }
uint8_t pask_string_isprint(uint32_t c) { return in_range(c, ' ', '~'); }
uint8_t pask_string_islower(uint32_t c) { return in_range(c, 'a', 'z'); }
uint8_t pask_string_isupper(uint32_t c) { return in_range(c, 'A', 'Z'); }

// libc's tables begin at -128. Their last entry, 255, isn't looked at.
static uint32_t locale_case(const __int32_t* table, uint32_t c) {
  return c + 128u <= 254u + 128u ? static_cast<uint32_t>(table[static_cast<int32_t>(c)]) : c;
}

uint32_t pask_string_char_tolower(uint32_t c) { return locale_case(*__ctype_tolower_loc(), c); }
uint32_t pask_string_char_toupper(uint32_t c) { return locale_case(*__ctype_toupper_loc(), c); }
