// The inside of text: decoding, runs of ASCII by whole words, and comparison without case, inline for the floors above.
//
// Words are only ever read inside a length that is known; pask_text_block.h is for texts of unknown length.
#pragma once

#include <locale.h>
#include <string.h>
#include <strings.h>

#include "pask_status.h"

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "words are read as little-endian bytes");

constexpr uint32_t STRING_ERR_NO_MEMORY = status_error(PKG_STRING, CODE_NO_MEMORY);
constexpr uint32_t STRING_ERR_NO_ROOM = status_error(PKG_STRING, 0x0008);
constexpr uint32_t STRING_ERR_INVALID_UTF8 = status_error(PKG_STRING, 0x03a0);
constexpr uint32_t STRING_ERR_ODD_UCS2 = status_error(PKG_STRING, 0x03a1);

constexpr uint32_t TEXT_NO_LIMIT = 0xffffffffu;

// --- Words of bytes.

typedef uintptr_t text_word;
constexpr text_word WORD_ONES = ~text_word{0} / 0xff;
constexpr text_word WORD_HIGHS = WORD_ONES * 0x80;

inline text_word text_load(const char* p) {
  text_word w;
  memcpy(&w, p, sizeof w);
  return w;
}

inline void text_store(char* p, text_word w) { memcpy(p, &w, sizeof w); }

// 0x80 in each byte that holds one of the 26 letters from `first`. Adding to seven bits can't carry into the next byte.
inline text_word word_letters(text_word w, char first) {
  const text_word low = w & ~WORD_HIGHS;
  const text_word from = low + WORD_ONES * (0x80u - static_cast<uint8_t>(first));
  const text_word behind = low + WORD_ONES * (0x80u - static_cast<uint8_t>(first) - 26u);
  return (from ^ behind) & ~w & WORD_HIGHS;
}

inline text_word word_tolower(text_word w) { return w | word_letters(w, 'A') >> 2; }
inline text_word word_toupper(text_word w) { return w ^ word_letters(w, 'a') >> 2; }

// --- Bytes and characters.

inline uint8_t text_byte(const char* p) { return static_cast<uint8_t>(*p); }
inline bool text_is_multibyte(const char* p) { return text_byte(p) >= 0x80; }

template <typename T>
constexpr T ascii_tolower(T c) {
  return c - T{'A'} < T{26} ? c + T{32} : c;
}

inline uint8_t byte_tolower(uint8_t b) { return static_cast<uint8_t>(ascii_tolower<uint32_t>(b)); }

// The two maps of ASCII letters, by words.
struct to_lower {
  static text_word word(text_word w) { return word_tolower(w); }
};
struct to_upper {
  static text_word word(text_word w) { return word_toupper(w); }
};

// Writes the mapped n bytes of src to dst, which may be src.
template <typename Map>
inline void map_bytes(const char* src, char* dst, size_t n) {
  size_t i = 0;
  for (; n - i >= sizeof(text_word); i += sizeof(text_word)) text_store(dst + i, Map::word(text_load(src + i)));
  for (; i < n; ++i) dst[i] = static_cast<char>(Map::word(text_byte(src + i)));
}

// The bytes that a lead byte of 0x80 and up asks for, 0 when it is none.
inline uint32_t utf8_lead_size(uint8_t lead) {
  if ((lead & 0xe0) == 0xc0) return 2;
  return (lead & 0xf0) == 0xe0 ? 3 : 0;
}

inline bool utf8_is_continuation(const char* p) { return (text_byte(p) & 0xc0) == 0x80; }

// The bytes of the sequence at p, which begins with a byte of 0x80 and up; 0 when it is invalid. A terminator is no
// continuation byte, so that reading stops at it.
inline uint32_t utf8_sequence_size(const char* p) {
  const uint32_t size = utf8_lead_size(text_byte(p));
  if (size == 0 || !utf8_is_continuation(p + 1)) return 0;
  return size == 2 || utf8_is_continuation(p + 2) ? size : 0;
}

// The character of a whole sequence of 2 or 3 bytes.
inline uint32_t utf8_assemble(const char* p, uint32_t size) {
  const uint32_t second = text_byte(p + 1) & 0x3fu;
  if (size == 2) return (text_byte(p) & 0x1fu) << 6 | second;
  return (text_byte(p) & 0x0fu) << 12 | second << 6 | (text_byte(p + 2) & 0x3fu);
}

// Decodes at p. Returns the bytes of the character, 1 at the terminator, 0 when the sequence is invalid.
inline uint32_t utf8_decode(const char* p, uint32_t* c) {
  if (!text_is_multibyte(p)) [[likely]] {
    *c = text_byte(p);
    return 1;
  }
  const uint32_t size = utf8_sequence_size(p);
  if (size != 0) *c = utf8_assemble(p, size);
  return size;
}

// The number of bytes below 0x80 in front of `end`.
inline size_t text_ascii_run(const char* p, const char* end) {
  const char* const start = p;
  for (; end - p >= static_cast<ptrdiff_t>(4 * sizeof(text_word)); p += 4 * sizeof(text_word)) {
    const text_word any = text_load(p) | text_load(p + sizeof(text_word)) | text_load(p + 2 * sizeof(text_word)) |
                          text_load(p + 3 * sizeof(text_word));
    if (any & WORD_HIGHS) break;
  }
  for (; end - p >= static_cast<ptrdiff_t>(sizeof(text_word)); p += sizeof(text_word))
    if (const text_word high = text_load(p) & WORD_HIGHS)
      return static_cast<size_t>(p - start) + static_cast<size_t>(__builtin_ctzll(high)) / 8;
  while (p < end && !text_is_multibyte(p)) ++p;
  return static_cast<size_t>(p - start);
}

inline size_t text_min(size_t a, size_t b) { return a < b ? a : b; }

// --- What a text holds from its front.

struct text_extent {
  uint32_t bytes;  // of whole, valid characters
  uint32_t chars;
  uint32_t invalid;  // 1 when an invalid sequence ended it
};

// As _utf8_get_prev_char(), for a position with `before` bytes of the string in front of it.
uint32_t _utf8_step_back(const char** pp, size_t before, uint32_t* c);

// --- Comparison of bytes, for keys.

// The C locale, whose letters are the 26 of ASCII, whatever locale the process or thread has chosen.
[[gnu::visibility("hidden")]] extern const locale_t TEXT_C_LOCALE;

// Equality without case of two strings, neither null. Most unequal keys differ in their first byte.
inline bool text_equal_nocase(const char* a, const char* b) {
  return byte_tolower(text_byte(a)) == byte_tolower(text_byte(b)) && strcasecmp_l(a, b, TEXT_C_LOCALE) == 0;
}
