// The UTF-8 codec: single characters, measuring, comparison and copying by characters.
#include "pask_utf8.h"

#include "pask_text.h"

const uint8_t utfmarktab[3] = {0x00, 0xc0, 0xe0};
const uint8_t utflmasktab[3] = {0x7f, 0x1f, 0x0f};

uint32_t _utf8_get_next_char_size(const char* p, uint32_t* size) {
  const uint32_t found = utf8_lead_size(text_byte(p));
  if (found == 0) return STRING_ERR_INVALID_UTF8;
  *size = found;
  return 0;
}

uint32_t _utf8_get_next_char(const char** pp, uint32_t* c) {
  const uint32_t size = utf8_decode(*pp, c);
  *pp += size;
  return size != 0 ? 0 : STRING_ERR_INVALID_UTF8;
}

uint32_t _utf8_get_prev_char(const char** pp, uint32_t* c) { return _utf8_step_back(pp, 3, c); }

uint32_t _utf8_step_back(const char** pp, size_t before, uint32_t* c) {
  const size_t reach = text_min(before, 3);
  for (size_t back = 1; back <= reach; ++back) {
    const char* const start = *pp - back;
    const uint8_t byte = text_byte(start);
    if (utf8_is_continuation(start)) continue;
    if ((byte < 0x80 && back > 1) || utf8_decode(start, c) == 0) break;
    *pp = start;
    return 0;
  }
  return STRING_ERR_INVALID_UTF8;
}

static uint32_t encoded_size(uint32_t c) {
  if (c < 0x80) return 1;
  if (c < 0x800) return 2;
  if (c < 0x10000) return 3;
  if (c < 0x200000) return 4;
  return c < 0x4000000 ? 5 : 6;
}

uint32_t _utf8_set_next_char(char* dst, uint32_t room, uint32_t c, uint32_t* written) {
  const uint32_t size = encoded_size(c);
  if (size >= room) return STRING_ERR_NO_ROOM;
  for (uint32_t i = size - 1; i > 0; --i, c >>= 6) dst[i] = static_cast<char>((c & 0x3f) | 0x80);
  // The marks go on beyond the table in the same scheme: 0xf0, 0xf8, 0xfc.
  const uint32_t mark = size <= 3 ? utfmarktab[size - 1] : 0xff00u >> size & 0xff;
  dst[0] = static_cast<char>(c | mark);
  if (written) *written = size;
  return 0;
}

text_extent text_measure(const char* s, uint32_t max_bytes, uint32_t max_chars) {
  const char* p = s;
  uint32_t chars = 0;
  bool invalid = false;
  for (;;) {
    // As many bytes as characters are asked for at most: the text may end behind them without a terminator.
    const size_t left = max_bytes - static_cast<size_t>(p - s);
    const size_t window = strnlen(p, text_min(TEXT_WINDOW, text_min(left, max_chars - chars)));
    const char* const end = p + window;
    while (p < end) {
      const size_t run = text_ascii_run(p, end);
      p += run;
      chars += static_cast<uint32_t>(run);
      while (p < end && text_is_multibyte(p)) {
        const uint32_t size = utf8_sequence_size(p);
        invalid = size == 0;
        if (invalid || size > max_bytes - static_cast<size_t>(p - s))
          return {static_cast<uint32_t>(p - s), chars, invalid};
        p += size;
        ++chars;
      }
    }
    if (window == 0) return {static_cast<uint32_t>(p - s), chars, false};
  }
}

// The number of leading bytes, all ASCII, in which a and b agree for certain; the limit is in characters.
static uint32_t ascii_agreement(const char* a, const char* b, uint32_t max_chars, bool exact) {
  constexpr uint32_t WORD = sizeof(text_word);
  uint32_t done = 0;
  // Texts that differ at all mostly do so at once; only then does it pay to measure them.
  for (; done < max_chars && done < WORD; ++done) {
    const uint8_t ca = text_byte(a + done);
    const uint8_t cb = text_byte(b + done);
    if (ca == 0 || cb == 0 || (ca | cb) >= 0x80) return done;
    if (ca != cb && (exact || byte_tolower(ca) != byte_tolower(cb))) return done;
  }
  for (;;) {
    const size_t ahead = text_min(TEXT_WINDOW, max_chars - done);
    const size_t window = strnlen(b + done, strnlen(a + done, ahead));
    const uint32_t end = done + static_cast<uint32_t>(window);
    if (exact) {
      for (; end - done >= WORD; done += WORD) {
        const text_word word = text_load(a + done);
        if (word != text_load(b + done) || (word & WORD_HIGHS)) return done;
      }
    } else {
      for (; end - done >= sizeof(text_block); done += static_cast<uint32_t>(sizeof(text_block)))
        if (!blocks_same_nocase<true>(a + done, b + done)) return done;
    }
    if (window < TEXT_WINDOW) return done;
  }
}

uint32_t _pask_string_utf8_compare(const char* a, const char* b, uint32_t max_chars, uint32_t exact, int32_t* diff,
                                   uint32_t* count, const char** a_end, const char** b_end) {
  uint32_t matched = ascii_agreement(a, b, max_chars, exact != 0);
  a += matched;
  b += matched;
  uint32_t budget = max_chars - matched;
  int32_t difference = 0;
  uint32_t status = 0;
  while (*a != 0 && *b != 0 && budget != 0 && difference == 0) {
    uint32_t ca = 0;
    uint32_t cb = 0;
    --budget;
    const uint32_t size_a = utf8_decode(a, &ca);
    a += size_a;
    const uint32_t size_b = size_a != 0 ? utf8_decode(b, &cb) : 0;
    b += size_b;
    if (size_b == 0) {
      ++matched;
      status = STRING_ERR_INVALID_UTF8;
      break;
    }
    if (exact == 0) {
      ca = ascii_tolower(ca);
      cb = ascii_tolower(cb);
    }
    difference = static_cast<int32_t>(ca) - static_cast<int32_t>(cb);
    if (difference == 0) ++matched;
  }
  if (budget != 0 && difference == 0) difference = *a != 0 ? 1 : *b != 0 ? -1 : 0;
  if (diff) *diff = difference;
  if (count) *count = matched;
  if (a_end) *a_end = a;
  if (b_end) *b_end = b;
  return status;
}

uint32_t _pask_string_utf8_copy(char* dst, uint32_t size, const char* src, uint32_t max_chars) {
  uint32_t room = size > 0 ? size - 1 : 0;
  uint32_t status = 0;
  while (const size_t window = strnlen(src, text_min(TEXT_WINDOW, text_min(room, max_chars)))) {
    for (const char* const end = src + window; src < end && room != 0;) {
      const uint32_t run =
          static_cast<uint32_t>(text_ascii_run(src, src + text_min(static_cast<size_t>(end - src), room)));
      memcpy(dst, src, run);
      src += run;
      dst += run;
      room -= run;
      max_chars -= run;
      for (; src < end && room != 0 && text_is_multibyte(src); --max_chars) {
        const uint32_t bytes = utf8_lead_size(text_byte(src));
        const bool fits = bytes <= room;
        const bool cut = fits && (src[1] == 0 || (bytes == 3 && src[2] == 0));
        if (bytes == 0 || cut) status = STRING_ERR_INVALID_UTF8;
        if (status != 0 || !fits) {
          *dst = 0;
          return status;
        }
        for (uint32_t i = 0; i < bytes; ++i) dst[i] = src[i];
        src += bytes;
        dst += bytes;
        room -= bytes;
      }
    }
  }
  *dst = 0;
  return 0;
}
