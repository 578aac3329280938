// Text against what would be picked instead: libc and the standard library, ICU and GLib where they are installed.
#include <strings.h>
#include <velox/pask_number.h>
#include <velox/pask_string.h>
#include <velox/pask_utf8.h>

#include "against.h"
#if __has_include(<unicode/ustring.h>)
#include <unicode/ustring.h>
#endif
#if __has_include(<glib.h>)
#include <glib.h>
#endif

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

/* ---- Short texts and long ones, by single operations --------------------------------------------------------------- */

// Text of about `size` bytes; one character in `every` is of two bytes, none for 0.
std::string text_of(size_t size, size_t every) {
  std::string s;
  for (size_t i = 1; s.size() < size; ++i)
    s += every != 0 && i % every == 0 ? std::string("\xc3\xa9") : std::string(1, static_cast<char>('a' + i % 25));
  return s;
}

struct texts {
  char* s;
  const char* same;   // as s
  const char* upper;  // in upper case
  char* out;          // room for more
};

template <size_t Every, typename Run>
void over_text(benchmark::State& state, Run run) {
  std::string s = text_of(static_cast<size_t>(state.range(0)), Every);
  const std::string same = s;
  std::string upper = s, out(s.size() + 100, 0);
  for (char& c : upper) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
  const texts t = {s.data(), same.c_str(), upper.c_str(), out.data()};
  for (auto _ : state) {
    benchmark::DoNotOptimize(t.s);
    benchmark::DoNotOptimize(run(t));
    benchmark::ClobberMemory();
  }
}

// `every` is that of text_of().
#define OVER_TEXT(every, name, expression)                                                        \
  WORKLOAD(name,                                                                                  \
           [](benchmark::State& state) {                                                          \
             over_text<every>(state, []([[maybe_unused]] const texts& t) { return expression; }); \
           })                                                                                     \
      ->ArgName("bytes")                                                                          \
      ->Arg(24)                                                                                   \
      ->Arg(36)                                                                                   \
      ->Arg(1000)
#define ASCII(name, expression) OVER_TEXT(0, name, expression)
#define MIXED(name, expression) OVER_TEXT(10, name, expression)

constexpr uint32_t ROOM = 1100;  // enough for what `out` gets

ASCII("equal, exact|ours", pask_string_equal(t.s, t.same, 0));
ASCII("equal, exact|strcmp", strcmp(t.s, t.same));
ASCII("equal, any case|ours", pask_string_equal(t.s, t.upper, 1));
ASCII("equal, any case|strcasecmp", strcasecmp(t.s, t.upper));
ASCII("stricmp|ours", pask_string_stricmp(t.s, t.upper));
ASCII("stricmp|strcasecmp", strcasecmp(t.s, t.upper));
ASCII("bytelen|ours", pask_string_bytelen(t.s));
ASCII("bytelen|strlen", strlen(t.s));
ASCII("copy, ASCII|ours", pask_string_strcpy(t.out, ROOM, t.s));
ASCII("copy, ASCII|stpncpy", stpncpy(t.out, t.s, strlen(t.s) + 1));
MIXED("copy, one in ten beyond ASCII|ours", pask_string_strcpy(t.out, ROOM, t.s));
MIXED("copy, one in ten beyond ASCII|stpncpy", stpncpy(t.out, t.s, strlen(t.s) + 1));
ASCII("look for a byte that is absent|ours", pask_string_strchr(t.s, 'z'));
ASCII("look for a byte that is absent|strchr", strchr(t.s, 'z'));
ASCII("look for a text that is absent|ours", pask_string_strstr(t.s, "abd"));
ASCII("look for a text that is absent|strstr", strstr(t.s, "abd"));
ASCII("look for a text that is absent, any case|ours", pask_string_subistring(t.s, "ABD", nullptr, nullptr));
ASCII("look for a text that is absent, any case|strcasestr", strcasestr(t.s, "ABD"));
ASCII("strcspn|ours", pask_string_strcspn(t.s, "/:"));
ASCII("strcspn|strcspn", strcspn(t.s, "/:"));
ASCII("charlen, ASCII|ours", pask_string_charlen(t.s));
MIXED("charlen, one in ten beyond ASCII|ours", pask_string_charlen(t.s));
#if __has_include(<unicode/ustring.h>)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // the macro's own
// What ICU needs to validate and count the characters of UTF-8 text.
int32_t icu_count(const char* s) {
  const auto bytes = static_cast<int32_t>(strlen(s));
  int32_t count = 0;
  for (int32_t i = 0; i < bytes; ++count) {
    UChar32 c;
    U8_NEXT(s, i, bytes, c);
    if (c < 0) break;
  }
  return count;
}
#pragma GCC diagnostic pop
ASCII("charlen, ASCII|U8_NEXT", icu_count(t.s));
MIXED("charlen, one in ten beyond ASCII|U8_NEXT", icu_count(t.s));
#endif

/* ---- Whole texts --------------------------------------------------------------------------------------------------- */

// A megabyte of one kind of text. Conversions write to `bytes` or `units`; those from UCS-2 find the text in `units`.
struct long_text {
  explicit long_text(const char* piece) {
    while (text.size() < 1 << 20) text += piece;
    bytes.resize(text.size() + 1);
    units.resize(text.size() + 1);
    pask_string_utf8_to_ucs2_buf(text.data(), size(), units.data(), &units_size, 0);
  }
  uint32_t size() const { return static_cast<uint32_t>(text.size()); }

  std::string text, bytes;
  std::vector<uint16_t> units;
  uint32_t units_size = 0;
};

template <typename Run>
void over_long_text(benchmark::State& state, const char* piece, Run run) {
  long_text text(piece);
  for (auto _ : state) {
    benchmark::DoNotOptimize(run(text));
    benchmark::ClobberMemory();
  }
}

const char SENTENCE[] = "The quick brown fox jumps over ";
const char LATIN[] = "Voil\303\240 l'\303\251t\303\251 \303\240 No\303\253l, d\303\251j\303\240 ";
const char CJK[] = "\344\270\255\346\226\207\346\255\214\346\233\262";

#define LONG_TEXT(what, who, ...)                                                                               \
  WORKLOAD(what ", 1 MB of ASCII|" who,                                                                         \
           [](benchmark::State& s) { over_long_text(s, SENTENCE, [](long_text& t) { return __VA_ARGS__; }); }); \
  WORKLOAD(what ", 1 MB of Latin|" who,                                                                         \
           [](benchmark::State& s) { over_long_text(s, LATIN, [](long_text& t) { return __VA_ARGS__; }); });    \
  WORKLOAD(what ", 1 MB of CJK|" who,                                                                           \
           [](benchmark::State& s) { over_long_text(s, CJK, [](long_text& t) { return __VA_ARGS__; }); })

uint32_t to_ucs2(long_text& t) {
  uint32_t size = 0;
  pask_string_utf8_to_ucs2_buf(t.text.data(), t.size(), t.units.data(), &size, 0);
  return size;
}
uint32_t from_ucs2(long_text& t) {
  auto size = static_cast<uint32_t>(t.bytes.size());
  pask_string_ucs2_to_utf8_buf(t.units.data(), t.units_size, t.bytes.data(), &size, 0);
  return size;
}
LONG_TEXT("UTF-8 to UCS-2", "ours", to_ucs2(t));
LONG_TEXT("UCS-2 to UTF-8", "ours", from_ucs2(t));
#if __has_include(<unicode/ustring.h>)
int32_t icu_to_ucs2(long_text& t) {
  UErrorCode error = U_ZERO_ERROR;
  int32_t size = 0;
  u_strFromUTF8(reinterpret_cast<UChar*>(t.units.data()), static_cast<int32_t>(t.units.size()), &size, t.text.data(),
                static_cast<int32_t>(t.text.size()), &error);
  return size;
}
int32_t icu_from_ucs2(long_text& t) {
  UErrorCode error = U_ZERO_ERROR;
  int32_t size = 0;
  u_strToUTF8(t.bytes.data(), static_cast<int32_t>(t.bytes.size()), &size,
              reinterpret_cast<const UChar*>(t.units.data()), static_cast<int32_t>(t.units_size / 2), &error);
  return size;
}
LONG_TEXT("UTF-8 to UCS-2", "ICU", icu_to_ucs2(t));
LONG_TEXT("UCS-2 to UTF-8", "ICU", icu_from_ucs2(t));
#endif
LONG_TEXT("charlen", "ours", pask_string_charlen(t.text.data()));
LONG_TEXT("isvalid", "ours", pask_string_isvalid(t.text.data()));
#if __has_include(<glib.h>)
LONG_TEXT("charlen", "g_utf8_strlen", g_utf8_strlen(t.text.data(), -1));
LONG_TEXT("isvalid", "g_utf8_validate", g_utf8_validate(t.text.data(), -1, nullptr));
#endif

/* ---- Numbers ------------------------------------------------------------------------------------------------------- */

char s_digits[32];

template <typename Run>
void over_numbers(benchmark::State& state, Run run) {
  uint64_t value = 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(run(value % 1000000));
    value = value * 6364136223846793005u + 1442695040888963407u;
  }
}
WORKLOAD("u64toa|ours", [](benchmark::State& state) {
  over_numbers(state, [](uint64_t v) { return pask_string_u64toa(v, s_digits, 21); });
});
WORKLOAD("u64toa|std::to_chars", [](benchmark::State& state) {
  over_numbers(state, [](uint64_t v) { return std::to_chars(s_digits, s_digits + 21, v).ptr; });
});
WORKLOAD("u64toa|snprintf", [](benchmark::State& state) {
  over_numbers(state, [](uint64_t v) { return snprintf(s_digits, 21, "%llu", static_cast<unsigned long long>(v)); });
});

// Each word in turn.
template <typename Run>
void over_words(benchmark::State& state, const std::vector<std::string>& words, Run run) {
  size_t next = 0;
  for (auto _ : state) {
    const std::string& word = words[next];
    next = next + 1 < words.size() ? next + 1 : 0;
    benchmark::DoNotOptimize(run(word));
  }
}

double from_chars(const std::string& word) {
  double value = 0;
  std::from_chars(word.data(), word.data() + word.size(), value);
  return value;
}

// Seventeen digits, and exponents from -120 to 120.
std::vector<std::string> steep_numbers() {
  std::vector<std::string> words;
  for (int exponent = -120; exponent <= 120; exponent += 8)
    words.push_back("2.7182818284590452e" + std::to_string(exponent));
  return words;
}

#define OVER_WORDS(name, words, expression)                                       \
  WORKLOAD(name, [](benchmark::State& state) {                                    \
    over_words(state, words, [](const std::string& word) { return expression; }); \
  })
OVER_WORDS("atou32|ours", {"12345"}, pask_string_atou32(word.c_str()));
OVER_WORDS("atou32|strtoul", {"12345"}, strtoul(word.c_str(), nullptr, 10));
OVER_WORDS("atof64|ours", {"3.14159"}, pask_string_atof64(word.c_str()));
OVER_WORDS("atof64|strtod", {"3.14159"}, strtod(word.c_str(), nullptr));
OVER_WORDS("atof64|std::from_chars", {"3.14159"}, from_chars(word));
OVER_WORDS("atof64, exponents to 120|ours", steep_numbers(), pask_string_atof64(word.c_str()));
OVER_WORDS("atof64, exponents to 120|strtod", steep_numbers(), strtod(word.c_str(), nullptr));
OVER_WORDS("atof64, exponents to 120|std::from_chars", steep_numbers(), from_chars(word));

}  // namespace

BENCHMARK_MAIN();
