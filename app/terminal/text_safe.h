/* Text from strangers, made fit to be shown. A tag can hold control characters, terminal escapes, direction overrides and
 * bytes that are no UTF-8; a file name can too. What safe() gives is one line of valid UTF-8 without any of them. */
#ifndef CADENZ_APP_TEXT_SAFE_H
#define CADENZ_APP_TEXT_SAFE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace app {

/** Reads the code point at `at` and steps behind it; a byte that begins none is U+FFFD. */
char32_t next_code_point(std::string_view text, size_t& at);
void append_utf8(std::string& to, char32_t code_point);
/** True for what may act on a terminal instead of being shown on it. */
bool acts_on_terminal(char32_t code_point);

/** The text as one harmless line: tabs and line ends are blanks, anything harmful is U+FFFD, and a pile of combining marks is
 *  cut. */
std::string safe(std::string_view text);
/** Columns that a text of safe() takes on a terminal. */
size_t display_width(std::string_view safe_text);
/** A text of safe() cut to at most so many columns; the cut is marked with an ellipsis. */
std::string fit(std::string_view safe_text, size_t columns);
/** ASCII letters in lower case. */
std::string lower(std::string_view text);

}  // namespace app

#endif
