// Copying, joining and duplicating strings. Copies keep characters whole; duplicates come from the memory service.
#include "pask_string.h"
#include "pask_text.h"
#include "pask_utf8.h"

char* pask_string_strcpy(char* dst, uint32_t size, const char* src) {
  return pask_string_strncpy(dst, size, src, TEXT_NO_LIMIT);
}

char* pask_string_strncpy(char* dst, uint32_t size, const char* src, uint32_t n) {
  if (dst && src && size != 0) _pask_string_utf8_copy(dst, size, src, n);
  return dst;
}

char* pask_string_strcat(char* dst, uint32_t size, const char* src) {
  return pask_string_strncat(dst, size, src, TEXT_NO_LIMIT);
}

char* pask_string_strncat(char* dst, uint32_t size, const char* src, uint32_t n) {
  if (!dst || !src) return dst;
  const uint32_t used = static_cast<uint32_t>(strnlen(dst, size));
  if (used < size) _pask_string_utf8_copy(dst + used, size - used, src, n);
  return dst;
}

// A block for a text of that many bytes and its terminator; null when memory is refused, as for what no size can tell.
static char* text_alloc(size_t bytes) {
  return bytes < UINT32_MAX ? static_cast<char*>(pask_memory_alloc(static_cast<uint32_t>(bytes) + 1)) : nullptr;
}

// A new string of the first `bytes` bytes of s.
static char* duplicate_bytes(const char* s, size_t bytes) {
  char* const copy = text_alloc(bytes);
  if (!copy) return nullptr;
  memcpy(copy, s, bytes);
  copy[bytes] = 0;
  return copy;
}

char* pask_string_strdup(const char* s) { return s ? duplicate_bytes(s, strlen(s)) : nullptr; }

char* pask_string_strndup(const char* s, uint32_t n) {
  if (!s) return nullptr;
  size_t most = 0;
  if (__builtin_mul_overflow(n, 4u, &most)) most = SIZE_MAX;
  const size_t bytes = text_min(strnlen(s, most) + 1, most);
  char* const copy = text_alloc(bytes);
  if (copy) _pask_string_utf8_copy(copy, static_cast<uint32_t>(bytes) + 1, s, n);
  return copy;
}

char* pask_string_strdupn(const char* s, uint32_t size, uint8_t fill) {
  if (!s || size == 0) return nullptr;
  char* const copy = static_cast<char*>(pask_memory_alloc(size));
  if (!copy) return nullptr;
  const size_t bytes = strnlen(s, size - 1);
  memcpy(copy, s, bytes);
  memset(copy + bytes, fill, size - 1 - bytes);
  copy[size - 1] = 0;
  return copy;
}

char* pask_string_worddup(const char* s) {
  if (!s) return nullptr;
  uint32_t c = 0;
  uint32_t size = utf8_decode(s, &c);
  for (; size != 0 && c >= 1 && c <= 32; size = utf8_decode(s, &c)) s += size;
  const char* end = s;
  for (; size != 0 && c > 32; size = utf8_decode(end, &c)) end += size;
  return end > s ? duplicate_bytes(s, static_cast<size_t>(end - s)) : nullptr;
}

// The duplicators with an out-parameter don't tell why there is no result.
static uint32_t given(char* copy, char** out) {
  if (!copy) return STRING_ERR_NO_MEMORY;
  *out = copy;
  return 0;
}

uint32_t pask_string_strdup2(const char* s, char** out) { return given(pask_string_strdup(s), out); }
uint32_t pask_string_strndup2(const char* s, uint32_t n, char** out) { return given(pask_string_strndup(s, n), out); }
uint32_t pask_string_strdupn2(const char* s, uint32_t size, uint8_t fill, char** out) {
  return given(pask_string_strdupn(s, size, fill), out);
}
uint32_t pask_string_worddup2(const char* s, char** out) { return given(pask_string_worddup(s), out); }

void pask_string_free(char* s) { pask_memory_free(s); }
