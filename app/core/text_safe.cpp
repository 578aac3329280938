/* Text from strangers: cleaning and measuring. Widths are those of wcwidth() in a UTF-8 locale (main sets one). */
#include "core/text_safe.h"

#include <wchar.h>

#include <algorithm>

namespace app {

namespace {

constexpr int most_marks = 4;  // combining marks on one character; scripts in use need three at most

int column_count(char32_t code_point) {
  if (code_point < 0x7f) return 1;
  return code_point == replacement ? 1 : ::wcwidth(static_cast<wchar_t>(code_point));
}

}  // namespace

std::string safe(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  int marks = 0;
  for (size_t at = 0; at < text.size();) {
    char32_t code_point = next_code_point(text, at);
    if (velox_text_class_of(code_point) == VELOX_TEXT_BLANK) code_point = ' ';
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

}  // namespace app
