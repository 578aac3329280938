// Critical section, read-write lock, spinlock and event. Threads meet on what the objects themselves tell: their records begin as told
// here, and the counts of waiters are read under the record's own mutex.
#include <gtest/gtest.h>
#include <pthread.h>
#include <time.h>
#include <velox/pask_modules.h>
#include <velox/pask_spinlock.h>
#include <velox/pask_thread.h>
#include <velox/velox_standin.h>

#include <atomic>
#include <functional>
#include <future>
#include <latch>
#include <thread>
#include <vector>

#include "await.h"

namespace {

struct critsec_record {
  int32_t waiters, count;
  void* owner;
  uint32_t state;
  pthread_cond_t cond;
  pthread_mutex_t mutex;
};

struct rwlock_record {
  pthread_mutex_t mutex;
  pthread_cond_t read_cond, write_cond;
  uint32_t state, read_waiters, write_waiters;
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
  void SetUp() override {
    ASSERT_EQ(pask_thread_critsec_create(&section) | pask_thread_rwlock_create(&lock), 0u);
    make_event(0, 0);
  }
  void TearDown() override {
    EXPECT_EQ(pask_thread_critsec_delete(section), 0u);
    EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0x90020001u);  // nobody holds it
    EXPECT_EQ(pask_thread_rwlock_delete(lock) | pask_thread_event_delete(event), 0u);
    EXPECT_EQ(velox_standin_memory_live_blocks(), 0);
  }
  void make_event(uint8_t signalled, uint8_t manual) {
    EXPECT_EQ(pask_thread_event_delete(event), 0u);
    ASSERT_EQ(pask_thread_event_create(&event, signalled, manual), 0u);
  }
  void await_one_at_section() {
    await([=, this] { return under_mutex<critsec_record>(section, [](auto& record) { return record.waiters == 1; }); });
  }
  void await_at_lock(uint32_t readers, uint32_t writers) {
    const auto there = [=](auto& record) { return record.read_waiters == readers && record.write_waiters == writers; };
    await([=, this] { return under_mutex<rwlock_record>(lock, there); });
  }
  // A thread that takes the lock, writes its letter, which only one writer or several readers can do at once, and unlocks.
  void take(char letter) {
    threads.emplace_back([this, letter] {
      EXPECT_EQ((letter == 'w' ? pask_thread_rwlock_writelock : pask_thread_rwlock_readlock)(lock), 0u);
      order[static_cast<size_t>(next++)] = letter;
      EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
    });
  }
  pask_critsec_handle section = nullptr;
  pask_rwlock_handle lock = nullptr;
  pask_event_handle event = nullptr;
  std::atomic<int> next{0};
  std::string order = "----";
  std::vector<std::jthread> threads;
};

template <class Handle>
void expect_null_refused(std::initializer_list<pask_status (*)(Handle)> operations, pask_status refusal) {
  for (const auto operation : operations) EXPECT_EQ(operation(nullptr), refusal);
}

TEST(Null, IsRefusedExceptByDelete) {
  expect_null_refused({pask_thread_critsec_enter, pask_thread_critsec_leave}, 0x90020001);
  expect_null_refused({pask_thread_rwlock_readlock, pask_thread_rwlock_writelock, pask_thread_rwlock_unlock},
                      0x90020001);
  expect_null_refused({pask_thread_event_signal, pask_thread_event_reset}, 0x90020001);
  expect_null_refused({pask_spinlock_init, pask_spinlock_lock, pask_spinlock_unlock}, 0x901f0001);
  EXPECT_EQ(pask_thread_event_wait(nullptr, 0), 0x90020001u);
  EXPECT_EQ(pask_thread_critsec_create(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_rwlock_create(nullptr), 0x90020001u);
  EXPECT_EQ(pask_thread_event_create(nullptr, 0, 0), 0x90020001u);
  EXPECT_EQ(pask_thread_critsec_delete(nullptr) | pask_thread_rwlock_delete(nullptr), 0u);
  EXPECT_EQ(pask_thread_event_delete(nullptr) | pask_spinlock_delete(nullptr), 0u);
}

// Goes on at once, lets others go first, or sleeps, now and then.
void dawdle(uint32_t& random) {
  random = random * 1664525 + 1013904223;
  if (random >> 28 == 0) std::this_thread::yield();
  if (random >> 23 == 1) std::this_thread::sleep_for(std::chrono::microseconds(random >> 16 & 63));
}

// Every thread adds to the sum once for each of its levels; what is read between two writes is the same twice.
template <class Handle>
void expect_one_at_a_time(Handle handle, int levels, pask_status (*enter)(Handle), pask_status (*leave)(Handle),
                          pask_status (*read)(Handle) = nullptr) {
  for (const uint32_t threads : {2u, 4u, 16u}) {
    int sum = 0, copy = 0;
    {
      std::vector<std::jthread> running;
      for (uint32_t t = 0; t < threads; ++t)
        running.emplace_back([&, random = t]() mutable {
          for (int i = 0; i < 1600; ++i, dawdle(random)) {
            for (int level = 0; level < levels; ++level) enter(handle);
            for (int level = 0; level < levels; ++level, leave(handle)) copy = ++sum;
            if (!read) continue;
            read(handle);
            EXPECT_EQ(copy, sum);
            leave(handle);
          }
        });
    }
    EXPECT_EQ(sum, static_cast<int>(threads) * 1600 * levels);
  }
}

pask_spinlock s_zeroed;

TEST_F(Locks, LetOneThreadInAtATime) {
  expect_one_at_a_time(section, 2, pask_thread_critsec_enter, pask_thread_critsec_leave);
  expect_one_at_a_time(lock, 1, pask_thread_rwlock_writelock, pask_thread_rwlock_unlock, pask_thread_rwlock_readlock);
  pask_spinlock made;
  ASSERT_EQ(pask_spinlock_init(&made), 0u);
  for (pask_spinlock* spinlock : {&s_zeroed, &made})
    expect_one_at_a_time(spinlock, 1, pask_spinlock_lock, pask_spinlock_unlock);
  EXPECT_EQ(pask_spinlock_delete(&made), 0u);
}

TEST_F(Locks, SectionIsHeldUntilTheLastLevelIsLeftAndNotDeletedInUse) {
  EXPECT_EQ(pask_thread_critsec_enter(section) | pask_thread_critsec_enter(section), 0u);
  EXPECT_EQ(start([&] { return pask_thread_critsec_delete(section); }).get(), 0x90020006u);
  std::atomic<int> levels{2};
  auto other = start([&] {
    EXPECT_EQ(pask_thread_critsec_enter(section), 0u);
    const int left = levels;
    EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
    return left;
  });
  await_one_at_section();
  EXPECT_EQ(pask_thread_critsec_delete(section), 0x90020006u);
  EXPECT_EQ(start([&] { return pask_thread_critsec_leave(section); }).get(), 0u);  // holds nothing, changes nothing
  levels = 1;
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
  for (int i = 0; i < 1000; ++i) std::this_thread::yield();
  await_one_at_section();
  levels = 0;
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);
  EXPECT_EQ(other.get(), 0);
  EXPECT_EQ(pask_thread_critsec_leave(section), 0u);  // free already
  EXPECT_EQ(pask_thread_critsec_enter(section), 0u);  // a free section, and one that its owner holds, can go: TearDown
}

TEST_F(Locks, WritersGoFirst) {
  ASSERT_EQ(pask_thread_rwlock_readlock(lock), 0u);
  EXPECT_EQ(start([&] { return pask_thread_rwlock_readlock(lock) | pask_thread_rwlock_unlock(lock); }).get(), 0u);
  take('w');
  await_at_lock(0, 1);
  take('r');  // not let in beside the first reader, for a writer waits
  await_at_lock(1, 1);
  EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
  threads.clear();
  EXPECT_EQ(order, "wr--");

  next = 0;
  ASSERT_EQ(pask_thread_rwlock_writelock(lock), 0u);
  for (const uint32_t writers : {0u, 2u}) {
    for (int i = 0; i < 2; ++i) take(writers ? 'w' : 'r');
    await_at_lock(2, writers);
  }
  EXPECT_EQ(pask_thread_rwlock_unlock(lock), 0u);
  threads.clear();
  EXPECT_EQ(order, "wwrr");
}

TEST_F(Locks, EventKeepsOrConsumesItsSignal) {
  for (const uint8_t manual : {uint8_t{0}, uint8_t{2}}) {
    make_event(1, manual);
    for (const uint32_t timeout : {0u, PASK_THREAD_NO_LIMIT}) {
      EXPECT_EQ(pask_thread_event_wait(event, timeout), 0u);
      EXPECT_EQ(pask_thread_event_wait(event, 0), manual ? 0u : PASK_THREAD_INFO_TIMEOUT);
      EXPECT_EQ(pask_thread_event_signal(event), 0u);
    }
    EXPECT_EQ(pask_thread_event_reset(event), 0u);
    EXPECT_EQ(pask_thread_event_wait(event, 0), PASK_THREAD_INFO_TIMEOUT);
  }
}

using waiting = std::function<pask_status()>;
void* run_waiting(void* wait) {
  (*static_cast<waiting*>(wait))();
  return nullptr;
}
void* wait_for_latch(void* latch) {
  static_cast<std::latch*>(latch)->wait();
  return nullptr;
}

// The objects are held by the thread that cancels. What is left of the wait would be in the way of what comes after.
TEST_F(Locks, AreAsBeforeWhenAThreadIsCancelledInItsWait) {
  ASSERT_EQ(pask_thread_initialize(), 0u);
  std::latch end(1);
  pask_thread_handle running = nullptr;
  ASSERT_EQ(pask_thread_create(wait_for_latch, 0, &end, &running), 0u);
  std::pair<const char*, waiting> rows[] = {
      {"section", [&] { return pask_thread_critsec_enter(section); }},
      {"reader", [&] { return pask_thread_rwlock_readlock(lock); }},
      {"writer", [&] { return pask_thread_rwlock_writelock(lock); }},
      {"event", [&] { return pask_thread_event_wait(event, PASK_THREAD_NO_LIMIT); }},
      {"event with a limit", [&] { return pask_thread_event_wait(event, PATIENCE_MS); }},
      {"a thread's end", [&] { return pask_thread_wait_and_cleanup(running, PASK_THREAD_NO_LIMIT); }}};
  for (auto& [what, wait] : rows) {
    ASSERT_EQ(pask_thread_critsec_enter(section) | pask_thread_rwlock_writelock(lock), 0u) << what;
    pthread_t thread;
    void* result = nullptr;
    ASSERT_EQ(pthread_create(&thread, nullptr, run_waiting, &wait), 0);
    EXPECT_EQ(pthread_cancel(thread) | pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED) << what;
    EXPECT_EQ(pask_thread_critsec_leave(section) | pask_thread_rwlock_unlock(lock), 0u) << what;
    EXPECT_EQ(pask_thread_event_wait(event, 0), PASK_THREAD_INFO_TIMEOUT) << what;
  }
  end.count_down();
  EXPECT_EQ(pask_thread_wait_and_cleanup(running, PASK_THREAD_NO_LIMIT) | pask_thread_shutdown(), 0u);
}

// Neither a wake without the state nor an early timeout ends the wait; the second timeout carries over a full second.
TEST_F(Locks, EventTimeoutComesNoSoonerThanAsked) {
  std::jthread disturber([this](std::stop_token stop) {
    for (; !stop.stop_requested(); std::this_thread::yield()) disturb(event), pask_thread_event_reset(event);
  });
  const auto now_us = [] {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
  };
  for (const uint32_t timeout : {30u, static_cast<uint32_t>(1005 - now_us() / 1000 % 1000), 1000u}) {
    const int64_t start = now_us();
    EXPECT_EQ(pask_thread_event_wait(event, timeout), PASK_THREAD_INFO_TIMEOUT);
    EXPECT_GE(now_us() - start, int64_t{timeout} * 1000);
  }
}

}  // namespace
