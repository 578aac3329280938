// Dates, times, random numbers and directories against what would be picked instead: libc, and the standard library.
#include <stdlib.h>
#include <sys/time.h>
#include <time.h>
#include <velox/pask_fs_dir.h>
#include <velox/pask_random.h>
#include <velox/pask_time.h>

#include "against.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {

constexpr uint64_t START = 1700000000123456, END = 4000000000000000;  // microseconds
const char ISO[] = "%Y-%m-%dT%H:%M:%S";
char s_out[64];

template <typename Run>
void over_instants(benchmark::State& state, Run run) {
  uint64_t us = START;
  for (auto _ : state) {
    benchmark::DoNotOptimize(run(us));
    benchmark::ClobberMemory();
    us = us < END ? us + 863991234 : START;
  }
}

template <typename Run>
void over_text(benchmark::State& state, const char* text, Run run) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    benchmark::DoNotOptimize(run(text));
  }
}

#define OVER_INSTANTS(name, expression)                                            \
  WORKLOAD(name, [](benchmark::State& state) {                                     \
    over_instants(state, []([[maybe_unused]] uint64_t us) { return expression; }); \
  })
#define OVER_ISO(name, expression)                                                            \
  WORKLOAD(name, [](benchmark::State& state) {                                                \
    over_text(state, "2023-11-14T22:13:20.123456", [](const char* s) { return expression; }); \
  })

// --- Dates.

uint32_t date_of(uint64_t s) {
  pask_vxtime date = 0;
  pask_time_vxtime_create_from_seconds(s, &date);
  return date;
}
uint64_t seconds_of(uint32_t date) {
  uint64_t s = 0;
  pask_time_vxtime_delta(0, date, &s);
  return s;
}
int gmtime_day(time_t s) {
  tm fields;
  return gmtime_r(&s, &fields)->tm_mday;
}
time_t timegm_of(int day) {
  tm fields = {};
  fields.tm_year = 123;
  fields.tm_mday = day;
  return timegm(&fields);
}
auto chrono_day(time_t s) {
  const std::chrono::sys_seconds at{std::chrono::seconds(s)};
  return std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(at));
}
auto chrono_days(uint32_t date) {
  using namespace std::chrono;
  return sys_days(year(static_cast<int>(date >> 20)) / month((date >> 16 & 15) % 12 + 1) / day((date >> 11 & 31) + 1));
}
OVER_INSTANTS("seconds to a date|ours", date_of(us / 1000000));
OVER_INSTANTS("seconds to a date|gmtime_r", gmtime_day(static_cast<time_t>(us / 1000000)));
OVER_INSTANTS("seconds to a date|std::chrono", chrono_day(static_cast<time_t>(us / 1000000)));
OVER_INSTANTS("a date to seconds|ours", seconds_of(static_cast<uint32_t>(us)));
OVER_INSTANTS("a date to seconds|timegm", timegm_of(static_cast<int>(us % 28)));
OVER_INSTANTS("a date to seconds|std::chrono", chrono_days(static_cast<uint32_t>(us)));

// --- Text to numbers.

uint64_t read_us(const char* text) {
  uint64_t us = 0;
  pask_time_iso8601_to_epoch_us(text, &us);
  return us;
}
uint64_t libc_read_us(const char* text) {
  tm fields = {};
  const char* const rest = strptime(text, ISO, &fields);
  return static_cast<uint64_t>(timegm(&fields)) * 1000000 + strtoul(rest + 1, nullptr, 10);
}
uint64_t sscanf_read_us(const char* text) {
  tm fields = {};
  unsigned us = 0;
  sscanf(text, "%d-%d-%dT%d:%d:%d.%u", &fields.tm_year, &fields.tm_mon, &fields.tm_mday, &fields.tm_hour,
         &fields.tm_min, &fields.tm_sec, &us);
  return static_cast<uint64_t>(timegm(&fields)) * 1000000 + us;
}
OVER_ISO("ISO 8601 text to microseconds|ours", read_us(s));
OVER_ISO("ISO 8601 text to microseconds|strptime and timegm", libc_read_us(s));
OVER_ISO("ISO 8601 text to microseconds|sscanf and timegm", sscanf_read_us(s));

// --- Instants and spans to text.

int libc_format_us(uint64_t us, const char* format, const char* behind) {
  const time_t s = static_cast<time_t>(us / 1000000);
  tm fields;
  const size_t length = strftime(s_out, sizeof s_out, format, gmtime_r(&s, &fields));
  return snprintf(s_out + length, sizeof s_out - length, behind, static_cast<int>((us % 1000000 + 500) / 1000));
}
int libc_elapsed(uint64_t ms) {
  return snprintf(s_out, sizeof s_out, "%llu:%02llu:%02llu.%03llu", static_cast<unsigned long long>(ms / 3600000),
                  static_cast<unsigned long long>(ms / 60000 % 60), static_cast<unsigned long long>(ms / 1000 % 60),
                  static_cast<unsigned long long>(ms % 1000));
}
OVER_INSTANTS("microseconds to ISO 8601 text|ours", pask_time_format_us(us, 0, ISO, s_out, sizeof s_out));
OVER_INSTANTS("microseconds to ISO 8601 text|gmtime_r, strftime, snprintf", libc_format_us(us, ISO, ".%02dZ"));
OVER_INSTANTS("microseconds to the text of HTTP|ours",
              pask_time_format_us(us, 0, "%a, %d %b %Y %H:%M:%S", s_out, sizeof s_out));
OVER_INSTANTS("microseconds to the text of HTTP|gmtime_r, strftime, snprintf",
              libc_format_us(us, "%a, %d %b %Y %H:%M:%S", ".%03d GMT"));
OVER_INSTANTS("a span to text|ours", pask_time_format_ms_elapsed(0, us % 1000000000, s_out, sizeof s_out));
OVER_INSTANTS("a span to text|snprintf", libc_elapsed(us % 1000000000));
OVER_INSTANTS("the time|ours", pask_time_get_microseconds());
OVER_INSTANTS("the time|std::chrono::system_clock", std::chrono::system_clock::now());

// --- Random numbers.

template <typename Next>
void over_states(benchmark::State& state, Next next) {
  uint32_t word = 1;
  for (auto _ : state) benchmark::DoNotOptimize(next(&word));
}
void random_rand(benchmark::State& state) { over_states(state, pask_random_rand); }
void libc_rand_r(benchmark::State& state) { over_states(state, rand_r); }
WORKLOAD("a random number|ours", random_rand);
WORKLOAD("a random number|rand_r", libc_rand_r);

// --- A listing of 1000 files, with their types.

const std::filesystem::path& listed() {
  static const std::filesystem::path folder = [] {
    std::string name = std::filesystem::temp_directory_path() / "velox_bench_XXXXXX";
    const std::filesystem::path made = mkdtemp(name.data());
    for (int i = 0; i < 1000; ++i) std::ofstream(made / ("entry" + std::to_string(i)));
    std::atexit([] { std::filesystem::remove_all(listed()); });
    return made;
  }();
  return folder;
}
void list_types(benchmark::State& state) {
  for (auto _ : state) {
    uint32_t files = 0, type = 0;
    const char* name = nullptr;
    pask_fs_dir_handle dir = nullptr;
    pask_fs_dir_open(listed().c_str(), &dir);
    while (pask_fs_dir_next_entry(dir, &name, &type) == 0) files += type == PASK_FS_ENTRY_FILE;
    pask_fs_dir_close(dir);
    benchmark::DoNotOptimize(files);
  }
}
void std_list_types(benchmark::State& state) {
  for (auto _ : state) {
    uint32_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(listed()))
      files += std::filesystem::is_regular_file(entry.path());
    benchmark::DoNotOptimize(files);
  }
}
void std_list_types_kept(benchmark::State& state) {
  for (auto _ : state) {
    uint32_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(listed())) files += entry.is_regular_file();
    benchmark::DoNotOptimize(files);
  }
}
WORKLOAD("list 1,000 files with their types|ours", list_types);
WORKLOAD("list 1,000 files with their types|std::filesystem with stat", std_list_types);
WORKLOAD("list 1,000 files with their types|std::filesystem", std_list_types_kept);

}  // namespace

BENCHMARK_MAIN();
