// Measuring text: how many bytes and characters there are up to its end, a limit or an invalid sequence.
//
// Four gaits, each for what the one before leaves: ASCII by blocks, other text by blocks while its end isn't known, by strides once
// it is, and one character at a time. Short texts meet the first two only.
#include "pask_text.h"
#include "pask_text_block.h"

// Four blocks at a time where all of them lie in the page of the first.
size_t text_scan_long(const char* s, size_t i, size_t most, char byte) {
  constexpr uint32_t GROUP = 4 * BLOCK_BYTES;
  const auto plain = [=](size_t at) { return block_plain_without(block_load(s + at), byte); };
  const auto plain_group = [=](size_t at) {
    const text_block front = plain(at) & plain(at + BLOCK_BYTES);
    return front & plain(at + 2 * BLOCK_BYTES) & plain(at + 3 * BLOCK_BYTES);
  };
  for (; i < most; i += BLOCK_BYTES) {
    if (block_offset(s + i, GROUP) == 0)
      while (i < most && block_flags(plain_group(i)) == FLAGS_ALL) i += GROUP;
    if (i >= most) break;
    if (const text_flags stops = ~block_flags(plain(i)) & FLAGS_ALL) return text_min(i + flags_before(stops), most);
  }
  return most;
}

// Goes on one character at a time: the end of every measurement that meets a limit or an invalid sequence.
static text_extent measure_chars(const char* s, text_extent done, uint32_t max_bytes, uint32_t max_chars) {
  while (done.bytes < max_bytes && done.chars < max_chars && s[done.bytes] != 0) {
    const char* const p = s + done.bytes;
    const uint32_t left = max_bytes - done.bytes;
    const uint32_t size = text_is_multibyte(p) ? utf8_lead_size(text_byte(p)) : 1;
    uint32_t valid = 1;
    while (valid < size && valid < left && utf8_is_continuation(p + valid)) ++valid;
    done.invalid = size == 0 || (valid < size && valid < left);
    if (valid != size) break;
    done.bytes += size;
    ++done.chars;
  }
  return done;
}

// Takes whole blocks while they are valid. The upper bits of a byte make four flags, and these tell all: where lead bytes are,
// where they want continuation bytes, and where such are. Begins behind `done`, at a character.
//
// A block counts only when continuation bytes stand exactly where they are wanted, no lead byte wants four, and neither limit lies
// in it: then its characters are those that measure_chars() would step over, the last one perhaps reaching into the next block.
// What a block that doesn't count has to say, and whether it ends a character that the last one left open, is left to
// measure_chars(), which begins again at that character.
[[gnu::always_inline]] static inline text_extent measure_blocks(const char* s, text_extent done, uint32_t max_bytes,
                                                                uint32_t max_chars) {
  text_flags cut = 0;  // wanted from this block by a character of the last one
  while (TEXT_BLOCKS && done.bytes < max_bytes && done.chars < max_chars) {
    const char* const p = s + done.bytes;
    const uint32_t skipped = block_offset(p, BLOCK_BYTES);
    const text_block block = block_load(p - skipped);
    const text_flags zeros = block_flags(block_equal(block, 0)) & flags_from(skipped);
    const uint32_t end = zeros != 0 ? flags_before(zeros) : BLOCK_BYTES;
    const text_flags inside = flags_from(skipped) & (zeros != 0 ? flags_until(end) : FLAGS_ALL);
    const text_flags high = block_flags(block) & inside;
    const text_flags lead = high & block_flags<1>(block);
    const text_flags lead_of_3 = lead & block_flags<2>(block);
    const text_flags wanted = cut | ((lead << FLAG_STEP | lead_of_3 << 2 * FLAG_STEP) & FLAGS_ALL);
    const uint32_t bytes = end - skipped;
    const uint32_t chars = flags_count(inside & ~wanted);
    if (wanted != (high & ~lead) || (lead_of_3 & block_flags<3>(block)) != 0) break;
    if (bytes > max_bytes - done.bytes || chars >= max_chars - done.chars) break;
    done.bytes += bytes;
    done.chars += chars;
    if (zeros != 0) return done;
    cut = lead >> (BLOCK_BYTES - 1) * FLAG_STEP | lead_of_3 >> (BLOCK_BYTES - 2) * FLAG_STEP;
  }
  if (cut != 0) {
    --done.chars;
    while (utf8_is_continuation(s + --done.bytes)) {
    }
  }
  return measure_chars(s, done, max_bytes, max_chars);
}

// A stride is longer than a block and needs no flags: that it is valid is told by arithmetic on each byte and the two in front of
// it, in a loop of a fixed length. It pays where the compiler makes vectors of that.
#if defined(__SSE2__) || defined(__ARM_NEON)
constexpr bool STRIDES = true;
#else
constexpr bool STRIDES = false;
#endif
constexpr uint32_t STRIDE = 64;

// Whether continuation bytes stand exactly where lead bytes in the stride or in front of it want them; then *chars gets the number
// of characters that begin in it.
static bool is_valid_stride(const char* p, uint32_t* chars) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(p);
  uint8_t wrong = 0;
  uint8_t begun = 0;
  for (int i = 0; i < static_cast<int>(STRIDE); ++i) {
    const uint8_t wanted = (bytes[i - 1] >= 0xc0) | (bytes[i - 2] >= 0xe0);
    const uint8_t begins = (bytes[i] & 0xc0) != 0x80;
    wrong |= static_cast<uint8_t>(wanted == begins) | static_cast<uint8_t>(bytes[i] >= 0xf0);
    begun = static_cast<uint8_t>(begun + begins);
  }
  *chars = begun;
  return wrong == 0;
}

// Takes the whole strides of the next `ahead` bytes while they are valid. Begins behind `done`, at a character and not at the first.
static text_extent measure_strides(const char* s, text_extent done, size_t ahead) {
  const uint32_t start = done.bytes;
  uint32_t chars = 0;
  for (; ahead >= STRIDE && is_valid_stride(s + done.bytes, &chars); ahead -= STRIDE) {
    done.bytes += STRIDE;
    done.chars += chars;
  }
  // A character that the last stride left open is left to what follows.
  const uint32_t open = done.bytes == start                     ? 0
                        : text_byte(s + done.bytes - 1) >= 0xc0 ? 1
                        : text_byte(s + done.bytes - 2) >= 0xe0 ? 2
                                                                : 0;
  done.bytes -= open;
  done.chars -= open != 0;
  return done;
}

// How far a text is looked at by blocks before its end is looked for, and how far ahead that is.
constexpr uint32_t HEAD = 64;
constexpr uint32_t WINDOW = 4096;

[[gnu::noinline]] static text_extent measure_long(const char* s, text_extent done, uint32_t max_bytes,
                                                  uint32_t max_chars) {
  for (uint32_t start = done.bytes - 1; start != done.bytes;) {
    start = done.bytes;
    const size_t window = text_min(WINDOW, text_min(max_bytes - done.bytes, max_chars - done.chars));
    done = measure_strides(s, done, strnlen(s + done.bytes, window));
  }
  return measure_blocks(s, done, max_bytes, max_chars);
}

text_extent text_measure_mixed(const char* s, uint32_t ascii, uint32_t max_bytes, uint32_t max_chars) {
  const uint32_t head = STRIDES && max_bytes - ascii > HEAD ? ascii + HEAD : max_bytes;
  const text_extent done = measure_blocks(s, {ascii, ascii, 0}, head, max_chars);
  const bool ends = head == max_bytes || head - done.bytes > 2;  // a character may reach out of the head
  return ends ? done : measure_long(s, done, max_bytes, max_chars);
}
