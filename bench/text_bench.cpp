// Text against what would be picked instead: libc, and ICU and GLib where they are installed.
#include <benchmark/benchmark.h>
#include <strings.h>
#include <velox/pask_number.h>
#include <velox/pask_string.h>
#include <velox/pask_utf8.h>
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

// Text of about `size` bytes; one character in `every` is of two bytes, none for 0.
std::string text_of(size_t size, size_t every) {
  std::string s;
  for (size_t i = 1; s.size() < size; ++i)
    s += every != 0 && i % every == 0 ? std::string("\xc3\xa9") : std::string(1, static_cast<char>('a' + i % 25));
  return s;
}

// One pass over a text; the argument is its size.
template <size_t Every, typename Run>
void over_text(benchmark::State& state, Run run) {
  std::string s = text_of(static_cast<size_t>(state.range(0)), Every);
  std::string other = s;
  for (char& c : other) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
  for (auto _ : state) {
    benchmark::DoNotOptimize(s.data());
    benchmark::DoNotOptimize(run(s.data(), other.data()));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(s.size()));
}

#define TEXT_BENCH(name, every, expression)                                                                 \
  void name(benchmark::State& state) {                                                                      \
    over_text<every>(state, []([[maybe_unused]] char* s, [[maybe_unused]] char* t) { return expression; }); \
  }                                                                                                         \
  BENCHMARK(name)->Arg(24)->Arg(1000)->Arg(50000)

char s_out[60000];

TEXT_BENCH(equal_nocase, 0, pask_string_equal(s, t, 1));
TEXT_BENCH(stricmp, 0, pask_string_stricmp(s, t));
TEXT_BENCH(libc_strcasecmp, 0, strcasecmp(s, t));
TEXT_BENCH(charlen_ascii, 0, pask_string_charlen(s));
TEXT_BENCH(charlen_mixed, 10, pask_string_charlen(s));
TEXT_BENCH(isvalid_mixed, 10, pask_string_isvalid(s));
TEXT_BENCH(charlen_dense, 1, pask_string_charlen(s));
TEXT_BENCH(libc_strlen, 0, strlen(s));
#if __has_include(<unicode/ustring.h>)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // the macro's own
// What ICU needs to validate and count the characters of UTF-8 text.
int32_t icu_count(const char* s, int32_t bytes) {
  int32_t count = 0;
  for (int32_t i = 0; i < bytes; ++count) {
    UChar32 c;
    U8_NEXT(s, i, bytes, c);
    if (c < 0) break;
  }
  return count;
}
#pragma GCC diagnostic pop
TEXT_BENCH(icu_count_ascii, 0, icu_count(s, static_cast<int32_t>(strlen(s))));
TEXT_BENCH(icu_count_mixed, 10, icu_count(s, static_cast<int32_t>(strlen(s))));
TEXT_BENCH(icu_count_dense, 1, icu_count(s, static_cast<int32_t>(strlen(s))));
#endif
TEXT_BENCH(bytelen, 0, pask_string_bytelen(s));
TEXT_BENCH(copy_ascii, 0, pask_string_strcpy(s_out, sizeof s_out, s));
TEXT_BENCH(copy_mixed, 10, pask_string_strcpy(s_out, sizeof s_out, s));
TEXT_BENCH(libc_strncpy, 0, stpncpy(s_out, s, strlen(s) + 1));
TEXT_BENCH(libc_memcpy, 0, memcpy(s_out, s, strlen(s) + 1));
TEXT_BENCH(strchr_absent, 0, pask_string_strchr(s, 'z'));
TEXT_BENCH(strchr_absent_mixed, 10, pask_string_strchr(s, 'z'));
TEXT_BENCH(libc_strchr_absent, 0, strchr(s, 'z'));
TEXT_BENCH(strstr_absent, 0, pask_string_strstr(s, "abd"));
TEXT_BENCH(libc_strstr_absent, 0, strstr(s, "abd"));
TEXT_BENCH(subistring_absent, 0, pask_string_subistring(s, "ABD", nullptr, nullptr));
TEXT_BENCH(libc_strcasestr_absent, 0, strcasestr(s, "ABD"));
TEXT_BENCH(strcspn_absent, 0, pask_string_strcspn(s, "/:"));
TEXT_BENCH(libc_strcspn_absent, 0, strcspn(s, "/:"));
TEXT_BENCH(tolower_buf, 0, pask_string_tolower_buf(s, s_out, sizeof s_out - 1));
TEXT_BENCH(trim, 0, (pask_string_trim(s), s));

// A megabyte of one kind of text, for what is done to whole texts: sentences of ASCII, of Latin with letters of two bytes, of CJK.
// Conversions write to `bytes` or `units`; those from UCS-2 find the text in `units`.
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
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

#define LONG_TEXT_BENCH(name, ...)                                                                  \
  BENCHMARK_CAPTURE(over_long_text, name##_ascii, "The quick brown fox jumps over ",                \
                    [](long_text& t) { return __VA_ARGS__; });                                      \
  BENCHMARK_CAPTURE(over_long_text, name##_latin,                                                   \
                    "Voil\303\240 l'\303\251t\303\251 \303\240 No\303\253l, d\303\251j\303\240 ",   \
                    [](long_text& t) { return __VA_ARGS__; });                                      \
  BENCHMARK_CAPTURE(over_long_text, name##_cjk, "\344\270\255\346\226\207\346\255\214\346\233\262", \
                    [](long_text& t) { return __VA_ARGS__; })

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
LONG_TEXT_BENCH(to_ucs2, to_ucs2(t));
LONG_TEXT_BENCH(from_ucs2, from_ucs2(t));
LONG_TEXT_BENCH(charlen, pask_string_charlen(t.text.data()));
LONG_TEXT_BENCH(isvalid, pask_string_isvalid(t.text.data()));
#if __has_include(<glib.h>)
LONG_TEXT_BENCH(glib_charlen, g_utf8_strlen(t.text.data(), -1));
LONG_TEXT_BENCH(glib_isvalid, g_utf8_validate(t.text.data(), -1, nullptr));
#endif

template <typename Run>
void over_numbers(benchmark::State& state, Run run) {
  uint64_t value = 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(run(value % 1000000));
    value = value * 6364136223846793005u + 1442695040888963407u;
  }
}

void u64toa(benchmark::State& state) {
  over_numbers(state, [](uint64_t v) { return pask_string_u64toa(v, s_out, 21); });
}
void std_to_chars(benchmark::State& state) {
  over_numbers(state, [](uint64_t v) { return std::to_chars(s_out, s_out + 21, v).ptr; });
}
void libc_snprintf(benchmark::State& state) {
  over_numbers(state, [](uint64_t v) { return snprintf(s_out, 21, "%llu", static_cast<unsigned long long>(v)); });
}
BENCHMARK(u64toa);
BENCHMARK(std_to_chars);
BENCHMARK(libc_snprintf);

template <typename Run>
void over_word(benchmark::State& state, const char* word, Run run) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(word);
    benchmark::DoNotOptimize(run(word));
  }
}
void atou32(benchmark::State& state) { over_word(state, "12345", pask_string_atou32); }
void libc_strtoul(benchmark::State& state) {
  over_word(state, "12345", [](const char* s) { return strtoul(s, nullptr, 10); });
}
void atof64(benchmark::State& state) { over_word(state, "3.14159", pask_string_atof64); }
void atof64_steep(benchmark::State& state) { over_word(state, "1e2000000000", pask_string_atof64); }
void libc_strtod(benchmark::State& state) {
  over_word(state, "3.14159", [](const char* s) { return strtod(s, nullptr); });
}
BENCHMARK(atou32);
BENCHMARK(libc_strtoul);
BENCHMARK(atof64);
BENCHMARK(atof64_steep);
BENCHMARK(libc_strtod);

}  // namespace

BENCHMARK_MAIN();
