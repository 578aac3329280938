// The small pattern language for paths: alternatives, "?", "*", "**" and "$".
#include <ctype.h>

#include "pask_string.h"
#include "pask_text.h"

namespace {

constexpr int32_t NO_MATCH = -1;

// Where a star leaves off. The rest behind a star is tried at falling positions, each at most once, whichever star in
// front of it asks: a position that failed fails again. That keeps the work at pattern times text. Stars beyond the last
// remembered one are tried afresh.
constexpr uint32_t REMEMBERED_STARS = 64;

struct matcher {
  const char* text;
  const __int32_t* lower;  // of the thread's locale, as pask_string_char_tolower() takes it
  bool remember;           // off where a "|" lies behind an invalid sequence: then not every try that fails is final
  uint32_t failed_from[REMEMBERED_STARS];
};

// Begins an alternative.
void forget(matcher& m, const char* pattern, uint32_t bytes) {
  m.remember = !memchr(pattern, '|', bytes);
  memset(m.failed_from, 0xff, sizeof m.failed_from);
}

bool same(const matcher& m, char a, char b) {
  const auto fold = [&m](char c) { return static_cast<uint8_t>(c) < 255 ? m.lower[static_cast<uint8_t>(c)] : 255; };
  return fold(a) == fold(b);
}

int32_t match(matcher& m, const char* pattern, uint32_t bytes, uint32_t at, uint32_t star);

// The rest of the pattern behind a star, at the end of the run, then at each position before it.
int32_t match_star(matcher& m, const char* rest, uint32_t bytes, uint32_t at, uint32_t run, uint32_t star) {
  const bool remembered = m.remember && star < REMEMBERED_STARS;
  uint32_t behind = at + run + 1;
  if (remembered && m.failed_from[star] < behind) behind = m.failed_from[star];
  while (behind-- > at) {
    const int32_t taken = match(m, rest, bytes, behind, star + 1);
    if (taken != NO_MATCH) return taken + static_cast<int32_t>(behind - at);
  }
  if (remembered && at < m.failed_from[star]) m.failed_from[star] = at;
  return NO_MATCH;
}

// One alternative, against the text from `at` on.
int32_t match_plain(matcher& m, const char* pattern, uint32_t bytes, uint32_t at, uint32_t star) {
  const char* const text = m.text + at;
  for (uint32_t i = 0; i < bytes; ++i) {
    const char element = pattern[i];
    if (element == '$') return text[i] == 0 ? static_cast<int32_t>(i) : NO_MATCH;
    if (element == '*') {
      const bool all = i + 1 < bytes && pattern[i + 1] == '*';
      const uint32_t next = i + (all ? 2 : 1);
      const size_t run = all ? strlen(text + i) : static_cast<size_t>(strchrnul(text + i, '/') - (text + i));
      if (next == bytes) return static_cast<int32_t>(i + run);
      const int32_t taken = match_star(m, pattern + next, bytes - next, at + i, static_cast<uint32_t>(run), star);
      return taken == NO_MATCH ? NO_MATCH : taken + static_cast<int32_t>(i);
    }
    if (element == '?' && text[i] != 0) continue;
    if (text[i] == 0 || !same(m, element, text[i])) return NO_MATCH;
  }
  return static_cast<int32_t>(bytes);
}

int32_t match(matcher& m, const char* pattern, uint32_t bytes, uint32_t at, uint32_t star) {
  while (const char* const bar = pask_string_strnchr(pattern, '|', bytes)) {
    const uint32_t front = static_cast<uint32_t>(bar - pattern);
    const int32_t taken = match(m, pattern, front, at, star);
    if (taken > 0) return taken;
    pattern += front + 1;
    bytes -= front + 1;
  }
  if (star == 0) forget(m, pattern, bytes);
  return match_plain(m, pattern, bytes, at, star);
}

}  // namespace

int32_t pask_string_match_prefix(const char* pattern, uint32_t pattern_bytes, const char* text) {
  matcher m;
  m.text = text ? text : "";
  m.lower = *__ctype_tolower_loc();
  return pattern ? match(m, pattern, pask_string_bytenlen_nonull(pattern, pattern_bytes), 0, 0) : 0;
}
