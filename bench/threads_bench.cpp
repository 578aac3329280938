// Atomics against std::atomic, a thread's start and end against std::thread and POSIX, the thread store against
// thread_local and a POSIX key.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <velox/pask_atomic.h>
#include <velox/pask_modules.h>
#include <velox/pask_thread_store.h>
#include <velox/velox_manager.h>

#include <atomic>
#include <thread>

namespace {

constexpr int32_t SLOT = 5;

template <class Work>
void repeat(benchmark::State& state, Work work) {
  pask_thread_initialize();
  pask_thread_store_set(nullptr, SLOT, 1, nullptr);
  for (auto _ : state) work();
  pask_thread_shutdown();
}

#define THREADS_BENCH(name, ...)        \
  void name(benchmark::State& state) {  \
    repeat(state, [] { __VA_ARGS__; }); \
  }                                     \
  BENCHMARK(name)

/* ---- Atomics ------------------------------------------------------------------------------------------------------- */

alignas(64) uint32_t s_word;
alignas(64) std::atomic<uint32_t> s_atomic;
uint32_t s_out;
uint8_t s_swapped;

THREADS_BENCH(atomic_inc, pask_atomic_inc(&s_word, &s_out));
THREADS_BENCH(std_inc, benchmark::DoNotOptimize(++s_atomic));
THREADS_BENCH(atomic_read, pask_atomic_read(&s_word, &s_out));
THREADS_BENCH(std_read, benchmark::DoNotOptimize(s_atomic.load()));
THREADS_BENCH(atomic_cas, pask_atomic_cas(&s_word, 0, 0, &s_swapped));
THREADS_BENCH(std_cas, uint32_t expected = 0; benchmark::DoNotOptimize(s_atomic.compare_exchange_strong(expected, 0)));

/* ---- Start and end ------------------------------------------------------------------------------------------------- */

void* nothing(void*) { return nullptr; }

THREADS_BENCH(thread_create_and_wait, pask_thread_handle thread = nullptr;
              pask_thread_create(nothing, 0, nullptr, &thread);
              pask_thread_wait_and_cleanup(thread, PASK_THREAD_NO_LIMIT))
    ->UseRealTime();
THREADS_BENCH(std_thread_and_join, std::thread([] {}).join())->UseRealTime();
THREADS_BENCH(pthread_create_and_join, pthread_t thread; pthread_create(&thread, nullptr, nothing, nullptr);
              pthread_join(thread, nullptr))
    ->UseRealTime();

/* ---- Store --------------------------------------------------------------------------------------------------------- */

thread_local uintptr_t t_values[16];
uintptr_t s_value;

THREADS_BENCH(store_get, pask_thread_store_get(nullptr, SLOT, &s_value));
THREADS_BENCH(store_set, pask_thread_store_set(nullptr, SLOT, 1, nullptr));
THREADS_BENCH(posix_key_get, benchmark::DoNotOptimize(pthread_getspecific(g_pask_thread_store_key)));
THREADS_BENCH(posix_key_set,
              pthread_setspecific(g_pask_thread_store_key, pthread_getspecific(g_pask_thread_store_key)));
THREADS_BENCH(thread_local_get, benchmark::DoNotOptimize(t_values[SLOT]));

}  // namespace

BENCHMARK_MAIN();
