// Blocks: the widest unit of text that the target looks at in one go, for texts whose end isn't known yet.
//
// A block is read at its own alignment only: with one byte of a text in it, all of it lies in a page of the text, and tools
// that watch memory take the bytes around the text for unread as long as nothing depends on them. Sanitizers would object;
// their builds read texts byte by byte. What is found out about the bytes of a block are flags, one for each byte.
#pragma once

#include "pask_text.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool TEXT_BLOCKS = false;
#else
constexpr bool TEXT_BLOCKS = true;
#endif

#if defined(__SSE2__)
#include <emmintrin.h>

typedef __m128i text_block;
typedef uint32_t text_flags;
constexpr uint32_t FLAG_STEP = 1;  // bits from the flag of a byte to that of the next
constexpr text_flags FLAGS_ALL = 0xffff;

inline text_block block_load(const char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline text_block block_equal(text_block block, char byte) { return _mm_cmpeq_epi8(block, _mm_set1_epi8(byte)); }
// Set in the bytes that are ASCII and not 0.
inline text_block block_plain(text_block block) { return _mm_cmpgt_epi8(block, _mm_setzero_si128()); }
inline text_block block_without(text_block block, text_block other) { return _mm_andnot_si128(other, block); }

// A flag where bit 7 - shift of the byte is set.
template <int shift = 0>
inline text_flags block_flags(text_block block) {
  return static_cast<text_flags>(_mm_movemask_epi8(_mm_slli_epi16(block, shift)));
}

inline uint32_t flags_count(text_flags flags) {
  flags -= flags >> 1 & 0x5555;
  flags = (flags & 0x3333) + (flags >> 2 & 0x3333);
  flags = (flags + (flags >> 4)) & 0x0f0f;
  return (flags + (flags >> 8)) & 0x1f;
}

// Whether two blocks of ASCII are the same but for the case of letters: only bit 0x20 may differ, and only in a letter.
inline bool blocks_same_nocase(text_block a, text_block b) {
  const text_block bit = _mm_set1_epi8(0x20);
  const text_block letter =
      _mm_cmpgt_epi8(_mm_add_epi8(_mm_or_si128(a, bit), _mm_set1_epi8(127 - 'z')), _mm_set1_epi8(127 - 26));
  const text_block wrong = _mm_andnot_si128(_mm_and_si128(letter, bit), _mm_xor_si128(a, b));
  return block_flags(_mm_cmpeq_epi8(wrong, _mm_setzero_si128())) == FLAGS_ALL;
}
inline bool blocks_same(text_block a, text_block b) { return block_flags(_mm_cmpeq_epi8(a, b)) == FLAGS_ALL; }
#else
typedef text_word text_block;
typedef text_word text_flags;
constexpr uint32_t FLAG_STEP = 8;
constexpr text_flags FLAGS_ALL = WORD_HIGHS;

inline text_block block_load(const char* p) { return text_load(p); }
inline text_block block_equal(text_block block, char byte) {
  const text_block difference = block ^ WORD_ONES * static_cast<uint8_t>(byte);
  return ~(((difference & ~WORD_HIGHS) + ~WORD_HIGHS) | difference);
}
inline text_block block_plain(text_block block) { return ((block & ~WORD_HIGHS) + ~WORD_HIGHS) & ~block; }
inline text_block block_without(text_block block, text_block other) { return block & ~other; }

template <int shift = 0>
inline text_flags block_flags(text_block block) {
  return block << shift & WORD_HIGHS;
}

inline uint32_t flags_count(text_flags flags) {
  return static_cast<uint32_t>((flags >> 7) * WORD_ONES >> (8 * sizeof flags - 8));
}
#endif

inline bool blocks_same_nocase(text_word a, text_word b) { return word_tolower(a) == word_tolower(b); }
inline bool blocks_same(text_word a, text_word b) { return a == b; }

constexpr uint32_t BLOCK_BYTES = sizeof(text_block);

// The number of bytes of a block in front of the first flag.
inline uint32_t flags_before(text_flags flags) { return static_cast<uint32_t>(__builtin_ctzll(flags)) / FLAG_STEP; }
// The flags of all bytes from the n-th on; of those in front of it.
inline text_flags flags_from(uint32_t n) { return FLAGS_ALL << n * FLAG_STEP & FLAGS_ALL; }
inline text_flags flags_until(uint32_t n) { return ((text_flags{1} << n * FLAG_STEP) - 1) & FLAGS_ALL; }

inline uint32_t block_offset(const char* p, uint32_t unit) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p) & (unit - 1));
}

// Set in the bytes that are ASCII and neither 0 nor `byte`, which is ASCII.
inline text_block block_plain_without(text_block block, char byte) {
  const bool zero = __builtin_constant_p(byte) && byte == 0;  // no byte at all
  return zero ? block_plain(block) : block_without(block_plain(block), block_equal(block, byte));
}

// As text_scan(), from the i-th byte on, which is below `most` and begins a block.
size_t text_scan_long(const char* s, size_t i, size_t most, char byte);

// The number of bytes of s in front of the first that is 0, isn't ASCII or is `byte`, which is ASCII; at most `most`.
inline size_t text_scan(const char* s, size_t most, char byte = 0) {
  size_t i = 0;
  if (!TEXT_BLOCKS) {
    while (i < most && s[i] != 0 && !text_is_multibyte(s + i) && (byte == 0 || s[i] != byte)) ++i;
    return i;
  }
  if (most == 0) return 0;
  const auto stops_at = [=](const char* p) {
    return ~block_flags(block_plain_without(block_load(p), byte)) & FLAGS_ALL;
  };
  const uint32_t skipped = block_offset(s, BLOCK_BYTES);
  text_flags stops = stops_at(s - skipped) & flags_from(skipped);
  for (i = 0 - static_cast<size_t>(skipped); stops == 0; stops = stops_at(s + i)) {
    i += BLOCK_BYTES;
    if (i >= most) return most;
    if (i >= 4 * BLOCK_BYTES) return text_scan_long(s, i, most, byte);
  }
  return text_min(i + flags_before(stops), most);
}

// strlen, without the call for a short text.
inline size_t text_length(const char* s) {
  if (!TEXT_BLOCKS) return strlen(s);
  const auto ends_at = [](const char* p) { return block_flags(block_equal(block_load(p), 0)); };
  const uint32_t skipped = block_offset(s, BLOCK_BYTES);
  text_flags ends = ends_at(s - skipped) & flags_from(skipped);
  size_t i = 0 - static_cast<size_t>(skipped);
  for (; ends == 0; ends = ends_at(s + i)) {
    i += BLOCK_BYTES;
    if (i >= 4 * BLOCK_BYTES) return i + strlen(s + i);
  }
  return i + flags_before(ends);
}

inline bool text_is_ascii(const char* s) { return s[text_scan(s, SIZE_MAX)] == 0; }

// --- Measuring.

// As text_measure(), behind so many bytes of ASCII.
text_extent text_measure_mixed(const char* s, uint32_t ascii, uint32_t max_bytes, uint32_t max_chars);

// The characters of s up to its terminator, an invalid sequence, max_chars, or the last that ends within max_bytes.
//
// Fast for ASCII, where bytes and characters are counted alike, so that the nearer limit is the limit.
inline text_extent text_measure(const char* s, uint32_t max_bytes, uint32_t max_chars) {
  const size_t most = text_min(max_bytes, max_chars);
  const auto ascii = static_cast<uint32_t>(text_scan(s, most));
  if (ascii == most || s[ascii] == 0) return {ascii, ascii, 0};
  return text_measure_mixed(s, ascii, max_bytes, max_chars);
}
