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
  int32_t waiters, count;
  pthread_t owner;
  pthread_cond_t cond;
  pthread_mutex_t mutex;
};

struct rwlock_record {
  pthread_mutex_t mutex;
  pthread_cond_t read_cond, write_cond;
  uint32_t readers, writer, read_waiters, write_waiters;
};

struct event_record {
  uint8_t signalled, manual_reset;
  pthread_mutex_t mutex;
  pthread_cond_t cond;
};

template <class Record, class Read>
auto under_mutex(void* handle, Read read) {
  auto* record = static_cast<Record*>(handle);
  pthread_mutex_lock(&record->mutex);
  const auto value = read(*record);
  pthread_mutex_unlock(&record->mutex);
  return value;
}

template <class Test>
void await(Test test) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(PATIENCE_MS);
  for (; !test(); std::this_thread::yield()) ASSERT_LT(std::chrono::steady_clock::now(), limit);
}

void await_waiters(pask_critsec_handle section) {
  await([=] { return under_mutex<critsec_record>(section, [](auto& record) { return record.waiters == 1; }); });
}

void await_waiters(pask_rwlock_handle lock, uint32_t readers, uint32_t writers) {
  const auto there = [=](auto& record) { return record.read_waiters == readers && record.write_waiters == writers; };
  await([=] { return under_mutex<rwlock_record>(lock, there); });
}

// Wakes whoever waits for the event, which stays as it is.
int disturb(pask_event_handle event) {
  return under_mutex<event_record>(event, [](auto& record) { return pthread_cond_broadcast(&record.cond); });
}

template <class Work>
auto start(Work work) {
  return std::async(std::launch::async, work);
}

class Locks : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(velox_standin_memory_live_blocks(), 0); }
};

template <class Handle>
void expect_null_refused(std::initializer_list<pask_status (*)(Handle)> operations) {
  for (const auto operation : operations) EXPECT_EQ(operation(nullptr), 0x90020001u);
}

TEST_F(Locks, NullAndRefusedMemory) {
  expect_null_refused({pask_thread_critsec_enter, pask_thread_critsec_leave});
  expect_null_refused({pask_thread_rwlock_readlock, pask_thread_rwlock_writelock, pask_thread_rwlock_unlock});
  expect_null_refused({pask_thread_event_signal, pask_thread_event_reset});
  EXPECT_EQ(pask_thread_event_wait(nullptr, 0), 0x90020001u);
  EXPECT_EQ(pask_thread_critsec_create(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_rwlock_create(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_event_create(nullptr, 0, 0), 0x90020001u);
  EXPECT_EQ(pask_thread_critsec_delete(nullptr) | pask_thread_rwlock_delete(nullptr), 0u);
  EXPECT_EQ(pask_thread_event_delete(nullptr), 0u);

  pask_critsec_handle section;
  pask_rwlock_handle lock;
  pask_event_handle event;
  velox_standin_memory_refuse(0, 1);
  EXPECT_EQ(pask_thread_critsec_create(&section), 0x90020002u);
  EXPECT_EQ(pask_thread_rwlock_create(&lock), 0x90020002u);
  EXPECT_EQ(pask_thread_event_create(&event, 1, 1), 0x90020002u);
  velox_standin_memory_refuse_end();
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

TEST_F(Critsec, IsHeldUntilTheLastLevelIsLeftAndNotDeletedInUse) {
  EXPECT_EQ(pask_thread_critsec_enter(section) | pask_thread_critsec_enter(section), 0u);
  EXPECT_EQ(start([&] { return pask_thread_critsec_delete(section); }).get(), 0x90020006u);
  std::atomic<int> levels{2};
  auto other = start([&] {
    EXPECT_EQ(pask_thread_critsec_enter(section), 0u);
    const int left = levels;
    EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
    return left;
  });
  await_waiters(section);
  EXPECT_EQ(pask_thread_critsec_delete(section), 0x90020006u);
  EXPECT_EQ(start([&] { return pask_thread_critsec_leave(section); }).get(), 0u);  // holds nothing, changes nothing
  levels = 1;
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
  for (int i = 0; i < 1000; ++i) std::this_thread::yield();
  await_waiters(section);
  levels = 0;
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
  EXPECT_EQ(other.get(), 0);
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);  // free already
  EXPECT_EQ(pask_thread_critsec_enter(section), 0u);  // a free section, and one that its owner holds, can go: TearDown
}

TEST_F(Critsec, LetsOneThreadInAtATime) {
  int sum = 0;
  std::vector<std::jthread> threads;
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
  threads.clear();
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
  void take(char letter) {
    takers.emplace_back([this, letter] {
      EXPECT_EQ(letter == 'w' ? pask_thread_rwlock_writelock(lock) : pask_thread_rwlock_readlock(lock), 0u);
      order[static_cast<size_t>(next++)] = letter;
      EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
    });
  }
  pask_rwlock_handle lock = nullptr;
  std::atomic<int> next{0};
  std::string order = "----";
  std::vector<std::jthread> takers;
};

TEST_F(Rwlock, WritersGoFirst) {
  ASSERT_EQ(pask_thread_rwlock_readlock(lock), 0u);
  EXPECT_EQ(start([&] { return pask_thread_rwlock_readlock(lock) | pask_thread_rwlock_unlock(lock); }).get(), 0u);
  take('w');
  await_waiters(lock, 0, 1);
  take('r');  // not let in beside the first reader, for a writer waits
  await_waiters(lock, 1, 1);
  EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
  takers.clear();
  EXPECT_EQ(order, "wr--");

  next = 0;
  ASSERT_EQ(pask_thread_rwlock_writelock(lock), 0u);
  for (const uint32_t writers : {0u, 2u}) {
    for (int i = 0; i < 2; ++i) take(writers ? 'w' : 'r');
    await_waiters(lock, 2, writers);
  }
  EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
  takers.clear();
  EXPECT_EQ(order, "wwrr");
}

TEST_F(Rwlock, ReadersNeverSeeHalfAWrite) {
  int a = 0;
  int b = 0;
  std::atomic<int> torn{0};
  for (int t = 0; t < 4; ++t)
    takers.emplace_back([&, t] {
      for (int i = 0; i < 3000; ++i) {
        t == 0 ? pask_thread_rwlock_writelock(lock) : pask_thread_rwlock_readlock(lock);
        if (t == 0) ++a, ++b;
        if (a != b) ++torn;
        pask_thread_rwlock_unlock(lock);
      }
    });
  takers.clear();
  EXPECT_EQ(a, 3000);
  EXPECT_EQ(torn, 0);
}

class Event : public Locks {
 protected:
  void make(uint8_t signalled, uint8_t manual) {
    EXPECT_EQ(pask_thread_event_delete(event), 0u);
    ASSERT_EQ(pask_thread_event_create(&event, signalled, manual), 0u);
  }
  void TearDown() override {
    EXPECT_EQ(pask_thread_event_delete(event), 0u);
    Locks::TearDown();
  }
  pask_event_handle event = nullptr;
};

TEST_F(Event, KeepsOrConsumesItsSignal) {
  for (const uint8_t manual : {uint8_t{0}, uint8_t{2}}) {
    const pask_status second = manual ? 0u : PASK_THREAD_INFO_TIMEOUT;
    make(1, manual);
    for (const uint32_t timeout : {0u, PASK_THREAD_NO_LIMIT}) {
      EXPECT_EQ(pask_thread_event_wait(event, timeout), 0u);
      EXPECT_EQ(pask_thread_event_wait(event, 0), second);
      EXPECT_EQ(pask_thread_event_signal(event), 0u);
    }
    EXPECT_EQ(pask_thread_event_reset(event), 0u);
    EXPECT_EQ(pask_thread_event_wait(event, 0), PASK_THREAD_INFO_TIMEOUT);
  }
}

TEST_F(Event, SignalLetsOneWaiterThroughAtATime) {
  make(0, 0);
  std::atomic<int> through{0};
  std::vector<std::jthread> threads;
  for (const uint32_t timeout : {PATIENCE_MS, PASK_THREAD_NO_LIMIT, PATIENCE_MS})
    threads.emplace_back([&, timeout] {
      EXPECT_EQ(pask_thread_event_wait(event, timeout), 0u);
      ++through;
    });
  for (int t = 1; t <= 3; ++t) {
    EXPECT_EQ(pask_thread_event_signal(event), 0u);
    await([&] { return through == t; });
    EXPECT_EQ(pask_thread_event_wait(event, 0), PASK_THREAD_INFO_TIMEOUT);
  }
}

// The signal and the reset lie in one hold of the event's mutex, so that no waiter can see the state between them.
TEST_F(Event, ManualSignalCountsThoughItIsResetBeforeTheWaiterRuns) {
  make(0, 1);
  std::atomic<int> waiting{2};
  std::vector<std::jthread> threads;
  for (const uint32_t timeout : {PATIENCE_MS, PASK_THREAD_NO_LIMIT})
    threads.emplace_back([&, timeout] {
      EXPECT_EQ(pask_thread_event_wait(event, timeout), 0u);
      --waiting;
    });
  await([&] { return disturb(event) == 0 && waiting == 0; });
}

// Neither a wake without the state nor an early timeout ends the wait; the second timeout carries over a full second.
TEST_F(Event, TimeoutComesNoSoonerThanAsked) {
  make(0, 0);
  std::jthread disturber([this](std::stop_token stop) {
    for (; !stop.stop_requested(); std::this_thread::yield()) disturb(event);
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
}

}  // namespace
