// Lengths and tests of strings, in bytes and in characters.
#include "pask_string.h"
#include "pask_text.h"
#include "pask_text_block.h"

// A count that 32 bits can't tell is the highest one.
static uint32_t told(size_t bytes) { return bytes < UINT32_MAX ? static_cast<uint32_t>(bytes) : UINT32_MAX; }

uint32_t pask_string_bytelen(const char* s) { return s ? told(text_length(s) + 1) : 0; }

uint32_t pask_string_bytenlen(const char* s, uint32_t n) {
  if (!s) return 0;
  const uint32_t bytes = static_cast<uint32_t>(strnlen(s, n));
  return bytes < n ? bytes + 1 : n;
}

uint32_t pask_string_bytelen_nonull(const char* s) { return s ? told(text_length(s)) : 0; }

uint32_t pask_string_bytenlen_nonull(const char* s, uint32_t n) { return s ? static_cast<uint32_t>(strnlen(s, n)) : 0; }

uint32_t pask_string_byteclen(const char* s, uint32_t n) { return s ? text_measure(s, TEXT_NO_LIMIT, n).bytes : 0; }

// An invalid sequence counts as one character.
static uint32_t counted(text_extent extent) { return extent.chars + (extent.invalid ? 1 : 0); }

uint32_t pask_string_charlen(const char* s) { return s ? counted(text_measure(s, TEXT_NO_LIMIT, TEXT_NO_LIMIT)) : 0; }

uint32_t pask_string_charnlen(const char* s, uint32_t maxbytes) {
  return s ? counted(text_measure(s, maxbytes, TEXT_NO_LIMIT)) : 0;
}

uint8_t pask_string_isempty(const char* s) {
  uint32_t c = 0;
  return !s || utf8_decode(s, &c) == 0 || c == 0;
}

uint8_t pask_string_isvalid(const char* s) { return !s || !text_measure(s, TEXT_NO_LIMIT, TEXT_NO_LIMIT).invalid; }
