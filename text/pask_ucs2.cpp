// Conversion between UTF-8 and UCS-2, into the caller's room or into a block of the memory service.
//
// ASCII is converted by runs, in loops of a fixed length, which the compiler makes vectors of where the target has them; longer
// characters one by one, several in a row without a look for ASCII between them.
#include "pask_string.h"
#include "pask_text.h"
#include "pask_utf8.h"

constexpr ptrdiff_t RUN = 16;  // characters of ASCII that are converted at a time

template <bool Swap>
static uint16_t in_order(uint16_t unit) {
  return Swap ? static_cast<uint16_t>(unit << 8 | unit >> 8) : unit;
}

// A run of ASCII, from one form to the other.
template <bool Swap>
static void put_run(uint16_t* __restrict to, const char* __restrict p) {
  for (ptrdiff_t i = 0; i < RUN; ++i) to[i] = in_order<Swap>(text_byte(p + i));
}

template <bool Swap>
static void put_run(char* __restrict to, const uint16_t* __restrict p) {
  for (ptrdiff_t i = 0; i < RUN; ++i) to[i] = static_cast<char>(in_order<Swap>(p[i]));
}

// The number of units of a run in front of the first that isn't ASCII.
template <bool Swap>
static ptrdiff_t count_ascii(const uint16_t* p) {
  constexpr text_word LONG = ~text_word{0} / 0xffff * 0xff80, SWAPPED_LONG = ~text_word{0} / 0xffff * 0x80ff;
  constexpr ptrdiff_t UNITS = sizeof(text_word) / 2;
  for (ptrdiff_t i = 0; i < RUN; i += UNITS)
    if (const text_word high = text_load(reinterpret_cast<const char*>(p + i)) & (Swap ? SWAPPED_LONG : LONG))
      return i + __builtin_ctzll(high) / 16;
  return RUN;
}

static bool is_ascii_run(const char* p) {
  text_word any = 0;
  for (ptrdiff_t i = 0; i < RUN; i += sizeof any) any |= text_load(p + i);
  return (any & WORD_HIGHS) == 0;
}

// Converts up to the end, or to what is invalid or cut by the end; gives the position behind the units.
template <bool Swap>
static uint16_t* to_units(const char** src, const char* end, uint16_t* to) {
  const char* p = *src;
  while (p < end) {
    if (end - p >= RUN && is_ascii_run(p)) {
      put_run<Swap>(to, p);
      p += RUN;
      to += RUN;
      continue;
    }
    while (p < end && !text_is_multibyte(p)) *to++ = in_order<Swap>(text_byte(p++));
    // The end isn't a terminator: what it cuts must not be read.
    for (; p < end && text_is_multibyte(p); ++to) {
      const uint32_t size = utf8_lead_size(text_byte(p));
      if (size == 0 || static_cast<ptrdiff_t>(size) > end - p || utf8_sequence_size(p) == 0) {
        *src = p;
        return to;
      }
      *to = in_order<Swap>(static_cast<uint16_t>(utf8_assemble(p, size)));
      p += size;
    }
  }
  *src = p;
  return to;
}

uint32_t pask_string_utf8_to_ucs2_buf(const char* src, uint32_t src_bytes, uint16_t* dst, uint32_t* written,
                                      uint32_t swap) {
  const char* const end = src + src_bytes;
  const uint16_t* const to = swap != 0 ? to_units<true>(&src, end, dst) : to_units<false>(&src, end, dst);
  *written = static_cast<uint32_t>(to - dst) * 2;
  return src == end ? 0 : STRING_ERR_INVALID_UTF8;
}

// Encodes a unit of more than one byte; gives the position behind it.
static char* put_long(char* to, uint32_t unit) {
  const uint32_t last = 0x80 | (unit & 0x3f);
  if (unit < 0x800) {
    const uint16_t both = static_cast<uint16_t>(0xc0 | unit >> 6 | last << 8);
    memcpy(to, &both, sizeof both);
    return to + 2;
  }
  to[0] = static_cast<char>(0xe0 | unit >> 12);
  to[1] = static_cast<char>(0x80 | (unit >> 6 & 0x3f));
  to[2] = static_cast<char>(last);
  return to + 3;
}

// Converts whole runs while there is room for one and a character; gives the position behind the bytes. A run is put down as if
// it were ASCII. What isn't is put in its place then, and is never shorter.
template <bool Swap>
static char* to_bytes(const uint16_t** src, const uint16_t* end, char* to, const char* room_end) {
  const uint16_t* p = *src;
  while (end - p >= RUN && room_end - to > RUN + 3) {
    put_run<Swap>(to, p);
    const ptrdiff_t ascii = count_ascii<Swap>(p);
    p += ascii;
    to += ascii;
    for (; p < end && room_end - to > 3; ++p) {
      const uint32_t unit = in_order<Swap>(*p);
      if (unit < 0x80) break;
      to = put_long(to, unit);
    }
  }
  *src = p;
  return to;
}

uint32_t pask_string_ucs2_to_utf8_buf(const uint16_t* src, uint32_t src_bytes, char* dst, uint32_t* size,
                                      uint32_t swap) {
  const uint32_t room = *size;
  *size = 0;
  if (src_bytes % 2 != 0) return STRING_ERR_ODD_UCS2;
  const uint16_t* const end = src + src_bytes / 2;
  const char* const room_end = dst + room;
  const char* const start = dst;
  dst = swap != 0 ? to_bytes<true>(&src, end, dst, room_end) : to_bytes<false>(&src, end, dst, room_end);
  uint32_t status = 0;
  for (; src < end && status == 0; ++src) {
    const uint16_t unit = swap != 0 ? in_order<true>(*src) : *src;
    uint32_t bytes = 0;
    status = _utf8_set_next_char(dst, static_cast<uint32_t>(room_end - dst), unit, &bytes);
    dst += bytes;
  }
  *size = static_cast<uint32_t>(dst - start);
  return status;
}

// A block for the conversion of a text of that many bytes: 4 for each of them and of two more.
static void* conversion_block(uint32_t text_bytes, uint32_t* size) {
  if (__builtin_add_overflow(text_bytes, 2u, size) || __builtin_mul_overflow(*size, 4u, size)) return nullptr;
  void* const block = pask_memory_alloc(*size);
  if (block && text_bytes == 0) memset(block, 0, sizeof(uint16_t));
  return block;
}

// Hands the block out, or frees it when the conversion failed.
template <typename T>
static uint32_t conversion_end(uint32_t status, void* block, T** result) {
  if (status == 0)
    *result = static_cast<T*>(block);
  else
    pask_memory_free(block);
  return status;
}

uint32_t pask_string_utf8_to_ucs2(const char* src, uint16_t** result, uint32_t swap) {
  const uint32_t bytes = pask_string_bytelen(src);
  uint32_t size = 0;
  uint16_t* const block = static_cast<uint16_t*>(conversion_block(bytes, &size));
  if (!block) return STRING_ERR_NO_MEMORY;
  return conversion_end(pask_string_utf8_to_ucs2_buf(src, bytes, block, &size, swap), block, result);
}

uint32_t pask_string_ucs2_to_utf8(const uint16_t* src, char** result, uint32_t swap) {
  const uint32_t bytes = pask_string_bytelen_uni(src);
  uint32_t size = 0;
  char* const block = static_cast<char*>(conversion_block(bytes, &size));
  if (!block) return STRING_ERR_NO_MEMORY;
  return conversion_end(pask_string_ucs2_to_utf8_buf(src, bytes, block, &size, swap), block, result);
}

uint32_t pask_string_bytelen_uni(const uint16_t* s) {
  uint32_t bytes = 0;
  return s && __builtin_mul_overflow(pask_string_charlen_uni(s) + 1, 2u, &bytes) ? UINT32_MAX : bytes;
}

uint32_t pask_string_charlen_uni(const uint16_t* s) {
  if (!s) return 0;
  const uint16_t* end = s;
  while (*end != 0) ++end;
  return static_cast<uint32_t>(end - s);
}
