// Critical section, read-write lock and event against std::recursive_mutex, pthread_rwlock_t, and a mutex with a condition
// variable: in a process of one thread, where libc too does without atomic instructions, then in one of several.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <velox/pask_thread.h>

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

template <class Lock>
void enter_twice(benchmark::State& state) {
  if (state.range(0)) several_threads();
  Lock& lock = shared<Lock>();
  for (auto _ : state) lock.enter(), lock.enter(), lock.leave(), lock.leave();
}

template <class Lock>
void enter_once(benchmark::State& state) {
  if (state.range(0)) several_threads();
  Lock& lock = shared<Lock>();
  for (auto _ : state) lock.enter(), lock.leave();
}

template <class Lock>
void read_once(benchmark::State& state) {
  if (state.range(0)) several_threads();
  Lock& lock = shared<Lock>();
  for (auto _ : state) lock.read(), lock.unlock();
}

template <class Lock>
void write_once(benchmark::State& state) {
  if (state.range(0)) several_threads();
  Lock& lock = shared<Lock>();
  for (auto _ : state) lock.write(), lock.unlock();
}

/* Those of a process of one thread must come first. */
#define ALL_FREE(threads)                                                    \
  BENCHMARK(enter_once<section>)->ArgName("threads")->Arg(threads);          \
  BENCHMARK(enter_once<recursive_mutex>)->ArgName("threads")->Arg(threads);  \
  BENCHMARK(enter_twice<section>)->ArgName("threads")->Arg(threads);         \
  BENCHMARK(enter_twice<recursive_mutex>)->ArgName("threads")->Arg(threads); \
  BENCHMARK(read_once<rwlock>)->ArgName("threads")->Arg(threads);            \
  BENCHMARK(read_once<posix_rwlock>)->ArgName("threads")->Arg(threads);      \
  BENCHMARK(write_once<rwlock>)->ArgName("threads")->Arg(threads);           \
  BENCHMARK(write_once<posix_rwlock>)->ArgName("threads")->Arg(threads)

ALL_FREE(0);
ALL_FREE(1);

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
BENCHMARK(contend<section>)->Threads(2)->UseRealTime();
BENCHMARK(contend<recursive_mutex>)->Threads(2)->UseRealTime();

template <class Lock>
void read_together(benchmark::State& state) {
  Lock& lock = shared<Lock>();
  for (auto _ : state) lock.read(), lock.unlock();
}
BENCHMARK(read_together<rwlock>)->Threads(2)->UseRealTime();
BENCHMARK(read_together<posix_rwlock>)->Threads(2)->UseRealTime();

// There and back: each thread signals what the other waits for.
template <class Event>
void round_trip(benchmark::State& state) {
  static Event there, back;
  if (state.thread_index() == 0)
    for (auto _ : state) there.signal(), back.wait();
  else
    for (auto _ : state) there.wait(), back.signal();
}
BENCHMARK(round_trip<event>)->Threads(2)->UseRealTime();
BENCHMARK(round_trip<mutex_and_condition>)->Threads(2)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
