// Critical section, read-write lock and event. Threads meet on what the objects themselves tell: their records begin as told
// here, and the counts of waiters are read under the record's own mutex.
#include <gtest/gtest.h>
#include <pthread.h>
#include <time.h>
#include <velox/pask_thread.h>
#include <velox/velox_standin.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr uint32_t PATIENCE_MS = 60000;  // for what must come; a test that runs into it has failed

struct critsec_record {
  int32_t waiters;
  int32_t count;
  pthread_t owner;
  pthread_cond_t cond;
  pthread_mutex_t mutex;
};

struct rwlock_record {
  pthread_mutex_t mutex;
  pthread_cond_t read_cond;
  pthread_cond_t write_cond;
  uint32_t readers;
  uint32_t writer;
  uint32_t read_waiters;
  uint32_t write_waiters;
};

struct event_record {
  uint8_t signalled;
  uint8_t manual_reset;
  pthread_mutex_t mutex;
  pthread_cond_t cond;
};

template <class Record, class Handle, class Read>
auto under_mutex(Handle handle, Read read) {
  auto* record = reinterpret_cast<Record*>(handle);
  pthread_mutex_lock(&record->mutex);
  const auto value = read(*record);
  pthread_mutex_unlock(&record->mutex);
  return value;
}

template <class Test>
void await(Test test) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(PATIENCE_MS);
  while (!test()) {
    ASSERT_LT(std::chrono::steady_clock::now(), limit);
    std::this_thread::yield();
  }
}

void await_waiters(pask_critsec_handle section, int32_t number) {
  await([=] {
    return under_mutex<critsec_record>(section, [](const auto& record) { return record.waiters; }) == number;
  });
}

void await_waiters(pask_rwlock_handle lock, uint32_t readers, uint32_t writers) {
  await([=] {
    return under_mutex<rwlock_record>(
        lock, [=](const auto& record) { return record.read_waiters == readers && record.write_waiters == writers; });
  });
}

template <class Work>
pask_status on_another_thread(Work work) {
  return std::async(std::launch::async, work).get();
}

class Locks : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(velox_standin_memory_live_blocks(), 0); }
};

TEST_F(Locks, NullAndRefusedMemory) {
  EXPECT_EQ(pask_thread_critsec_create(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_critsec_enter(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_critsec_leave(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_critsec_delete(nullptr), 0u);
  EXPECT_EQ(pask_thread_rwlock_create(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_rwlock_readlock(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_rwlock_writelock(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_rwlock_unlock(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_rwlock_delete(nullptr), 0u);
  EXPECT_EQ(pask_thread_event_create(nullptr, 0, 0), 0x90020001u);
  EXPECT_EQ(pask_thread_event_wait(nullptr, 0), 0x90020001u);
  EXPECT_EQ(pask_thread_event_signal(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_event_reset(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_event_delete(nullptr), 0u);

  pask_critsec_handle section = nullptr;
  pask_rwlock_handle lock = nullptr;
  pask_event_handle event = nullptr;
  velox_standin_memory_refuse(0, 1);
  EXPECT_EQ(pask_thread_critsec_create(&section), 0x90020002u);
  EXPECT_EQ(pask_thread_rwlock_create(&lock), 0x90020002u);
  EXPECT_EQ(pask_thread_event_create(&event, 1, 1), 0x90020002u);
  velox_standin_memory_refuse_end();
  EXPECT_TRUE(!section && !lock && !event);
}

class Critsec : public Locks {
 protected:
  void SetUp() override { ASSERT_EQ(pask_thread_critsec_create(&section), 0u); }
  void TearDown() override {
    EXPECT_EQ(pask_thread_critsec_delete(section), 0u);
    Locks::TearDown();
  }
  pask_critsec_handle section = nullptr;
};

TEST_F(Critsec, IsHeldUntilTheLastLevelIsLeft) {
  ASSERT_EQ(pask_thread_critsec_enter(section), 0u);
  ASSERT_EQ(pask_thread_critsec_enter(section), 0u);
  std::atomic<int> levels{2};
  auto other = std::async(std::launch::async, [&] {
    EXPECT_EQ(pask_thread_critsec_enter(section), 0u);
    const int left = levels;
    EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
    return left;
  });
  await_waiters(section, 1);
  EXPECT_EQ(on_another_thread([&] { return pask_thread_critsec_leave(section); }),
            0u);  // holds nothing, changes nothing
  levels = 1;
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
  for (int i = 0; i < 1000; ++i) std::this_thread::yield();
  await_waiters(section, 1);
  levels = 0;
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
  EXPECT_EQ(other.get(), 0);
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);  // free already
  EXPECT_EQ(pask_thread_critsec_enter(section), 0u);  // a free section, and one that its owner holds, can go: TearDown
}

TEST_F(Critsec, InUseIsNotDeleted) {
  ASSERT_EQ(pask_thread_critsec_enter(section), 0u);
  EXPECT_EQ(on_another_thread([&] { return pask_thread_critsec_delete(section); }), 0x90020006u);
  auto waiter = std::async(std::launch::async,
                           [&] { return pask_thread_critsec_enter(section) | pask_thread_critsec_leave(section); });
  await_waiters(section, 1);
  EXPECT_EQ(pask_thread_critsec_delete(section), 0x90020006u);
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
  EXPECT_EQ(waiter.get(), 0u);
}

TEST_F(Critsec, LetsOneThreadInAtATime) {
  int sum = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 5000; ++i) {
        pask_thread_critsec_enter(section);
        pask_thread_critsec_enter(section);
        ++sum;
        pask_thread_critsec_leave(section);
        ++sum;
        pask_thread_critsec_leave(section);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sum, 40000);
}

class Rwlock : public Locks {
 protected:
  void SetUp() override { ASSERT_EQ(pask_thread_rwlock_create(&lock), 0u); }
  void TearDown() override {
    EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0x90020001u);  // nobody holds it
    EXPECT_EQ(pask_thread_rwlock_delete(lock), 0u);
    Locks::TearDown();
  }
  // A thread that takes the lock, writes its letter, which only one writer or several readers can do at once, and unlocks.
  std::thread taker(char letter) {
    return std::thread([this, letter] {
      EXPECT_EQ(letter == 'w' ? pask_thread_rwlock_writelock(lock) : pask_thread_rwlock_readlock(lock), 0u);
      order[static_cast<size_t>(next++)] = letter;
      EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
    });
  }
  pask_rwlock_handle lock = nullptr;
  std::atomic<int> next{0};
  std::string order = "----";
};

TEST_F(Rwlock, WaitingWriterHoldsBackNewReaders) {
  ASSERT_EQ(pask_thread_rwlock_readlock(lock), 0u);
  EXPECT_EQ(on_another_thread([&] { return pask_thread_rwlock_readlock(lock) | pask_thread_rwlock_unlock(lock); }), 0u);
  std::thread writer = taker('w');
  await_waiters(lock, 0, 1);
  std::thread reader = taker('r');
  await_waiters(lock, 1, 1);
  EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
  writer.join();
  reader.join();
  EXPECT_EQ(order, "wr--");
}

TEST_F(Rwlock, WriterThatReleasesLetsWritersGoFirst) {
  ASSERT_EQ(pask_thread_rwlock_writelock(lock), 0u);
  std::vector<std::thread> threads;
  threads.push_back(taker('r'));
  threads.push_back(taker('r'));
  await_waiters(lock, 2, 0);
  threads.push_back(taker('w'));
  threads.push_back(taker('w'));
  await_waiters(lock, 2, 2);
  EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(order, "wwrr");
}

TEST_F(Rwlock, ReadersNeverSeeHalfAWrite) {
  int a = 0;
  int b = 0;
  std::atomic<int> torn{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 3000; ++i) {
        if (t == 0) {
          pask_thread_rwlock_writelock(lock);
          ++a;
          ++b;
        } else {
          pask_thread_rwlock_readlock(lock);
          if (a != b) ++torn;
        }
        pask_thread_rwlock_unlock(lock);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(a, 3000);
  EXPECT_EQ(torn, 0);
}

class Event : public Locks {
 protected:
  void TearDown() override {
    EXPECT_EQ(pask_thread_event_delete(event), 0u);
    Locks::TearDown();
  }
  pask_event_handle event = nullptr;
};

TEST_F(Event, KeepsOrConsumesItsSignal) {
  for (const uint8_t manual : {uint8_t{0}, uint8_t{2}}) {
    const pask_status second = manual ? 0u : PASK_THREAD_INFO_TIMEOUT;
    ASSERT_EQ(pask_thread_event_create(&event, 1, manual), 0u);
    EXPECT_EQ(pask_thread_event_wait(event, 0), 0u);
    EXPECT_EQ(pask_thread_event_wait(event, 0), second);
    EXPECT_EQ(pask_thread_event_signal(event), 0u);
    EXPECT_EQ(pask_thread_event_wait(event, PASK_THREAD_NO_LIMIT), 0u);
    EXPECT_EQ(pask_thread_event_wait(event, 0), second);
    EXPECT_EQ(pask_thread_event_reset(event), 0u);
    EXPECT_EQ(pask_thread_event_wait(event, 0), PASK_THREAD_INFO_TIMEOUT);
    EXPECT_EQ(pask_thread_event_delete(event), 0u);
  }
  event = nullptr;
}

TEST_F(Event, SignalLetsOneWaiterThroughAtATime) {
  ASSERT_EQ(pask_thread_event_create(&event, 0, 0), 0u);
  std::atomic<int> through{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t)
    threads.emplace_back([&] {
      EXPECT_EQ(pask_thread_event_wait(event, PATIENCE_MS), 0u);
      ++through;
    });
  for (int t = 1; t <= 3; ++t) {
    EXPECT_EQ(pask_thread_event_signal(event), 0u);
    await([&] { return through == t; });
    EXPECT_EQ(pask_thread_event_wait(event, 0), PASK_THREAD_INFO_TIMEOUT);
  }
  for (std::thread& thread : threads) thread.join();
}

// The signal and the reset lie in one hold of the event's mutex, so that no waiter can see the state between them.
TEST_F(Event, ManualSignalCountsThoughItIsResetBeforeTheWaiterRuns) {
  ASSERT_EQ(pask_thread_event_create(&event, 0, 1), 0u);
  std::atomic<int> waiting{2};
  std::vector<std::thread> threads;
  for (const uint32_t timeout : {PATIENCE_MS, PASK_THREAD_NO_LIMIT})
    threads.emplace_back([&, timeout] {
      EXPECT_EQ(pask_thread_event_wait(event, timeout), 0u);
      --waiting;
    });
  await([&] {
    under_mutex<event_record>(event, [](event_record& record) { return pthread_cond_broadcast(&record.cond); });
    return waiting == 0;
  });
  for (std::thread& thread : threads) thread.join();
}

// Neither a wake without the state nor an early timeout ends the wait; the second timeout carries over a full second.
TEST_F(Event, TimeoutComesNoSoonerThanAsked) {
  ASSERT_EQ(pask_thread_event_create(&event, 0, 0), 0u);
  std::atomic<bool> done{false};
  std::thread disturber([&] {
    while (!done) {
      under_mutex<event_record>(event, [](event_record& record) { return pthread_cond_broadcast(&record.cond); });
      std::this_thread::yield();
    }
  });
  const auto now_us = [] {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
  };
  for (const uint32_t timeout : {30u, static_cast<uint32_t>(1005 - now_us() / 1000 % 1000), 1020u}) {
    const int64_t start = now_us();
    EXPECT_EQ(pask_thread_event_wait(event, timeout), PASK_THREAD_INFO_TIMEOUT);
    EXPECT_GE(now_us() - start, int64_t{timeout} * 1000);
  }
  done = true;
  disturber.join();
}

}  // namespace
