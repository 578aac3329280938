/* Code points of UTF-8 in the texts of strangers, as velox_text.h reads them. */
#ifndef CADENZ_APP_TEXT_H
#define CADENZ_APP_TEXT_H

#include <velox/velox_text.h>

#include <string>
#include <string_view>

namespace app {

inline constexpr char32_t replacement = 0xfffd;

/** Reads the code point at `at` and steps behind it; a byte that begins none is the replacement. */
inline char32_t next_code_point(std::string_view text, size_t& at) {
  size_t length = 0;
  const uint32_t code = velox_text_decode(text.data() + at, text.size() - at, &length);
  at += length;
  return code == VELOX_TEXT_INVALID ? replacement : code;
}

inline void append_utf8(std::string& to, char32_t code_point) {
  char bytes[4];
  to.append(bytes, velox_text_encode(code_point, bytes));
}

/** ASCII letters in lower case. */
inline std::string lower(std::string_view text) {
  std::string result(text);
  for (char& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return result;
}

}  // namespace app

#endif
