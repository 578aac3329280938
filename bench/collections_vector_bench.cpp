// The vector against std::vector behind the same calls, the sort against qsort_r and std::sort.
#include <stdlib.h>
#include <velox/pask_modules.h>
#include <velox/pask_utils.h>
#include <velox/pask_vector.h>

#include "against.h"

#include <algorithm>
#include <mutex>
#include <random>
#include <vector>

#if __has_include(<glib.h>)
#include <glib.h>
#define HAVE_GLIB 1
#endif

namespace {

using values = std::vector<uintptr_t>;

values random_values(size_t count) {
  std::mt19937_64 random(1);
  values all(count);
  for (uintptr_t& value : all) value = static_cast<uintptr_t>(random() | 1);
  return all;
}

int32_t by_value(uintptr_t a, uintptr_t b) { return (a > b) - (a < b); }

/* ---- Vector -------------------------------------------------------------------------------------------------------- */

void vector_add(benchmark::State& state, uint32_t flags) {
  pask_datatypes_initialize();
  for (auto _ : state) {
    pask_vector_handle vector = nullptr;
    pask_vector_create(&vector, flags, nullptr, nullptr);
    for (int64_t i = 0; i < state.range(0); ++i) pask_vector_add(vector, static_cast<uintptr_t>(i));
    pask_vector_delete(vector);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  pask_datatypes_shutdown();
}

template <class Lock>
void std_vector_add(benchmark::State& state, Lock lock) {
  for (auto _ : state) {
    values vector;
    for (int64_t i = 0; i < state.range(0); ++i) {
      lock.lock();
      vector.push_back(static_cast<uintptr_t>(i));
      lock.unlock();
      benchmark::DoNotOptimize(vector.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

struct no_lock {
  void lock() {}
  void unlock() {}
};

struct recursive_lock {
  void lock() { mutex->lock(); }
  void unlock() { mutex->unlock(); }
  std::recursive_mutex* mutex;
};

std::recursive_mutex s_mutex;

void Add_Vector(benchmark::State& state) { vector_add(state, 0); }
void Add_StdVector(benchmark::State& state) { std_vector_add(state, no_lock{}); }
void AddLocked_Vector(benchmark::State& state) { vector_add(state, PASK_VECTOR_THREADSAFE); }
void AddLocked_StdVector(benchmark::State& state) { std_vector_add(state, recursive_lock{&s_mutex}); }
#define WORDS ArgName("words")->Arg(10000)->Arg(1000000)
WORKLOAD("vector, add|ours", Add_Vector)->WORDS;
WORKLOAD("vector, add|std::vector", Add_StdVector)->WORDS;

#ifdef HAVE_GLIB
void Add_GPtrArray(benchmark::State& state) {
  for (auto _ : state) {
    GPtrArray* array = g_ptr_array_new();
    for (int64_t i = 0; i < state.range(0); ++i) g_ptr_array_add(array, reinterpret_cast<void*>(i));
    g_ptr_array_free(array, TRUE);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
WORKLOAD("vector, add|GPtrArray", Add_GPtrArray)->WORDS;
#endif
WORKLOAD("vector with its lock, add|ours", AddLocked_Vector)->WORDS;
WORKLOAD("vector with its lock, add|std::vector and std::recursive_mutex", AddLocked_StdVector)->WORDS;

void FindSorted_Vector(benchmark::State& state) {
  pask_datatypes_initialize();
  pask_vector_handle vector = nullptr;
  pask_vector_create(&vector, 0, nullptr, nullptr);
  const values all = random_values(10000);
  for (const uintptr_t value : all) pask_vector_add(vector, value);
  pask_vector_sort(vector, by_value, 0);
  uint32_t index = 0;
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(pask_vector_find(vector, all[i++ % all.size()], &index));
  }
  pask_vector_delete(vector);
  pask_datatypes_shutdown();
}

void FindSorted_Bsearch(benchmark::State& state) {
  const values all = random_values(10000);
  values sorted = all;
  std::sort(sorted.begin(), sorted.end());
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(bsearch(&all[i++ % all.size()], sorted.data(), sorted.size(), sizeof(uintptr_t),
                                     [](const void* a, const void* b) -> int {
                                       return by_value(*static_cast<const uintptr_t*>(a),
                                                       *static_cast<const uintptr_t*>(b));
                                     }));
  }
}
WORKLOAD("vector, find among 10,000 sorted|ours", FindSorted_Vector);
WORKLOAD("vector, find among 10,000 sorted|bsearch", FindSorted_Bsearch);

/* ---- Sort ---------------------------------------------------------------------------------------------------------- */

// An element of so many bytes, in the order of its first word.
template <size_t Size>
struct element {
  uintptr_t key;
  unsigned char rest[Size - sizeof(uintptr_t)];
};
template <>
struct element<sizeof(uintptr_t)> {
  uintptr_t key;
};

int32_t by_key(const void* a, const void* b, void*) {
  return by_value(*static_cast<const uintptr_t*>(a), *static_cast<const uintptr_t*>(b));
}

template <size_t Size, class Sort>
void sort_all(benchmark::State& state, Sort sort) {
  std::vector<element<Size>> all(100000);
  const values keys = random_values(all.size());
  for (size_t i = 0; i < all.size(); ++i) all[i].key = keys[i];
  for (auto _ : state) {
    state.PauseTiming();
    auto work = all;
    state.ResumeTiming();
    sort(work);
    benchmark::DoNotOptimize(work.data());
  }
}

template <size_t Size>
void Sort_Utils(benchmark::State& state) {
  sort_all<Size>(state, [](auto& work) {
    pask_utils_qsort(work.data(), static_cast<uint32_t>(work.size()), Size, by_key, nullptr);
  });
}

template <size_t Size>
void Sort_LibcQsort(benchmark::State& state) {
  sort_all<Size>(state, [](auto& work) { qsort_r(work.data(), work.size(), Size, by_key, nullptr); });
}
#define SORT(size, bytes)                                                      \
  WORKLOAD("sort 100,000 elements of " size " bytes|ours", Sort_Utils<bytes>); \
  WORKLOAD("sort 100,000 elements of " size " bytes|qsort_r", Sort_LibcQsort<bytes>)
SORT("8", 8);
SORT("24", 24);
SORT("64", 64);

}  // namespace

BENCHMARK_MAIN();
