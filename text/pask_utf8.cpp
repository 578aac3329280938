// The UTF-8 codec: single characters, comparison and copying by characters.
#include "pask_utf8.h"

#include "pask_text.h"
#include "pask_text_block.h"

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

// Where two runs of ASCII begin to differ, or the start of the block with that place.
template <typename Block>
static size_t agreement(const char* a, const char* b, size_t n, bool exact) {
  const auto same = [=](size_t i) {
    Block block_a, block_b;
    memcpy(&block_a, a + i, sizeof block_a);
    memcpy(&block_b, b + i, sizeof block_b);
    return exact ? blocks_same(block_a, block_b) : blocks_same_nocase(block_a, block_b);
  };
  size_t i = 0;
  for (; n - i >= sizeof(Block); i += sizeof(Block))
    if (!same(i)) return i;
  return i != 0 && i != n && same(n - sizeof(Block)) ? n : i;
}

// The number of leading bytes, all ASCII, in which a and b agree; the limit is in characters. What isn't ASCII in either text ends
// it, so the comparison by characters goes on at the beginning of a character in both, or at the first difference.
static uint32_t ascii_agreement(const char* a, const char* b, uint32_t max_chars, bool exact) {
  uint32_t done = 0;
  // Texts that differ at all mostly do so at once: what is looked at ahead grows with what has agreed.
  for (size_t ahead = 64;; ahead *= 2) {
    const size_t window = text_min(ahead, max_chars - done);
    const size_t run = text_scan(b + done, text_scan(a + done, window));
    size_t same = agreement<text_block>(a + done, b + done, run, exact);
    if (same == 0) same = agreement<text_word>(a + done, b + done, run, exact);
    const auto fold = [=](char c) { return exact ? text_byte(&c) : byte_tolower(text_byte(&c)); };
    while (same < run && fold(a[done + same]) == fold(b[done + same])) ++same;
    done += static_cast<uint32_t>(same);
    if (same < window || window < ahead) return done;
  }
}

uint32_t _pask_string_utf8_compare(const char* a, const char* b, uint32_t max_chars, uint32_t exact, int32_t* diff,
                                   uint32_t* count, const char** a_end, const char** b_end) {
  // Fast over the ASCII that both begin with. A first byte that differs in any case is a difference, or no ASCII: nothing to skip.
  const bool begins = max_chars != 0 && byte_tolower(text_byte(a)) == byte_tolower(text_byte(b));
  uint32_t matched = begins ? ascii_agreement(a, b, max_chars, exact != 0) : 0;
  a += matched;
  b += matched;
  uint32_t budget = max_chars - matched;
  int32_t difference = 0;
  uint32_t status = 0;
  while (budget != 0 && difference == 0 && *a != 0 && *b != 0) {
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

// Continuation bytes count as they come, so that one invalid sequence may be copied and the next end the copy.
uint32_t _pask_string_utf8_copy(char* dst, uint32_t size, const char* src, uint32_t max_chars) {
  uint32_t room = size > 0 ? size - 1 : 0;
  uint32_t status = 0;
  for (;;) {
    const text_extent valid = text_measure(src, room, max_chars);
    memcpy(dst, src, valid.bytes);
    src += valid.bytes;
    dst += valid.bytes;
    room -= valid.bytes;
    max_chars -= valid.chars;
    if (!valid.invalid) break;
    const uint32_t bytes = utf8_lead_size(text_byte(src));
    if (bytes > room) break;
    if (bytes == 0 || src[1] == 0 || (bytes == 3 && src[2] == 0)) {
      status = STRING_ERR_INVALID_UTF8;
      break;
    }
    memcpy(dst, src, bytes);
    src += bytes;
    dst += bytes;
    room -= bytes;
    --max_chars;
  }
  *dst = 0;
  return status;
}
