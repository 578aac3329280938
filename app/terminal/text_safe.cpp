/* Text from strangers: decoding, cleaning and measuring. Widths are those of wcwidth() in a UTF-8 locale (main sets one). */
#include "terminal/text_safe.h"

#include <wchar.h>

#include <algorithm>

namespace app {

namespace {

constexpr char32_t replacement = 0xfffd;
constexpr int most_marks = 4;  // combining marks on one character; scripts in use need three at most

int column_count(char32_t code_point) {
  if (code_point < 0x7f) return 1;
  return code_point == replacement ? 1 : ::wcwidth(static_cast<wchar_t>(code_point));
}

}  // namespace

char32_t next_code_point(std::string_view text, size_t& at) {
  const auto byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char lead = byte(at++);
  if (lead < 0x80) return lead;

  const size_t behind = lead >= 0xf0 ? 3u : lead >= 0xe0 ? 2u : 1u;
  if (lead < 0xc2 || lead > 0xf4 || text.size() - at < behind) return replacement;

  char32_t value = lead & (0x3fu >> behind);
  for (size_t i = 0; i < behind; ++i) {
    if ((byte(at + i) & 0xc0) != 0x80) return replacement;
    value = value << 6 | (byte(at + i) & 0x3fu);
  }
  constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
  if (value < smallest[behind] || value > 0x10ffff || (value >= 0xd800 && value < 0xe000)) return replacement;
  at += behind;
  return value;
}

void append_utf8(std::string& to, char32_t code_point) {
  const auto put = [&](char32_t byte) { to += static_cast<char>(static_cast<unsigned char>(byte)); };
  const auto tail = [&](int shift) { put(0x80 | (code_point >> shift & 0x3f)); };
  if (code_point < 0x80) {
    put(code_point);
  } else if (code_point < 0x800) {
    put(0xc0 | code_point >> 6);
    tail(0);
  } else if (code_point < 0x10000) {
    put(0xe0 | code_point >> 12);
    tail(6);
    tail(0);
  } else {
    put(0xf0 | code_point >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
}

bool acts_on_terminal(char32_t code_point) {
  struct range {
    char32_t first, last;
  };
  constexpr range ranges[] = {
      {0, 0x1f},          {0x7f, 0x9f},                        // controls
      {0x061c, 0x061c},   {0x200e, 0x200f}, {0x2028, 0x202e},  // direction marks, line ends, overrides
      {0x2066, 0x2069},   {0xfeff, 0xfeff}, {0xfff9, 0xfffb},  // isolates, byte order mark, annotations
      {0xe0000, 0xe007f},
  };
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [=](range r) { return code_point >= r.first && code_point <= r.last; });
}

std::string safe(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  int marks = 0;
  for (size_t at = 0; at < text.size();) {
    char32_t code_point = next_code_point(text, at);
    if (code_point == '\t' || code_point == '\n' || code_point == '\r') code_point = ' ';
    if (acts_on_terminal(code_point) || column_count(code_point) < 0) code_point = replacement;

    marks = column_count(code_point) == 0 ? marks + 1 : 0;
    if (marks <= most_marks) append_utf8(result, code_point);
  }
  return result;
}

size_t display_width(std::string_view safe_text) {
  size_t width = 0;
  for (size_t at = 0; at < safe_text.size();)
    width += static_cast<size_t>(std::max(0, column_count(next_code_point(safe_text, at))));
  return width;
}

std::string fit(std::string_view safe_text, size_t columns) {
  if (display_width(safe_text) <= columns) return std::string(safe_text);
  if (columns == 0) return {};

  size_t width = 0, end = 0;
  for (size_t at = 0; at < safe_text.size(); end = at) {
    width += static_cast<size_t>(std::max(0, column_count(next_code_point(safe_text, at))));
    if (width > columns - 1) break;
  }
  return std::string(safe_text.substr(0, end)) + "\u2026";
}

std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return result;
}

}  // namespace app
