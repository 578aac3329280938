// The small pattern language for paths: alternatives, "?", "*", "**" and "$".
//
// A walk with a way back, in a loop. Each star remembers how far down its tries have come. Whatever stands in front of it asks it at
// falling positions only, and the rest behind it gives the same answer at the same place, so that no place is tried twice: the
// work is at most text times pattern. What the stars remember lies on the stack, or for long patterns in a block of the memory
// service.
#include <ctype.h>

#include "pask_string.h"
#include "pask_text.h"

namespace {

constexpr int32_t NO_MATCH = -1;
constexpr uint32_t NONE = UINT32_MAX;

struct star {
  uint32_t rest;      // of the pattern, behind the star
  uint32_t bar;       // the first "|" of the rest, where the rest may have one; its end for none
  uint32_t tried;     // the lowest position of the text at which the rest was tried
  uint32_t lowest;    // where the run begins
  uint32_t previous;  // the star to go back to when this one has tried all
};

// A "|" behind an invalid sequence is a byte like others, until a star's rest begins behind that sequence. So alternatives may
// stand inside the last alternative of others, each set in front of the next; only the innermost set is still being chosen from.
struct matcher {
  const char* pattern;
  uint32_t bytes;
  const char* text;
  uint32_t text_bytes;
  const __int32_t* lower;  // of the thread's locale, as pask_string_char_tolower() takes it
  star* stars;             // at half their offset in the pattern: no two begin side by side

  uint32_t element;  // where the walk is in the pattern,
  uint32_t at;       // and in the text
  uint32_t end;      // of the alternative
  uint32_t last;     // the star asked last, or NONE
  uint32_t floor;    // the last star in front of the alternative while others follow, else NONE
  uint32_t start;    // where the alternatives begin in the text
};

bool same(const matcher& m, char a, char b) {
  const auto fold = [&m](char c) { return static_cast<uint8_t>(c) < 255 ? m.lower[static_cast<uint8_t>(c)] : 255; };
  return fold(a) == fold(b);
}

// The first "|" of the pattern from there on, or its end.
uint32_t find_bar(const matcher& m, uint32_t from) {
  const char* const bar = pask_string_strnchr(m.pattern + from, '|', m.bytes - from);
  return bar ? static_cast<uint32_t>(bar - m.pattern) : m.bytes;
}

bool is_last_alternative(const matcher& m) { return m.end == m.bytes; }

void begin_alternative(matcher& m, uint32_t element, uint32_t end) {
  m.element = element;
  m.end = end;
  m.at = m.start;
  m.floor = is_last_alternative(m) ? NONE : m.last;
}

void begin_alternatives(matcher& m, uint32_t element, uint32_t bar, uint32_t at) {
  m.start = at;
  begin_alternative(m, element, bar);
}

// The walk has come to a star. True when nothing is behind it; else the star is ready to be tried.
bool enter_star(matcher& m) {
  const bool all = m.element + 1 < m.end && m.pattern[m.element + 1] == '*';
  const uint32_t rest = m.element + (all ? 2 : 1);
  star& s = m.stars[m.element / 2];
  if (s.rest == 0) {
    s.rest = rest;
    s.bar = is_last_alternative(m) ? find_bar(m, rest) : m.end;
    s.tried = m.text_bytes + 1;
  }
  // A run that the rest was tried behind before goes no further than that.
  const uint32_t known = rest == m.end ? m.text_bytes : s.tried - 1;
  const void* const slash = all || known <= m.at ? nullptr : memchr(m.text + m.at, '/', known - m.at);
  const uint32_t run_end = slash ? static_cast<uint32_t>(static_cast<const char*>(slash) - m.text) : known;
  if (rest == m.end) {
    m.at = run_end;
    return true;
  }
  s.tried = run_end + 1;
  s.lowest = m.at;
  s.previous = m.last;
  m.last = m.element / 2;
  return false;
}

// True when the alternative takes the text up to m.at; false when it doesn't, or where a star has to choose.
bool walk(matcher& m) {
  for (; m.element < m.end; ++m.element, ++m.at) {
    const char element = m.pattern[m.element];
    const char byte = m.text[m.at];
    if (element == '$') return byte == 0;
    if (element == '*') return enter_star(m);
    if (byte == 0 || (element != '?' && !same(m, element, byte))) return false;
  }
  return true;
}

// Goes back to the last choice that is left: a star's next position, or the next alternative. False for none.
bool go_back(matcher& m) {
  for (; m.last != m.floor; m.last = m.stars[m.last].previous) {
    star& s = m.stars[m.last];
    if (s.tried <= s.lowest) continue;
    --s.tried;
    if (is_last_alternative(m)) {
      begin_alternatives(m, s.rest, s.bar, s.tried);
    } else {
      m.element = s.rest;
      m.at = s.tried;
    }
    return true;
  }
  if (is_last_alternative(m)) return false;
  begin_alternative(m, m.end + 1, find_bar(m, m.end + 1));
  return true;
}

int32_t match(matcher& m) {
  m.last = NONE;
  begin_alternatives(m, 0, find_bar(m, 0), 0);
  do {
    if (!walk(m)) continue;
    if (is_last_alternative(m) || m.at > m.start) return static_cast<int32_t>(m.at);
    // An alternative that takes nothing gives way to the next. Its stars have found a place, which they may be asked for again.
    for (; m.last != m.floor; m.last = m.stars[m.last].previous) ++m.stars[m.last].tried;
  } while (go_back(m));
  return NO_MATCH;
}

}  // namespace

int32_t pask_string_match_prefix(const char* pattern, uint32_t pattern_bytes, const char* text) {
  if (!pattern) return 0;
  matcher m = {};
  m.pattern = pattern;
  m.bytes = pask_string_bytenlen_nonull(pattern, pattern_bytes);
  m.text = text ? text : "";
  m.lower = *__ctype_tolower_loc();
  const void* const last_star = memrchr(pattern, '*', m.bytes);
  if (!last_star) return match(m);

  m.text_bytes = static_cast<uint32_t>(strnlen(m.text, INT32_MAX));  // what the result can tell
  const size_t count = static_cast<size_t>(static_cast<const char*>(last_star) - pattern) / 2 + 1;
  star on_stack[128];
  m.stars = on_stack;
  if (count > sizeof on_stack / sizeof *on_stack)
    m.stars = count <= UINT32_MAX / sizeof(star)
                  ? static_cast<star*>(pask_memory_alloc(static_cast<uint32_t>(count * sizeof(star))))
                  : nullptr;
  if (!m.stars) return NO_MATCH;
  memset(m.stars, 0, count * sizeof(star));
  const int32_t taken = match(m);
  if (m.stars != on_stack) pask_memory_free(m.stars);
  return taken;
}
