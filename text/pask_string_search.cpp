// Searching in strings: characters, sets of bytes, substrings, tokens.
//
// A search by characters ends at an invalid sequence and also finds overlong forms. libc's searches by bytes give the same
// answer as long as the text in front of the find is valid and in its shortest form: a byte below 0x80 is then a character of its
// own, and the bytes of one character begin no other. Each fast path says below how that is known.
#include <ctype.h>

#include "pask_string.h"
#include "pask_text.h"
#include "pask_text_block.h"
#include "pask_utf8.h"

static char* position(const char* p) { return const_cast<char*>(p); }

// How far mixed texts are measured ahead of the work on them: long enough for libc's vectors, short enough to stay in the
// cache and to waste little when the work ends early.
constexpr size_t MIXED_WINDOW = 1024;

// As find_char(), for text with longer characters. Kept out of the way of short ASCII texts.
//
// Fast for c below 0x80: memchr tells where the window's first such byte is. It can't lie inside a character, and all in front of
// it is still decoded, so that an overlong form of c is found before it and an invalid sequence ends the search before it. Runs of
// ASCII in front of it hold no c, and are stepped over by words.
[[gnu::noinline]] static char* find_char_mixed(const char* s, uint32_t c, size_t max_bytes) {
  const char* const start = s;
  for (;;) {
    const size_t left = max_bytes - static_cast<size_t>(s - start);
    const size_t window = strnlen(s, text_min(MIXED_WINDOW, left));
    if (window == 0) return nullptr;
    const char* const hit = c < 0x80 ? static_cast<const char*>(memchr(s, static_cast<int>(c), window)) : nullptr;
    const char* const stop = hit ? hit : s + window;
    while (s < stop) {
      s += text_ascii_run(s, stop);
      if (s == stop) break;
      uint32_t found = 0;
      if (utf8_lead_size(text_byte(s)) > max_bytes - static_cast<size_t>(s - start)) return nullptr;
      const uint32_t size = utf8_decode(s, &found);
      if (size == 0) return nullptr;
      if (found == c) return position(s);
      s += size;
    }
    if (hit) return position(hit);
  }
}

// The first c of s, which isn't 0, that ends within the first max_bytes bytes.
//
// Fast while the text is ASCII, which the scan sees to: each byte is a character. For c from 0x80 on it only skips, since no ASCII
// byte is such a character.
static char* find_char(const char* s, uint32_t c, size_t max_bytes) {
  const size_t ascii = text_scan(s, max_bytes, c < 0x80 ? static_cast<char>(c) : 0);
  if (ascii == max_bytes || s[ascii] == 0) return nullptr;
  return text_is_multibyte(s + ascii) ? find_char_mixed(s + ascii, c, max_bytes - ascii) : position(s + ascii);
}

char* pask_string_strchr(const char* s, uint32_t c) { return s && c != 0 ? find_char(s, c, SIZE_MAX) : nullptr; }

char* pask_string_strnchr(const char* s, uint32_t c, uint32_t maxbytes) {
  return s && c != 0 ? find_char(s, c, maxbytes) : nullptr;
}

// Fast where the text, up to its end or an invalid sequence, has as many characters as bytes: then all of it is ASCII, and the last
// byte c is the last character c.
char* pask_string_strrchr(const char* s, uint32_t c) {
  if (!s) return nullptr;
  const text_extent text = text_measure(s, TEXT_NO_LIMIT, TEXT_NO_LIMIT);
  if (c < 0x80 && text.bytes == text.chars)
    return position(static_cast<const char*>(memrchr(s, static_cast<int>(c), text.bytes)));
  const char* last = nullptr;
  uint32_t found = 0;
  for (const char* const end = s + text.bytes; s < end;) {
    const char* const start = s;
    s += utf8_decode(s, &found);
    if (found == c) last = start;
  }
  return position(last);
}

// A set of the 256 byte values. libc's unlimited search keeps the same table.
struct byte_set {
  uint8_t has[256] = {};
};

uint32_t pask_string_strcspn(const char* s, const char* reject) {
  return s && reject ? static_cast<uint32_t>(strcspn(s, reject)) : 0;
}

uint32_t pask_string_strcnspn(const char* s, const char* reject, uint32_t n) {
  if (!s || !reject) return 0;
  byte_set stop;
  stop.has[0] = 1;
  for (; *reject != 0; ++reject) stop.has[text_byte(reject)] = 1;
  uint32_t i = 0;
  while (i < n && !stop.has[text_byte(s + i)]) ++i;
  return i;
}

[[gnu::noinline]] static bool is_plain_mixed(const char* p, const char* end) {
  if (!end) end = p + strlen(p);
  while (p < end) {
    if (!text_is_multibyte(p)) {
      p += text_ascii_run(p, end);
      continue;
    }
    const uint32_t size = utf8_sequence_size(p);
    if (size == 0 || utf8_assemble(p, size) < (size == 2 ? 0x80u : 0x800u)) return false;
    p += size;
  }
  return true;
}

// True when the text in front of end, or of the terminator for a null end, is of valid characters in their shortest form.
// No character reaches behind end.
static bool is_plain(const char* p, const char* end) {
  p += text_scan(p, end ? static_cast<size_t>(end - p) : SIZE_MAX);
  return p == end || *p == 0 || is_plain_mixed(p, end);
}

// What a search found: null and nothing behind it, or an occurrence.
struct occurrence {
  const char* at;
  const char* end;
  uint32_t chars;
};

// The search by characters, for a needle of that many characters.
static occurrence search_chars(const char* haystack, const char* needle, uint32_t needle_chars, bool exact) {
  const __int32_t* const lower = *__ctype_tolower_loc();  // as pask_string_char_tolower() takes it
  const auto fold = [=](uint32_t c) { return exact || c > 254 ? c : static_cast<uint32_t>(lower[c]); };
  uint32_t first = 0;
  utf8_decode(needle, &first);
  first = fold(first);
  for (;;) {
    const char* const candidate = haystack;
    uint32_t c = 0;
    const uint32_t size = utf8_decode(haystack, &c);
    if (size == 0 || *haystack == 0) return {};
    haystack += size;
    if (fold(c) != first) continue;
    // Where the first character and what follows it are ASCII in both, the second one is known too: when it differs in any case,
    // the comparison would end there and go on behind the candidate, as this does.
    const uint8_t next = text_byte(haystack), wanted = text_byte(needle + 1);
    if (needle_chars > 1 && (next | wanted) < 0x80 && size == 1 && !text_is_multibyte(needle) &&
        byte_tolower(next) != byte_tolower(wanted))
      continue;
    int32_t difference = 0;
    occurrence found = {candidate, nullptr, 0};
    if (_pask_string_utf8_compare(candidate, needle, needle_chars, exact, &difference, &found.chars, &found.end,
                                  nullptr) != 0)
      return {};
    if (difference == 0) return found;
  }
}

// How long a needle may be to be searched for in lower case, and how much of a haystack is turned at a time.
constexpr size_t FOLDED_NEEDLE = 1024;
constexpr size_t FOLDED_WINDOW = 4 * FOLDED_NEEDLE;

// The search without case for `bytes` bytes of ASCII: libc's, over lower case, as far as the haystack is ASCII. *rest gets
// null where the search is over, else the first position that is left to it. Among ASCII the comparison by characters is one of
// lower-case bytes, so both find the same place; an occurrence that would reach out of the ASCII part is left to the search by
// characters, which begins at the first position that could hold one.
static const char* search_ascii(const char* haystack, const char* needle, size_t bytes, const char** rest) {
  char folded_needle[FOLDED_NEEDLE + 1];
  char folded[FOLDED_WINDOW + 1];
  map_bytes<to_lower>(needle, folded_needle, bytes + 1);
  *rest = nullptr;
  for (size_t window = bytes + 64;; window = FOLDED_WINDOW) {
    const size_t run = text_scan(haystack, window);
    map_bytes<to_lower>(haystack, folded, run);
    folded[run] = 0;
    if (const char* const at = strstr(folded, folded_needle)) return haystack + (at - folded);
    if (run < window && haystack[run] == 0) return nullptr;
    if (run >= bytes) haystack += run - bytes + 1;
    if (run == window) continue;
    *rest = haystack;
    return nullptr;
  }
}

// True when a search for the needle may turn its first character to lower case as it does the others: when the locale agrees.
static bool first_folds(char first) {
  const uint32_t c = static_cast<uint8_t>(first);
  return !pask_string_isalpha(c) || pask_string_char_tolower(c) == pask_string_char_tolower(c ^ 0x20);
}

// The search without case, and the exact one where libc's doesn't serve.
[[gnu::noinline]] static occurrence search_folded(const char* haystack, const char* needle, text_extent extent,
                                                  bool exact) {
  const bool ascii = !extent.invalid && extent.bytes == extent.chars;
  if (!exact && ascii && extent.bytes <= FOLDED_NEEDLE && first_folds(*needle)) {
    const char* const at = search_ascii(haystack, needle, extent.bytes, &haystack);
    if (at) return {at, at + extent.bytes, extent.bytes};
    if (!haystack) return {};
  }
  return search_chars(haystack, needle, extent.chars + (extent.invalid ? 1 : 0), exact);
}

// Fast for an exact search with a plain needle: strstr's answer holds when the haystack is plain as far as it was passed over,
// for an equal run of bytes then is an equal run of characters. Else the search by characters starts anew.
static occurrence search(const char* haystack, const char* needle, bool exact) {
  const size_t run = text_scan(needle, TEXT_NO_LIMIT);
  text_extent extent = {static_cast<uint32_t>(run), static_cast<uint32_t>(run), 0};
  const bool ascii = needle[run] == 0;
  if (!ascii) extent = text_measure(needle, TEXT_NO_LIMIT, TEXT_NO_LIMIT);
  if (exact && (ascii || (!extent.invalid && is_plain_mixed(needle, nullptr)))) {
    const char* const at = strstr(haystack, needle);
    if (is_plain(haystack, at)) return at ? occurrence{at, at + extent.bytes, extent.chars} : occurrence{};
  }
  return search_folded(haystack, needle, extent, exact);
}

char* _pask_string_substring(const char* haystack, const char* needle, const char** end, uint32_t* chars,
                             uint32_t exact) {
  if (end) *end = nullptr;
  if (chars) *chars = 0;
  if (!haystack || !needle) return nullptr;
  if (text_is_multibyte(needle) ? pask_string_isempty(needle) : *needle == 0) return position(haystack);
  const occurrence found = search(haystack, needle, exact != 0);
  if (end) *end = found.end;
  if (chars) *chars = found.chars;
  return position(found.at);
}

char* pask_string_strstr(const char* haystack, const char* needle) {
  return _pask_string_substring(haystack, needle, nullptr, nullptr, 1);
}

char* pask_string_strrstr(const char* haystack, const char* needle) {
  const char* end = nullptr;
  _pask_string_substring(haystack, needle, &end, nullptr, 1);
  return position(end);
}

char* pask_string_substring(const char* haystack, const char* needle, const char** end, uint32_t* chars) {
  return _pask_string_substring(haystack, needle, end, chars, 1);
}

char* pask_string_subistring(const char* haystack, const char* needle, const char** end, uint32_t* chars) {
  return _pask_string_substring(haystack, needle, end, chars, 0);
}

// The characters of a text, up to an invalid sequence, that a single byte can be equal to.
static byte_set char_set(const char* text) {
  byte_set set;
  for (uint32_t c = 0; text && *text != 0;) {
    const uint32_t size = utf8_decode(text, &c);
    if (size == 0) break;
    if (c < 256) set.has[c] = 1;
    text += size;
  }
  set.has[0] = 0;
  return set;
}

char* pask_string_strtok(char* s, const char* delimiters, char** save, uint8_t* found) {
  if (!s && (!save || !*save)) return nullptr;
  char* start = s ? s : *save;
  const byte_set delimiter = char_set(delimiters);
  while (*start != 0 && delimiter.has[text_byte(start)]) ++start;
  char* end = start;
  while (*end != 0 && !delimiter.has[text_byte(end)]) ++end;
  if (found) *found = text_byte(end);
  if (save) *save = *start == 0 ? nullptr : *end == 0 ? end : end + 1;
  if (*start == 0) return nullptr;
  *end = 0;
  return start;
}
