// The pool of descriptors, counted in /proc and held against models of the files.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <future>
#include <random>
#include <thread>

#include "scratch.h"

extern "C" pask_status _pask_fs_mgr_acquire_fd(pask_fs_file_handle), _pask_fs_mgr_release_fd(pask_fs_file_handle);

static std::atomic<int> s_close_error;  // of the next close, which closes all the same

[[gnu::visibility("default")]] int close(int fd) {
  static const auto next =
      reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "close"));  // a sanitizer's, where there is one
  const int result = next(fd);
  const int error = s_close_error.exchange(0);
  if (error != 0) errno = error;
  return error != 0 ? -1 : result;
}

namespace {

constexpr std::chrono::milliseconds A_WHILE{20};  // in which what blocks doesn't come through

struct Pool : Scratch {
  // Opens files "A", "B" and so on, which hold their names.
  void make(char last) {
    for (std::string name = "A"; name[0] <= last; ++name[0]) EXPECT_EQ((put(name, name), open(name, READ_WRITE)), 0u);
  }
  pask_fs_file_handle& at(char name) { return files[static_cast<size_t>(name - 'A')]; }
  pask_status touch(char name) {
    char byte = name;
    const pask_status status = pask_fs_file_read_at(at(name), 0, &byte, 1, nullptr);
    return byte == name ? status : 1;
  }
  auto touch_elsewhere(char name) { return std::async(std::launch::async, &Pool::touch, this, name); }
};

// A file under random operations, each checked against the bytes and the position that it must find.
struct model {
  std::string path;
  std::mt19937 random;
  std::string bytes = "";
  pask_fs_file_handle file = nullptr;
  size_t position = 0;

  size_t below(size_t end) { return random() % end; }
  pask_status open(uint32_t flags) {
    Pool::close(file);
    if (flags == ANEW) bytes.clear();
    position = 0;
    return pask_fs_file_open(path.c_str(), flags, 3, &file);
  }
  bool step() {
    const size_t at = below(bytes.size() + 1), kind = below(6);
    std::string data(below(200) + 1, static_cast<char>('a' + below(26)));
    const auto size = static_cast<uint32_t>(data.size());
    uint32_t done = 0;
    if (kind == 0) return open(below(2) ? ANEW : READ_WRITE) == 0;
    if (kind == 1) return bytes.resize(position = at), pask_fs_file_truncate(file, at) == 0;
    if (below(2) && pask_fs_file_seek(file, static_cast<int64_t>(position = at), 1)) return false;
    if (kind == 2) {
      bytes.replace(position, size, data);
      position += size;
      return pask_fs_file_write(file, data.data(), size, &done) == 0 && done == size;
    }
    const std::string expected = bytes.substr(position, size);
    position += expected.size();
    return pask_fs_file_read(file, data.data(), size, &done) == 0 && data.substr(0, done) == expected;
  }
};

// At no moment are there more descriptors than the limit, while files open and close too.
TEST_F(Pool, FilesOfManyThreadsAreTheirModelsUnderAnyLimit) {
  make('A');
  for (const char* most : {"1", "2", "3", "50", "0"}) {
    limit(most);
    std::atomic<int> running{3};
    std::vector<std::jthread> threads;
    for (uint32_t seed = 0; seed < 3; ++seed)
      threads.emplace_back([&, seed] {
        model own[] = {{path("B" + std::to_string(seed)), std::mt19937(seed)},
                       {path("C" + std::to_string(seed)), std::mt19937(seed + 9)}};
        EXPECT_EQ(own[0].open(ANEW) | own[1].open(ANEW), 0u);
        int steps = 0;
        while (steps < 2000 && own[steps / 3 % 2].step() && touch('A') == 0) ++steps;  // one file is everybody's
        EXPECT_EQ(steps, 2000) << most << " " << seed;
        close(own[0].file), close(own[1].file);
        --running;
      });
    const auto bound = static_cast<size_t>(*most == '0' ? 7 : atoi(most)) * strlen("B0");
    while (running != 0) EXPECT_LE(held().size(), bound) << most;
    threads.clear();
    EXPECT_EQ(held().size(), g_fs_num_file_handles);
  }
}

TEST_F(Pool, TheFileReleasedLongestAgoGivesWay) {
  limit("2");
  make('D');
  for (const char* step : {"DCD", "AAD", "DAD", "BBD", "DBD", "CCD"}) {  // the file that is used, and who holds after
    EXPECT_EQ(touch(step[0]), 0u);
    EXPECT_EQ(held(), step + 1);
  }
  close(at('A'));  // parked: it has no slot to leave
  EXPECT_EQ(g_fs_num_file_handles, 2u);
  limit("1");  // reached as files close
  EXPECT_TRUE(touch('B') == 0 && held() == "BC");
  close(at('C'));
  EXPECT_TRUE(touch('D') == 0 && held() == "D");
  const char* value = nullptr;
  EXPECT_EQ(pask_fs_option_set("PASK_FS_MAX_HANDLES", "7"), INVALID);
  EXPECT_TRUE(pask_fs_option_get(PASK_FS_OPTION_MAX_HANDLES, &value) == 0 && strcmp(value, "1") == 0);
}

// A file that has gone, and one whose descriptor somebody else has closed, take no slot with them.
TEST_F(Pool, FailuresGiveTheSlotBack) {
  limit("1");
  make('C');
  EXPECT_EQ(pask_fs_file_delete(path("A").c_str()), 0u);
  EXPECT_EQ(touch('A'), NOT_FOUND);
  EXPECT_EQ(g_fs_num_file_handles, 0u);
  put("A", "A");
  EXPECT_EQ(touch('A'), 0u);
  for (int fd = 3; held() != ""; ++fd) ::close(fd);
  EXPECT_EQ(touch('B'), BAD_DESCRIPTOR);
  EXPECT_EQ(g_fs_num_file_handles, 0u);
  EXPECT_TRUE((touch('A') | touch('B') | touch('A')) == 0 && held() == "A");
  s_close_error = EINTR;
  EXPECT_EQ(touch('B'), OTHER);
  EXPECT_EQ(g_fs_num_file_handles, 0u);
  EXPECT_EQ(touch('B'), 0u);
  s_close_error = EINTR;
  EXPECT_EQ(pask_fs_file_close(std::exchange(at('B'), nullptr)), OTHER);
}

// A pipe comes back though nobody is at its other end, and is waited for only when it is read.
TEST_F(Pool, APipeIsOpenedAgainWithoutWaiting) {
  limit("1");
  make('A');
  const std::string pipe = path("B");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  char byte = 0;
  uint32_t got = 7;
  const auto read = [&] { return pask_fs_file_read(at('B'), &byte, 1, &got); };
  int other = ::open(pipe.c_str(), O_RDWR);
  EXPECT_EQ(open("B", PASK_FS_OPEN_READ) | touch('A') | ::close(other), 0u);
  EXPECT_TRUE(read() == 0 && got == 0);
  other = ::open(pipe.c_str(), O_RDWR);
  EXPECT_EQ(touch('A'), 0u);
  auto waits = std::async(std::launch::async, read);
  EXPECT_EQ(waits.wait_for(A_WHILE), std::future_status::timeout);
  EXPECT_EQ(::write(other, "p", 1), 1);
  EXPECT_TRUE(waits.get() == 0 && got == 1 && byte == 'p');
  EXPECT_EQ(open("B", PASK_FS_OPEN_WRITE) | touch('A') | ::close(other), 0u);
  EXPECT_EQ(pask_fs_file_write(files.back(), "p", 1, nullptr), NO_DEVICE);
  EXPECT_EQ(g_fs_num_file_handles, 0u);
  EXPECT_EQ(touch('A'), 0u);
}

TEST_F(Pool, WaitersGoOn) {
  limit("1");
  make('D');
  EXPECT_EQ(pask_fs_file_delete(path("B").c_str()), 0u);
  for (int round = 1; round < 100; ++round) {
    ASSERT_EQ(_pask_fs_mgr_acquire_fd(at('D')), 0u);
    std::future<pask_status> waits[] = {touch_elsewhere('A'), touch_elsewhere('B'), touch_elsewhere('C'),
                                        touch_elsewhere('A'), touch_elsewhere('B')};
    EXPECT_EQ(waits[0].wait_for(A_WHILE / round), std::future_status::timeout);
    _pask_fs_mgr_release_fd(at('D'));
    for (size_t i = 0; i < std::size(waits); ++i) EXPECT_EQ(waits[i].get(), i % 3 == 1 ? NOT_FOUND : 0u);
  }
}

// Two threads wait for the same file: one descriptor serves both at once. A limit that is lifted while another one waits is
// seen at the next release, though that frees nothing.
TEST_F(Pool, AFileComesBackOnce) {
  limit("1");
  make('B');
  ASSERT_EQ(_pask_fs_mgr_acquire_fd(at('B')), 0u);
  auto first = std::async(std::launch::async, _pask_fs_mgr_acquire_fd, at('A'));
  auto second = std::async(std::launch::async, _pask_fs_mgr_acquire_fd, at('A'));
  EXPECT_EQ(second.wait_for(A_WHILE), std::future_status::timeout);
  _pask_fs_mgr_release_fd(at('B'));
  EXPECT_TRUE((first.get() | second.get()) == 0 && held() == "A");
  auto third = touch_elsewhere('B');
  EXPECT_EQ(third.wait_for(A_WHILE), std::future_status::timeout);
  limit("0");
  _pask_fs_mgr_release_fd(at('A'));
  EXPECT_EQ(third.get(), 0u);
  _pask_fs_mgr_release_fd(at('A'));
}

}  // namespace
