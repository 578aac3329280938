// Cleaning and folding of names. One decoder and one table of Latin letters serve both.
#include "model/text.h"

#include <algorithm>
#include <charconv>

namespace velox::catalog {
namespace {

constexpr uint32_t k_invalid = 0xffffffffu;

/** Takes one character off the text; k_invalid, and one byte, where it isn't UTF-8. */
uint32_t take(std::string_view& text) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint32_t lead = byte(0);
  const size_t length = lead < 0x80                   ? 1
                        : lead >= 0xc2 && lead < 0xe0 ? 2
                        : lead >= 0xe0 && lead < 0xf0 ? 3
                        : lead >= 0xf0 && lead < 0xf5 ? 4
                                                      : 0;
  uint32_t code = length < 2 ? lead : lead & (0x7fu >> length);
  bool valid = length != 0 && length <= text.size();
  for (size_t i = 1; valid && i < length; ++i) {
    valid = (byte(i) & 0xc0) == 0x80;
    code = code << 6 | (byte(i) & 0x3fu);
  }
  valid = valid && !(length == 3 && (code < 0x800 || (code >= 0xd800 && code < 0xe000))) &&
          !(length == 4 && (code < 0x10000 || code > 0x10ffff));
  text.remove_prefix(valid ? length : 1);
  return valid ? code : k_invalid;
}

void put(std::string& to, uint32_t code) {
  const auto tail = [&](int shift) { to += static_cast<char>(0x80 | ((code >> shift) & 0x3f)); };
  if (code < 0x80) {
    to += static_cast<char>(code);
  } else if (code < 0x800) {
    to += static_cast<char>(0xc0 | code >> 6);
    tail(0);
  } else if (code < 0x10000) {
    to += static_cast<char>(0xe0 | code >> 12);
    tail(6), tail(0);
  } else {
    to += static_cast<char>(0xf0 | code >> 18);
    tail(12), tail(6), tail(0);
  }
}

bool valid_utf8(std::string_view text) {
  while (!text.empty()) {
    if (take(text) == k_invalid) return false;
  }
  return true;
}

/** Whether a character may do something to a terminal or to the text around it: controls, separators, direction marks. */
bool is_control(uint32_t code) {
  return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0xad || (code >= 0x200b && code <= 0x200f) ||
         (code >= 0x2028 && code <= 0x202e) || (code >= 0x2060 && code <= 0x206f) || code == 0xfeff ||
         (code >= 0xfff9 && code <= 0xfffb) || (code >= 0xe0000 && code <= 0xe0fff);
}

// The base letters of U+00C0 to U+017F; '*' is no letter, '+' one of two letters (see pair_of).
constexpr char k_latin[] =
    "aaaaaa+ceeeeiiiidnooooo*ouuuuy++aaaaaa+ceeeeiiiidnooooo*ouuuuy+y"
    "aaaaaaccccccccddddeeeeeeeeeegggggggghhhhiiiiiiiiii++jjkkklllllllllln"
    "nnnnnnnnoooooo++rrrrrrssssssssttttttuuuuuuuuuuuuwwyyyzzzzzzs";
static_assert(sizeof k_latin - 1 == 0x180 - 0xc0);

const char* pair_of(uint32_t code) {
  switch (code) {
    case 0xc6:
    case 0xe6:
      return "ae";
    case 0xde:
    case 0xfe:
      return "th";
    case 0xdf:
      return "ss";
    case 0x132:
    case 0x133:
      return "ij";
    default:
      return "oe";
  }
}

/** Lower case of the Greek and Cyrillic capitals; the other scripts have none or stay as they are. */
uint32_t lower(uint32_t code) {
  if ((code >= 0x391 && code <= 0x3a9) || (code >= 0x410 && code <= 0x42f)) return code + 32;
  return code >= 0x400 && code <= 0x40f ? code + 80 : code;
}

/** Takes the rest of a terminal's escape sequence off the text, behind its introducer. */
void take_escape(std::string_view& text, bool introduced) {
  const auto drop_while = [&](auto condition) {
    while (!text.empty() && condition(text[0])) text.remove_prefix(1);
  };
  if (!introduced && !text.empty() && text[0] == ']') {  // a title or a link: up to BEL or the next escape
    drop_while([](char c) { return c != '\a' && c != '\x1b'; });
    return;
  }
  if (!introduced && (text.empty() || text[0] != '[')) return;
  if (!introduced) text.remove_prefix(1);
  drop_while([](char c) { return c >= ' ' && c <= '?'; });
  if (!text.empty() && text[0] >= '@' && text[0] <= '~') text.remove_prefix(1);
}

bool is_punctuation(uint32_t code) {
  return (code >= 0xa0 && code < 0xc0) || (code >= 0x2000 && code < 0x2070) || (code >= 0x3000 && code < 0x3004);
}

}  // namespace

std::string clean(std::string_view text, size_t limit) {
  const bool latin1 = !valid_utf8(text);
  std::string result;
  bool space = false;
  while (!text.empty()) {
    uint32_t code;
    if (latin1) {
      code = static_cast<uint8_t>(text[0]);
      text.remove_prefix(1);
    } else {
      code = take(text);
    }
    if (code == 0x1b || code == 0x9b) take_escape(text, code == 0x9b);
    if (code == ' ' || is_control(code)) {
      space = !result.empty();
      continue;
    }
    if (result.size() + 5 > limit) break;
    if (space) result += ' ';
    space = false;
    put(result, code);
  }
  return result;
}

static std::string fold(std::string_view text) {
  std::string result;
  bool space = false;
  const auto letter = [&] {
    if (space && !result.empty()) result += ' ';
    space = false;
  };
  while (!text.empty()) {
    const uint32_t code = take(text);
    if (code < 0x80) {
      const char c = static_cast<char>(code);
      if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
        letter(), result += c;
      } else if (c >= 'A' && c <= 'Z') {
        letter(), result += static_cast<char>(c + 32);
      } else if (c != '\'') {
        space = true;
      }
    } else if (code >= 0xc0 && code < 0x180) {
      const char base = k_latin[code - 0xc0];
      if (base == '*') {
        space = true;
      } else {
        letter();
        base == '+' ? void(result += pair_of(code)) : void(result += base);
      }
    } else if (code == 0x2019) {  // an apostrophe, as the ASCII one
    } else if (code == k_invalid || is_punctuation(code)) {
      space = true;
    } else if (code < 0x300 || code > 0x36f) {  // a combining accent adds nothing
      letter(), put(result, lower(code));
    }
  }
  return result;
}

std::string folded(std::string_view text) {
  std::string result = fold(text);
  return result.empty() ? std::string(text) : result;
}

std::vector<std::string> words(std::string_view text) {
  std::vector<std::string> result;
  const std::string whole = fold(text);
  for (size_t at = 0; at < whole.size();) {
    const size_t end = std::min(whole.find(' ', at), whole.size());
    if (end > at) result.push_back(whole.substr(at, end - at));
    at = end + 1;
  }
  return result;
}

uint64_t hashed(std::string_view text, uint64_t seed) {
  uint64_t hash = 0xcbf29ce484222325u ^ (seed * 0x9e3779b97f4a7c15u);
  for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001b3u;
  hash = (hash ^ hash >> 30) * 0xbf58476d1ce4e5b9u;  // FNV's high bits hardly depend on the last bytes
  hash = (hash ^ hash >> 27) * 0x94d049bb133111ebu;
  return hash ^ hash >> 31;
}

int64_t key(std::string_view text) { return static_cast<int64_t>(hashed(folded(text))); }

std::string hex(uint64_t number, int digits) {
  std::string result(static_cast<size_t>(digits), '0');
  for (size_t i = result.size(); i-- > 0; number >>= 4) result[i] = "0123456789abcdef"[number & 15];
  return result;
}

std::vector<std::string> divided(std::string_view list) {
  std::vector<std::string> result;
  for (size_t at = 0; at <= list.size();) {
    const size_t end = std::min(list.find(';', at), list.size());
    std::string part = clean(list.substr(at, end - at), 100);
    if (!part.empty() && std::find(result.begin(), result.end(), part) == result.end())
      result.push_back(std::move(part));
    at = end + 1;
  }
  return result;
}

bool number(std::string_view text, uint64_t limit, uint64_t* value) {
  uint64_t read = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
  if (error != std::errc() || end != text.data() + text.size() || text.empty() || read > limit) return false;
  *value = read;
  return true;
}

}  // namespace velox::catalog
