// The format engine against libc's snprintf and std::to_chars, the accumulator against std::string.
#include <velox/pask_format.h>
#include <velox/pask_string_accum.h>

#include "against.h"

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

#define FORMAT(name, ...)                                                                 \
  WORKLOAD(name "|ours", [](benchmark::State& state) { with_pask(state, __VA_ARGS__); }); \
  WORKLOAD(name "|snprintf", [](benchmark::State& state) { with_libc(state, __VA_ARGS__); })

FORMAT("%s", "%s", "a track of some artist");
FORMAT("%d", "%d", 1234567);
FORMAT("%llu", "%llu", 12345678901234567890ull);
FORMAT("%x", "%x", 0xdeadbeefu);
FORMAT("%-20s, %8d, %08x", "%-20s|%8d|%08x", "artist", 42, 0xbeefu);
FORMAT("%s[%d].%s=%u", "%s[%d].%s=%u", "seed", 3, "identifier", 77u);
FORMAT("90 bytes of plain text",
       "a line of plain text that is only copied, as messages often are, and no conversion in it");
FORMAT("%.2f", "%.2f", 3.14159);
FORMAT("%g", "%g", 1234.5);
FORMAT("%.15e", "%.15e", 1.2345678901234567e100);

void number_with_to_chars(benchmark::State& state) {
  char text[32];
  int value = 1234567;
  for (auto _ : state) {
    benchmark::DoNotOptimize(value);
    *std::to_chars(text, text + sizeof text, value).ptr = 0;
    benchmark::DoNotOptimize(text);
  }
}
WORKLOAD("%d|std::to_chars", number_with_to_chars);

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
WORKLOAD("1,000 appends|ours", append_with_accum);

void append_with_string(benchmark::State& state) {
  const char* words = "some words ";
  for (auto _ : state) {
    std::string text;
    benchmark::DoNotOptimize(words);  // a text that comes without its length, as there
    for (int i = 0; i < PIECES; ++i) text.append(words);
    benchmark::DoNotOptimize(text.data());
  }
}
WORKLOAD("1,000 appends|std::string", append_with_string);

}  // namespace

BENCHMARK_MAIN();
