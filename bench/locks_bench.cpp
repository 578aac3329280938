// Critical section, read-write lock and event against std::recursive_mutex, pthread_rwlock_t, and a mutex with a condition
// variable: in a process of one thread, where libc too does without atomic instructions, then in one of several.
#include <pthread.h>
#include <velox/pask_thread.h>

#include "against.h"

#include <condition_variable>
#include <latch>
#include <mutex>
#include <thread>

namespace {

// Starts a thread that only lives, so that the process has several from here on.
void several_threads() {
  static std::latch never(1);
  static std::jthread* const other = new std::jthread([] { never.wait(); });
  benchmark::DoNotOptimize(other);
}

struct section {
  section() { pask_thread_critsec_create(&handle); }
  void enter() { pask_thread_critsec_enter(handle); }
  void leave() { pask_thread_critsec_leave(handle); }
  pask_critsec_handle handle = nullptr;
};

struct recursive_mutex {
  void enter() { mutex.lock(); }
  void leave() { mutex.unlock(); }
  std::recursive_mutex mutex;
};

struct rwlock {
  rwlock() { pask_thread_rwlock_create(&handle); }
  void read() { pask_thread_rwlock_readlock(handle); }
  void write() { pask_thread_rwlock_writelock(handle); }
  void unlock() { pask_thread_rwlock_unlock(handle); }
  pask_rwlock_handle handle = nullptr;
};

struct posix_rwlock {
  void read() { pthread_rwlock_rdlock(&lock); }
  void write() { pthread_rwlock_wrlock(&lock); }
  void unlock() { pthread_rwlock_unlock(&lock); }
  pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
};

struct event {
  event() { pask_thread_event_create(&handle, 0, 0); }
  void wait() { pask_thread_event_wait(handle, PASK_THREAD_NO_LIMIT); }
  void signal() { pask_thread_event_signal(handle); }
  pask_event_handle handle = nullptr;
};

struct mutex_and_condition {
  void wait() {
    std::unique_lock held(mutex);
    condition.wait(held, [this] { return signalled; });
    signalled = false;
  }
  void signal() {
    const std::lock_guard held(mutex);
    signalled = true;
    condition.notify_one();
  }
  std::mutex mutex;
  std::condition_variable condition;
  bool signalled = false;
};

template <class Object>
Object& shared() {
  alignas(64) static Object object;
  return object;
}

/* ---- Nobody in the way --------------------------------------------------------------------------------------------- */

template <class Lock, class Work>
void alone(benchmark::State& state, bool several, Work work) {
  if (several) several_threads();
  Lock& lock = shared<Lock>();
  for (auto _ : state) work(lock);
}

#define ALONE(name, lock_type, several, ...) \
  WORKLOAD(name,                             \
           [](benchmark::State& state) { alone<lock_type>(state, several, [](lock_type& lock) { __VA_ARGS__; }); })
/* In a process of one thread, and in one of several. */
#define FREE(name, type, who, ...)                                \
  ALONE(name ", the only thread|" who, type, false, __VA_ARGS__); \
  ALONE(name "|" who, type, true, __VA_ARGS__)

FREE("critical section, enter and leave", section, "ours", lock.enter(), lock.leave());
FREE("critical section, enter and leave", recursive_mutex, "std::recursive_mutex", lock.enter(), lock.leave());
FREE("critical section, twice", section, "ours", lock.enter(), lock.enter(), lock.leave(), lock.leave());
FREE("critical section, twice", recursive_mutex, "std::recursive_mutex", lock.enter(), lock.enter(), lock.leave(),
     lock.leave());
FREE("read-write lock, to read", rwlock, "ours", lock.read(), lock.unlock());
FREE("read-write lock, to read", posix_rwlock, "pthread_rwlock", lock.read(), lock.unlock());
FREE("read-write lock, to write", rwlock, "ours", lock.write(), lock.unlock());
FREE("read-write lock, to write", posix_rwlock, "pthread_rwlock", lock.write(), lock.unlock());

/* ---- Two threads --------------------------------------------------------------------------------------------------- */

template <class Lock>
void contend(benchmark::State& state) {
  Lock& lock = shared<Lock>();
  static uint64_t counter;
  for (auto _ : state) {
    lock.enter();
    benchmark::DoNotOptimize(++counter);
    lock.leave();
  }
}
WORKLOAD("critical section, two threads at once|ours", contend<section>)->Threads(2)->UseRealTime();
WORKLOAD("critical section, two threads at once|std::recursive_mutex", contend<recursive_mutex>)
    ->Threads(2)
    ->UseRealTime();

template <class Lock>
void read_together(benchmark::State& state) {
  Lock& lock = shared<Lock>();
  for (auto _ : state) lock.read(), lock.unlock();
}
WORKLOAD("read-write lock, two readers at once|ours", read_together<rwlock>)->Threads(2)->UseRealTime();
WORKLOAD("read-write lock, two readers at once|pthread_rwlock", read_together<posix_rwlock>)->Threads(2)->UseRealTime();

// There and back: each thread signals what the other waits for.
template <class Event>
void round_trip(benchmark::State& state) {
  static Event there, back;
  if (state.thread_index() == 0)
    for (auto _ : state) there.signal(), back.wait();
  else
    for (auto _ : state) there.wait(), back.signal();
}
WORKLOAD("event, there and back between two threads|ours", round_trip<event>)->Threads(2)->UseRealTime();
WORKLOAD("event, there and back between two threads|mutex and condition", round_trip<mutex_and_condition>)
    ->Threads(2)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
