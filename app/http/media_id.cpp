/* Identifiers may come with the music and hold anything. */
#include "http/media_id.h"

namespace app::http {

namespace {

constexpr std::string_view digits = "0123456789abcdef";

bool stays(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '_' || c == '.';
}

}  // namespace

std::string as_address(std::string_view identifier) {
  std::string text;
  for (const char c : identifier) {
    const auto byte = static_cast<unsigned char>(c);
    if (stays(c)) {
      text += c;
    } else {
      text += {'~', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return text;
}

std::optional<std::string> from_address(std::string_view text) {
  std::string identifier;
  for (size_t at = 0; at < text.size(); ++at) {
    if (stays(text[at])) {
      identifier += text[at];
      continue;
    }
    if (text[at] != '~' || text.size() - at < 3) return std::nullopt;
    const size_t high = digits.find(text[at + 1]), low = digits.find(text[at + 2]);
    if (high == digits.npos || low == digits.npos) return std::nullopt;
    identifier += static_cast<char>(high << 4 | low);
    at += 2;
  }
  return identifier;
}

}  // namespace app::http
