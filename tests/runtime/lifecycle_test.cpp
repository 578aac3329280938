// The module graph: counts, order of failure, reports, and starts from many threads. This program's own memory service start
// stands in front of the manager's, so that any one of them can be made to fail.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>
#include <velox/pask_fs.h>
#include <velox/pask_modules.h>
#include <velox/pask_thread_store.h>
#include <velox/velox_cadenz.h>
#include <velox/velox_standin.h>

#include <atomic>
#include <functional>
#include <latch>
#include <map>
#include <sstream>
#include <thread>

#include "await.h"
#include "report_log.h"

static constexpr pask_status MEMORY_REFUSES = 0x9001000bu;
static std::atomic<int> s_starts_granted{-1};  // negative: all

pask_status pask_memory_initialize() {
  if (s_starts_granted >= 0 && s_starts_granted-- == 0) return MEMORY_REFUSES;
  std::this_thread::yield();  // so that starts from several threads meet inside
  static const auto real = reinterpret_cast<pask_status (*)()>(dlsym(RTLD_NEXT, "pask_memory_initialize"));
  return real();
}

namespace {

using counts = std::map<std::string, int32_t>;

struct module_row {
  const char* name;
  int32_t (*initchecks)();
  pask_status (*initialize)();
  pask_status (*shutdown)();
  const char* (*version)();
  const char* (*build_date)();
  const char* date;
  bool reports;        // a start that fails
  const char* raises;  // by the first start, besides its own count
};

#define CALLS(m)                                                                                 \
#m, pask_##m##_initchecks, pask_##m##_initialize, pask_##m##_shutdown, pask_##m##_get_version, \
      pask_##m##_get_build_date

const module_row k_modules[] = {
    {CALLS(thread), "2016-08-22 10:20-0700", false, "memory 1"},
    {CALLS(fs), "2016-08-22 10:19-0700", false, "memory 4 thread 1 string 1 iostream 1"},
    {CALLS(string), "2016-08-22 10:20-0700", false, "memory 1"},
    {CALLS(md5), "2016-08-22 10:19-0700", false, "memory 2 string 1"},
    {CALLS(datatypes), "2016-08-22 10:19-0700", true, "memory 5 thread 2 string 2 iostream 1 fs 1 random 1"},
    {CALLS(utils), "2016-08-22 10:19-0700", true, "memory 6 thread 1 string 3 iostream 1 fs 1 random 1 md5 1"},
    {CALLS(time), "2016-08-22 10:19-0700", false, "memory 2 string 1"},
    {CALLS(iostream), "2016-08-22 10:20-0700", false, "memory 1"},
    {CALLS(random), "2016-08-22 10:19-0700", false, "memory 4 thread 1 string 1 iostream 1 fs 1"},
    {CALLS(hdo), "2016-08-22 10:18-0700", true,
     "memory 8 thread 3 string 5 datatypes 1 xml 1 random 1 fs 1 iostream 1 time 1"},
    {CALLS(xml), "2016-08-22 10:19-0700", true, "memory 3 string 2 time 1"},
};

counts raised_by(const module_row& row) {
  counts raised;
  std::istringstream words(row.raises);
  std::string name;
  for (int32_t count; words >> name >> count;) raised[name] = count;
  return raised;
}

counts all_counts() {
  counts now;
  for (const module_row& row : k_modules)
    if (const int32_t count = row.initchecks()) now[row.name] = count;
  if (const uint32_t starts = velox_standin_memory_starts()) now["memory"] = static_cast<int32_t>(starts);
  return now;
}

class Lifecycle : public testing::TestWithParam<module_row> {
 protected:
  void TearDown() override {
    s_starts_granted = -1;
    EXPECT_EQ(all_counts(), counts{});
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0);
  }
};

TEST_P(Lifecycle, CountsAndTells) {
  const module_row& row = GetParam();
  EXPECT_STREQ(row.version(), "3.10.1");
  EXPECT_STREQ(row.build_date(), row.date);
  EXPECT_EQ(row.shutdown(), 7u);

  counts up = raised_by(row);
  for (const int32_t count : {1, 2, 3, 2, 1}) {
    ASSERT_EQ(count < up[row.name] ? row.shutdown() : row.initialize(), 0u);
    up[row.name] = count;
    EXPECT_EQ(all_counts(), up);
  }
  EXPECT_EQ(row.shutdown(), 0u);
  EXPECT_EQ(all_counts(), counts{});
  EXPECT_EQ(row.shutdown(), 7u);
}

// Only the random numbers' start forgives, and the modules above it come up without files.
TEST_P(Lifecycle, LetsGoOfEverythingWhicheverStartOfMemoryFails) {
  const module_row& row = GetParam();
  std::vector<std::string> own;  // the failure of the first step, which is memory's or, unreported, that of the files
  if (row.reports) own.push_back("pask_" + std::string(row.name) + " 9001000b");
  report_log log;
  for (int granted = 0;; ++granted) {
    s_starts_granted = granted;
    const pask_status status = row.initialize();
    const bool met = s_starts_granted < 0;
    s_starts_granted = -1;
    const auto reports = log.taken();
    EXPECT_TRUE(granted > 0 || reports == own);
    EXPECT_TRUE(status == 0 || (status == 10 && met));
    if (status == 0) {
      EXPECT_EQ(raised_by(row).count("fs") == 0 || pask_fs_initchecks() == 1, !met) << granted;
      EXPECT_EQ(row.initchecks(), 1);
      EXPECT_EQ(row.shutdown(), 0u);
    }
    ASSERT_EQ(all_counts(), counts{}) << granted;
    if (!met) return;
  }
}

INSTANTIATE_TEST_SUITE_P(Modules, Lifecycle, testing::ValuesIn(k_modules),
                         [](const auto& module) { return std::string(module.param.name); });

using LifecycleOnce = Lifecycle;

// Two blocks: the pool's section and its event.
TEST_F(LifecycleOnce, FilesDontStartWithoutTheirPoolAndRandomNumbersDo) {
  for (const uint32_t granted : {0u, 1u}) {
    velox_standin_memory_refuse(granted, 0);
    EXPECT_EQ(pask_fs_initialize(), 10u);
    EXPECT_EQ(velox_standin_memory_refuse_end(), 1);
    EXPECT_EQ(all_counts(), counts{});
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0);
  }
  velox_standin_memory_refuse(0, 0);
  EXPECT_EQ(pask_random_initialize(), 0u);
  velox_standin_memory_refuse_end();
  EXPECT_EQ(all_counts(), (counts{{"random", 1}}));
  EXPECT_EQ(pask_random_shutdown(), 0u);
  EXPECT_EQ(g_fs_max_file_handles + g_fs_num_file_handles, 0u);
}

TEST_F(LifecycleOnce, ThreadStoreKeyBelongsToWhoeverMadeIt) {
  for (const uint32_t there : {0u, 77u}) {  // another library of the family may have been here
    g_pask_thread_store_key = there;
    ASSERT_EQ(pask_thread_initialize(), 0u);
    EXPECT_TRUE(there ? g_pask_thread_store_key == there : g_pask_thread_store_key != 0);
    EXPECT_EQ(pask_thread_shutdown(), 0u);
    EXPECT_EQ(std::exchange(g_pask_thread_store_key, 0u), there);
  }

  // A key of 0, which a process's first is, would read as none.
  const auto works_with_key_0_free = [] {
    pthread_key_t next = 1;
    uintptr_t value = 0;
    pthread_key_delete(0);
    return pask_thread_initialize() == 0 && g_pask_thread_store_key != 0 &&
           pask_thread_store_set(nullptr, 0, 1, nullptr) == 0 && pask_thread_store_get(nullptr, 0, &value) == 0 &&
           pthread_key_create(&next, nullptr) == 0 && next == 0;
  };
  EXPECT_EXIT(_exit(works_with_key_0_free() ? 7 : 1), testing::ExitedWithCode(7), "");

  std::vector<pthread_key_t> keys;
  for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) keys.push_back(key);
  EXPECT_EQ(pask_hdo_initialize(), 10u);
  for (const pthread_key_t key : keys) pthread_key_delete(key);
}

TEST_F(LifecycleOnce, StartsAndStopsFromManyThreads) {
  std::atomic<int> wrong{0};
  std::latch all_there(4);
  std::vector<std::jthread> threads;
  for (size_t t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      all_there.arrive_and_wait();
      for (size_t i = 0; i < 200; ++i) {
        const module_row& row = k_modules[(i + t) % std::size(k_modules)];
        if (row.initialize() != 0 || row.initchecks() < 1) ++wrong;
        for (const module_row& below : k_modules)
          if (raised_by(row).count(below.name) && below.initchecks() < 1) ++wrong;
        if (row.shutdown() != 0) ++wrong;
      }
    });
  threads.clear();
  EXPECT_EQ(wrong, 0);
}

// What came before a start is there for whoever finds that it has been.
TEST_F(LifecycleOnce, StartsPublish) {
  const auto by_count = [] { return pask_thread_initchecks() > 0; };
  const auto by_key = [] {
    uintptr_t value = 0;
    return pask_thread_store_set(nullptr, 0, 1, nullptr) == 0 && pask_thread_store_get(nullptr, 0, &value) == 0;
  };
  for (const std::function<bool()>& started : {std::function<bool()>(by_count), std::function<bool()>(by_key)}) {
    int before = 0;
    std::jthread other([&] {
      await(started);
      EXPECT_EQ(before, 1);
    });
    before = 1;
    EXPECT_EQ(pask_thread_initialize(), 0u);
    other.join();
    EXPECT_EQ(pask_thread_shutdown(), 0u);
  }
}

const velox_manager_record* s_manager;
velox_client_shutdown_fn s_service_end;

// The manager stops, and refuses nonetheless to let the service go.
TEST_F(LifecycleOnce, ServiceThatTheManagerEndsLetsGoOfEveryModule) {
  ASSERT_EQ(velox_standin_start(&s_manager), 0u);
  const counts before = all_counts();
  velox_manager_record refusing = *s_manager;
  refusing.client_register = [](uint32_t package, const char* name, velox_client_shutdown_fn end, uintptr_t zero,
                                velox_client_ref* client) {
    s_service_end = end;
    return s_manager->client_register(package, name, end, zero, client);
  };
  refusing.client_unregister = [](velox_client_ref client) {
    return s_manager->client_unregister(client) | MEMORY_REFUSES;
  };
  EXPECT_EQ(velox_cadenz_initialize(&refusing) | velox_cadenz_initialize(&refusing), 0u);
  EXPECT_EQ(s_service_end(), 0u);
  EXPECT_EQ(velox_cadenz_initchecks(), 0);
  EXPECT_EQ(all_counts(), before);
  EXPECT_EQ(velox_standin_stop(), 0u);
}

TEST_F(LifecycleOnce, AtomicsCountWithoutTheOthers) {
  const std::vector<uint32_t> words = {pask_atomic_shutdown(),   pask_atomic_initialize(),
                                       pask_atomic_initialize(), static_cast<uint32_t>(pask_atomic_initchecks()),
                                       pask_atomic_shutdown(),   pask_atomic_shutdown(),
                                       pask_atomic_shutdown()};
  EXPECT_EQ(words, (std::vector<uint32_t>{7, 0, 0, 2, 0, 0, 7}));
}

}  // namespace
