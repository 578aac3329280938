// Atomics against std::atomic, a thread's start and end against std::thread and POSIX, the thread store against
// thread_local and a POSIX key.
#include <pthread.h>
#include <velox/pask_atomic.h>
#include <velox/pask_modules.h>
#include <velox/pask_thread_store.h>
#include <velox/velox_manager.h>

#include "against.h"

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

#define REPEAT(name, ...) WORKLOAD(name, [](benchmark::State& state) { repeat(state, [] { __VA_ARGS__; }); })

/* ---- Atomics ------------------------------------------------------------------------------------------------------- */

alignas(64) uint32_t s_word;
alignas(64) std::atomic<uint32_t> s_atomic;
uint32_t s_out;
uint8_t s_swapped;

REPEAT("atomic increment|ours", pask_atomic_inc(&s_word, &s_out));
REPEAT("atomic increment|std::atomic", benchmark::DoNotOptimize(++s_atomic));
REPEAT("atomic read|ours", pask_atomic_read(&s_word, &s_out));
REPEAT("atomic read|std::atomic", benchmark::DoNotOptimize(s_atomic.load()));
REPEAT("atomic compare and swap|ours", pask_atomic_cas(&s_word, 0, 0, &s_swapped));
REPEAT("atomic compare and swap|std::atomic", uint32_t expected = 0;
       benchmark::DoNotOptimize(s_atomic.compare_exchange_strong(expected, 0)));

/* ---- Start and end ------------------------------------------------------------------------------------------------- */

void* nothing(void*) { return nullptr; }

REPEAT("start a thread and await its end|ours", pask_thread_handle thread = nullptr;
       pask_thread_create(nothing, 0, nullptr, &thread); pask_thread_wait_and_cleanup(thread, PASK_THREAD_NO_LIMIT))
    ->UseRealTime();
REPEAT("start a thread and await its end|std::thread", std::thread([] {}).join())->UseRealTime();
REPEAT("start a thread and await its end|pthread_create", pthread_t thread;
       pthread_create(&thread, nullptr, nothing, nullptr); pthread_join(thread, nullptr))
    ->UseRealTime();

/* ---- Store --------------------------------------------------------------------------------------------------------- */

thread_local uintptr_t t_values[16];
uintptr_t s_value;

REPEAT("a value of the thread, get|ours", pask_thread_store_get(nullptr, SLOT, &s_value));
REPEAT("a value of the thread, set|ours", pask_thread_store_set(nullptr, SLOT, 1, nullptr));
REPEAT("a value of the thread, get|pthread_getspecific",
       benchmark::DoNotOptimize(pthread_getspecific(g_pask_thread_store_key)));
REPEAT("a value of the thread, set|pthread_setspecific",
       pthread_setspecific(g_pask_thread_store_key, pthread_getspecific(g_pask_thread_store_key)));
REPEAT("a value of the thread, get|thread_local", benchmark::DoNotOptimize(t_values[SLOT]));

}  // namespace

BENCHMARK_MAIN();
