// Cleaning and folding of names: velox_text.h tells the code points and what they are, a table of Latin letters their bases.
#include "model/text.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "velox_text.h"

namespace velox::catalog {
namespace {

/** Takes one code point off the text; VELOX_TEXT_INVALID, and one byte, where it isn't UTF-8. */
uint32_t take(std::string_view& text) {
  size_t length = 0;
  const uint32_t code = velox_text_decode(text.data(), text.size(), &length);
  text.remove_prefix(length);
  return code;
}

void put(std::string& to, uint32_t code) {
  char bytes[4];
  to.append(bytes, velox_text_encode(code, bytes));
}

bool valid_utf8(std::string_view text) {
  while (!text.empty()) {
    if (take(text) == VELOX_TEXT_INVALID) return false;
  }
  return true;
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

/** What a text is made of: characters, and between two of them a blank or a joiner. */
class clean_text {
 public:
  explicit clean_text(size_t limit) : limit_(limit) {}

  /** False when there is no room left. */
  bool take(uint32_t code) {
    switch (velox_text_class_of(code)) {
      case VELOX_TEXT_SHOWN:
        return take_shown(code);
      case VELOX_TEXT_JOINER:  // of several the first; beside a blank it joins nothing
        if (between_ == 0) between_ = code;
        return true;
      default:
        between_ = ' ';
        return true;
    }
  }
  std::string text() { return std::move(text_); }

 private:
  bool take_shown(uint32_t code) {
    const size_t most = between_ > ' ' ? 7 : 5;  // bytes of what stands between and of a character
    if (text_.size() + most > limit_) return false;
    if (between_ != 0 && !text_.empty()) put(text_, between_);
    between_ = 0;
    put(text_, code);
    return true;
  }

  const size_t limit_;
  std::string text_;
  uint32_t between_ = 0;
};

}  // namespace

std::string clean(std::string_view text, size_t limit) {
  const bool latin1 = !valid_utf8(text);
  clean_text result(limit);
  while (!text.empty()) {
    uint32_t code = static_cast<uint8_t>(text[0]);
    if (latin1)
      text.remove_prefix(1);
    else
      code = take(text);
    if (code == 0x1b || code == 0x9b) take_escape(text, code == 0x9b);
    if (!result.take(code)) break;
  }
  return result.text();
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
    } else if (code == VELOX_TEXT_INVALID || is_punctuation(code)) {
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
