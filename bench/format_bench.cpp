// The format engine against libc's snprintf and std::to_chars, the accumulator against std::string.
#include <benchmark/benchmark.h>
#include <velox/pask_format.h>
#include <velox/pask_string_accum.h>

#include <charconv>
#include <cstdio>
#include <string>

namespace {

template <class... Args>
void with_pask(benchmark::State& state, const char* format, Args... args) {
  char text[256];
  for (auto _ : state) {
    pask_string_snprintf(text, sizeof text, format, args...);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
}

template <class... Args>
void with_libc(benchmark::State& state, const char* format, Args... args) {
  char text[256];
  benchmark::DoNotOptimize(format);  // or the compiler writes the text itself
  for (auto _ : state) {
    snprintf(text, sizeof text, format, args...);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
}

#define FORMAT_PAIR(name, ...)                     \
  BENCHMARK_CAPTURE(with_pask, name, __VA_ARGS__); \
  BENCHMARK_CAPTURE(with_libc, name, __VA_ARGS__)

FORMAT_PAIR(text, "%s", "a track of some artist");
FORMAT_PAIR(number, "%d", 1234567);
FORMAT_PAIR(wide_number, "%llu", 12345678901234567890ull);
FORMAT_PAIR(hexadecimal, "%x", 0xdeadbeefu);
FORMAT_PAIR(padded, "%-20s|%8d|%08x", "artist", 42, 0xbeefu);
FORMAT_PAIR(key, "%s[%d].%s=%u", "seed", 3, "identifier", 77u);
FORMAT_PAIR(plain, "a line of plain text that is only copied, as messages often are, and no conversion in it");
FORMAT_PAIR(fixed, "%.2f", 3.14159);
FORMAT_PAIR(generic, "%g", 1234.5);
FORMAT_PAIR(exponent, "%.15e", 1.2345678901234567e100);

void number_with_to_chars(benchmark::State& state) {
  char text[32];
  int value = 1234567;
  for (auto _ : state) {
    benchmark::DoNotOptimize(value);
    *std::to_chars(text, text + sizeof text, value).ptr = 0;
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(number_with_to_chars);

constexpr int PIECES = 1000;

void append_with_accum(benchmark::State& state) {
  for (auto _ : state) {
    pask_string_accum* acc = nullptr;
    pask_string_accum_create(&acc, nullptr, 0);
    for (int i = 0; i < PIECES; ++i) pask_string_accum_append(acc, "some words ", nullptr);
    benchmark::DoNotOptimize(acc->text);
    pask_string_accum_delete(acc);
  }
}
BENCHMARK(append_with_accum);

void append_with_string(benchmark::State& state) {
  const char* words = "some words ";
  for (auto _ : state) {
    std::string text;
    benchmark::DoNotOptimize(words);  // a text that comes without its length, as there
    for (int i = 0; i < PIECES; ++i) text.append(words);
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(append_with_string);

}  // namespace

BENCHMARK_MAIN();
