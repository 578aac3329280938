// Changing text in place: order, margins, case. Long reversals use a block of the memory service.
#include "pask_string.h"
#include "pask_text.h"

// Writes the characters of the `bytes` bytes at `from`, last first, so that they fill the work area. False at an invalid
// lead byte and where the end cuts a character.
static bool reverse_chars(const char* from, size_t bytes, char* work) {
  const char* const end = from + bytes;
  char* to = work + bytes;
  while (from < end) {
    if (!text_is_multibyte(from)) {
      *--to = *from++;
      continue;
    }
    const size_t size = utf8_lead_size(text_byte(from));
    if (size == 0 || size > static_cast<size_t>(end - from)) return false;
    to -= size;
    memcpy(to, from, size);
    from += size;
  }
  return true;
}

char* pask_string_reverse(char* s) {
  const uint32_t bytes = pask_string_bytelen_nonull(s);
  if (bytes == 0) return s;
  char small[256];
  char* const work = bytes < sizeof small ? small : pask_string_strdup(s);
  if (work && reverse_chars(s, bytes, work)) memcpy(s, work, bytes);
  if (work != small) pask_string_free(work);
  return s;
}

static bool is_margin(const char* p) { return text_byte(p) < 33; }

void pask_string_trim(char* s) {
  if (!s) return;
  char* start = s;
  while (*start != 0 && is_margin(start)) ++start;
  char* end = start + strlen(start);
  while (end > start && is_margin(end - 1)) --end;
  const size_t bytes = static_cast<size_t>(end - start);
  if (start != s) memmove(s, start, bytes);
  if (start != s || *end != 0) s[bytes] = 0;
}

template <typename Map>
static char* map_to(const char* src, char* dst, uint32_t n) {
  if (!src || !dst || n == 0) return dst;
  const size_t bytes = strnlen(src, n);
  map_bytes<Map>(src, dst, bytes);
  dst[bytes] = 0;
  return dst;
}

void pask_string_tolower(char* s) {
  if (s) map_bytes<to_lower>(s, s, strlen(s));
}

void pask_string_toupper(char* s) {
  if (s) map_bytes<to_upper>(s, s, strlen(s));
}

char* pask_string_tolower_buf(const char* src, char* dst, uint32_t n) { return map_to<to_lower>(src, dst, n); }
char* pask_string_toupper_buf(const char* src, char* dst, uint32_t n) { return map_to<to_upper>(src, dst, n); }
