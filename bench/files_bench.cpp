// Files against plain descriptors, stdio and std::fstream. The last argument of a row is the pool's limit, 0 for none; what is
// opened again in each step tells the price of an eviction.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <velox/pask_fs.h>
#include <velox/pask_modules.h>
#include <velox/velox_manager.h>

#include "against.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr uint32_t FILE_BYTES = 1 << 20;
constexpr uint32_t LINE_BYTES = 64;
constexpr uint32_t MANY = 200;

// A folder with files of lines, "0", "1" and so on, for the length of the program.
struct folder {
  char path[32] = "/tmp/files_bench_XXXXXX";
  std::vector<std::string> names;  // three of lines, and many of a page each

  folder() {
    pask_fs_initialize();
    if (!mkdtemp(path)) std::abort();
    const std::string line(LINE_BYTES - 1, 'x');
    for (int i = 0; i < 3; ++i) {
      std::ofstream file(names.emplace_back(std::string(path) + "/" + std::to_string(i)));
      for (uint32_t at = 0; at < FILE_BYTES; at += LINE_BYTES) file << line << '\n';
    }
    for (uint32_t i = 0; i < MANY; ++i)
      std::ofstream(names.emplace_back(std::string(path) + "/page" + std::to_string(i))) << std::string(4096, 'x');
  }
  ~folder() {
    for (const std::string& name : names) unlink(name.c_str());
    rmdir(path);
    pask_fs_shutdown();
  }
};

const char* name(size_t index) {
  static const folder all;
  return all.names[index].c_str();
}

struct limit {
  explicit limit(int64_t count) { pask_fs_option_set(PASK_FS_OPTION_MAX_HANDLES, std::to_string(count).c_str()); }
  ~limit() { pask_fs_option_set(PASK_FS_OPTION_MAX_HANDLES, "0"); }
};

pask_fs_file_handle opened(size_t index, uint32_t flags) {
  pask_fs_file_handle file = nullptr;
  if (pask_fs_file_open(name(index), flags, 3, &file)) std::abort();
  return file;
}

char s_buffer[FILE_BYTES];

// Steps through a file in pieces of the row's first argument; step(offset, bytes).
template <class Step>
void in_steps(benchmark::State& state, Step step) {
  const auto bytes = static_cast<uint32_t>(state.range(0));
  uint32_t at = 0;
  for (auto _ : state) {
    step(at, bytes);
    benchmark::ClobberMemory();
    at = at + 2 * bytes <= FILE_BYTES ? at + bytes : 0;
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

template <uint32_t Limit>
void read_at(benchmark::State& state) {
  pask_fs_file_handle file = opened(0, 1);
  const limit set(Limit);
  uint32_t got;
  in_steps(state, [&](uint32_t at, uint32_t bytes) { pask_fs_file_read_at(file, at, s_buffer, bytes, &got); });
  pask_fs_file_close(file);
}
#define SIZES ArgName("bytes")->Arg(64)->Arg(4096)
WORKLOAD("read at an offset|ours", read_at<0>)->SIZES;
WORKLOAD("read at an offset, with a limit of 50 descriptors|ours", read_at<50>)->SIZES;

void plain_pread(benchmark::State& state) {
  const int fd = open(name(0), O_RDONLY);
  in_steps(state, [&](uint32_t at, uint32_t bytes) { benchmark::DoNotOptimize(pread(fd, s_buffer, bytes, at)); });
  close(fd);
}
WORKLOAD("read at an offset|pread", plain_pread)->SIZES;
WORKLOAD("read at an offset, with a limit of 50 descriptors|pread", plain_pread)->SIZES;

// One handle, several threads.
void shared_read_at(benchmark::State& state) {
  static pask_fs_file_handle file;
  if (state.thread_index() == 0) file = opened(0, 1);
  char buffer[4096];
  for (auto _ : state) pask_fs_file_read_at(file, 0, buffer, sizeof buffer, nullptr);
  if (state.thread_index() == 0) pask_fs_file_close(file);
}
WORKLOAD("read one handle, two threads at once|ours", shared_read_at)->Threads(2)->UseRealTime();
void shared_pread(benchmark::State& state) {
  static int fd;
  if (state.thread_index() == 0) fd = open(name(0), O_RDONLY);
  char buffer[4096];
  for (auto _ : state) benchmark::DoNotOptimize(pread(fd, buffer, sizeof buffer, 0));
  if (state.thread_index() == 0) close(fd);
}
WORKLOAD("read one handle, two threads at once|pread", shared_pread)->Threads(2)->UseRealTime();

// Three files in turn under a limit of 2: each step evicts one and opens another.
void read_in_turn(benchmark::State& state) {
  const limit set(2);
  pask_fs_file_handle files[] = {opened(0, 1), opened(1, 1), opened(2, 1)};
  uint32_t turn = 0;
  in_steps(state,
           [&](uint32_t at, uint32_t bytes) { pask_fs_file_read_at(files[turn++ % 3], at, s_buffer, bytes, nullptr); });
  for (pask_fs_file_handle file : files) pask_fs_file_close(file);
}
WORKLOAD("three files in turn under two descriptors|ours", read_in_turn)->ArgName("bytes")->Arg(4096);
void plain_open_pread_close(benchmark::State& state) {
  uint32_t turn = 0;
  struct stat info;
  in_steps(state, [&](uint32_t at, uint32_t bytes) {
    const int fd = open(name(turn++ % 3), O_RDONLY);
    fstat(fd, &info);
    benchmark::DoNotOptimize(pread(fd, s_buffer, bytes, at));
    close(fd);
  });
}
WORKLOAD("three files in turn under two descriptors|open, fstat, pread, close", plain_open_pread_close)
    ->ArgName("bytes")
    ->Arg(4096);

// Many files in turn under a limit: each step opens one.
void many_in_turn(benchmark::State& state) {
  const limit set(state.range(0));
  std::vector<pask_fs_file_handle> files;
  for (uint32_t i = 0; i < MANY; ++i) files.push_back(opened(3 + i, 1));
  uint32_t turn = 0;
  for (auto _ : state) pask_fs_file_read_at(files[turn++ % MANY], 0, s_buffer, 4096, nullptr);
  for (pask_fs_file_handle file : files) pask_fs_file_close(file);
}
WORKLOAD("200 files in turn|ours", many_in_turn)->ArgName("descriptors")->Arg(50);

// The least that does the same: a ring of descriptors, the oldest of which gives way.
void plain_many_in_turn(benchmark::State& state) {
  std::vector<int> fds(MANY, -1), ring(static_cast<size_t>(state.range(0)), -1);
  uint32_t turn = 0, oldest = 0;
  for (auto _ : state) {
    const uint32_t file = turn++ % MANY;
    if (fds[file] < 0) {
      int& slot = ring[oldest++ % ring.size()];
      if (slot >= 0) close(std::exchange(fds[static_cast<size_t>(slot)], -1));
      slot = static_cast<int>(file);
      fds[file] = open(name(3 + file), O_RDONLY);
    }
    benchmark::DoNotOptimize(pread(fds[file], s_buffer, 4096, 0));
  }
  for (const int fd : fds)
    if (fd >= 0) close(fd);
}
WORKLOAD("200 files in turn|a plain pool", plain_many_in_turn)->ArgName("descriptors")->Arg(50);

void write_at(benchmark::State& state) {
  pask_fs_file_handle file = opened(1, 3);
  in_steps(state, [&](uint32_t at, uint32_t bytes) { pask_fs_file_write_at(file, at, s_buffer, bytes, nullptr); });
  pask_fs_file_close(file);
}
WORKLOAD("write at an offset|ours", write_at)->SIZES;
void plain_pwrite(benchmark::State& state) {
  const int fd = open(name(1), O_RDWR);
  in_steps(state, [&](uint32_t at, uint32_t bytes) { benchmark::DoNotOptimize(pwrite(fd, s_buffer, bytes, at)); });
  close(fd);
}
WORKLOAD("write at an offset|pwrite", plain_pwrite)->SIZES;
void stdio_fwrite(benchmark::State& state) {
  FILE* file = fopen(name(1), "r+");
  in_steps(state, [&](uint32_t at, uint32_t bytes) {
    if (at == 0) rewind(file);
    fwrite(s_buffer, 1, bytes, file);
  });
  fclose(file);
}
WORKLOAD("write at an offset|fwrite", stdio_fwrite)->SIZES;
void fstream_write(benchmark::State& state) {
  std::fstream file(name(1), std::ios::in | std::ios::out | std::ios::binary);
  in_steps(state, [&](uint32_t at, uint32_t bytes) {
    if (at == 0) file.seekp(0);
    file.write(s_buffer, bytes);
  });
}
WORKLOAD("write at an offset|std::fstream", fstream_write)->SIZES;

// Lines of 64 bytes; the argument is the buffer's size. stdio and streams read ahead, which a file that others may change
// meanwhile doesn't.
void read_line(benchmark::State& state) {
  pask_fs_file_handle file = opened(0, 1);
  for (auto _ : state)
    if (pask_fs_file_read_line(file, s_buffer, static_cast<uint32_t>(state.range(0)))) pask_fs_file_seek(file, 0, 1);
  pask_fs_file_close(file);
}
#define BUFFERS ArgName("byte buffer")->Arg(256)->Arg(4096)->Arg(65536)
WORKLOAD("read a line|ours", read_line)->BUFFERS;
void plain_pread_line(benchmark::State& state) {
  const int fd = open(name(0), O_RDONLY);
  off_t at = 0;
  for (auto _ : state) {
    const ssize_t got = pread(fd, s_buffer, static_cast<size_t>(state.range(0)), at);
    const void* end = got > 0 ? memchr(s_buffer, '\n', static_cast<size_t>(got)) : nullptr;
    at = end ? at + (static_cast<const char*>(end) - s_buffer) + 1 : 0;
  }
  close(fd);
}
WORKLOAD("read a line|pread", plain_pread_line)->BUFFERS;
void stdio_fgets(benchmark::State& state) {
  FILE* file = fopen(name(0), "r");
  for (auto _ : state)
    if (!fgets(s_buffer, static_cast<int>(state.range(0)), file)) rewind(file);
  fclose(file);
}
WORKLOAD("read a line|fgets", stdio_fgets)->BUFFERS;

/* ---- Whole files ------------------------------------------------------------------------------------------------------ */

template <class Work>
void repeat(benchmark::State& state, Work work) {
  for (auto _ : state) work();
}
#define REPEAT(name, ...) WORKLOAD(name, [](benchmark::State& state) { repeat(state, [] { __VA_ARGS__; }); })

void open_stat_close() {
  struct stat info;
  const int fd = open(name(0), O_RDONLY);
  fstat(fd, &info);
  close(fd);
}
REPEAT("open and close|ours", pask_fs_file_close(opened(0, 1)));
REPEAT("open and close|open, fstat, close", open_stat_close());
REPEAT("open and close|fopen", fclose(fopen(name(0), "r")));
REPEAT("open and close|std::fstream", std::fstream(name(0), std::ios::in));

void read_whole() {
  void* data = nullptr;
  pask_fs_file_read_to_buffer(name(0), &data, nullptr, 1);
  benchmark::DoNotOptimize(data);
  pask_memory_free(data);
}
void stdio_read_whole() {
  FILE* file = fopen(name(0), "r");
  std::vector<char> data(FILE_BYTES);
  benchmark::DoNotOptimize(fread(data.data(), 1, data.size(), file));
  fclose(file);
}
void stream_read_whole() {
  std::ifstream file(name(0), std::ios::binary);
  std::vector<char> data(FILE_BYTES);
  file.read(data.data(), FILE_BYTES);
  benchmark::DoNotOptimize(data.data());
}
REPEAT("a whole file of 1 MB|ours", read_whole());
REPEAT("a whole file of 1 MB|fread", stdio_read_whole());
REPEAT("a whole file of 1 MB|std::ifstream", stream_read_whole());

}  // namespace

BENCHMARK_MAIN();
