/* Text from strangers, made fit to be shown. A tag can hold control characters, terminal escapes, direction overrides and
 * bytes that are no UTF-8; a file name can too. What safe() gives is one line of valid UTF-8 without any of them. */
#ifndef CADENZ_APP_TEXT_SAFE_H
#define CADENZ_APP_TEXT_SAFE_H

#include "core/text.h"

namespace app {

/** True for what may act on a terminal or on the text around it instead of being shown. */
inline bool acts_on_terminal(char32_t code_point) { return velox_text_class_of(code_point) == VELOX_TEXT_ACTING; }

/** The text as one harmless line: tabs and line ends are blanks, anything harmful is U+FFFD, and a pile of combining marks is
 *  cut. */
std::string safe(std::string_view text);
/** Columns that a text of safe() takes on a terminal. */
size_t display_width(std::string_view safe_text);
/** A text of safe() cut to at most so many columns; the cut is marked with an ellipsis. */
std::string fit(std::string_view safe_text, size_t columns);

}  // namespace app

#endif
