// The vector of records against std::vector of structs, std::lower_bound, std::find and qsort.
#include <stdlib.h>
#include <velox/pask_modules.h>
#include <velox/pask_vector2.h>

#include "against.h"

#include <algorithm>
#include <random>
#include <vector>

#if __has_include(<glib.h>)
#include <glib.h>
#define HAVE_GLIB 1
#endif

namespace {

template <size_t Words>
struct record {
  uint32_t key;
  uint32_t rest[Words - 1];
};

template <size_t Words>
int32_t by_key(const void* a, const void* b) {
  const uint32_t left = static_cast<const record<Words>*>(a)->key, right = static_cast<const record<Words>*>(b)->key;
  return (left > right) - (left < right);
}

template <size_t Words>
bool less(const record<Words>& a, const record<Words>& b) {
  return a.key < b.key;
}

template <size_t Words>
std::vector<record<Words>> random_records(size_t count) {
  std::mt19937 random(1);
  std::vector<record<Words>> all(count);
  for (auto& each : all) each.key = static_cast<uint32_t>(random());
  return all;
}

// A vector over a copy of the records, in their order.
template <size_t Words>
struct filled {
  explicit filled(const std::vector<record<Words>>& records, uint32_t flags = 0) {
    pask_datatypes_initialize();
    pask_vector2_create(&vector, sizeof(record<Words>), flags, by_key<Words>, nullptr);
    pask_vector2_set_min_size(vector, static_cast<uint32_t>(records.size()));
    for (const auto& each : records) pask_vector2_add(vector, &each, sizeof each, nullptr);
  }
  filled(const filled&) = delete;
  filled& operator=(const filled&) = delete;
  ~filled() {
    pask_vector2_delete(vector);
    pask_datatypes_shutdown();
  }
  pask_vector2_handle vector = nullptr;
};

/* ---- Appending and walking ----------------------------------------------------------------------------------------- */

template <size_t Words>
void Add_Vector2(benchmark::State& state) {
  pask_datatypes_initialize();
  for (auto _ : state) {
    pask_vector2_handle vector = nullptr;
    pask_vector2_create(&vector, sizeof(record<Words>), 0, nullptr, nullptr);
    record<Words> each = {};
    for (int64_t i = 0; i < state.range(0); ++i) pask_vector2_add(vector, &each, sizeof each, nullptr);
    pask_vector2_delete(vector);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  pask_datatypes_shutdown();
}

template <size_t Words>
void Add_StdVector(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<record<Words>> vector;
    record<Words> each = {};
    for (int64_t i = 0; i < state.range(0); ++i) {
      vector.push_back(each);
      benchmark::DoNotOptimize(vector.data());
      benchmark::ClobberMemory();
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
#ifdef HAVE_GLIB
template <size_t Words>
void Add_GArray(benchmark::State& state) {
  for (auto _ : state) {
    GArray* array = g_array_new(FALSE, FALSE, sizeof(record<Words>));
    record<Words> each = {};
    for (int64_t i = 0; i < state.range(0); ++i) g_array_append_vals(array, &each, 1);
    g_array_free(array, TRUE);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
#define ADD_TO_GLIB(bytes, words) WORKLOAD("vector of records, add " bytes " bytes|GArray", Add_GArray<words>)->RECORDS;
#else
#define ADD_TO_GLIB(bytes, words)
#endif
#define RECORDS ArgName("records")->Arg(10000)->Arg(1000000)
#define ADD(bytes, words)                                                               \
  WORKLOAD("vector of records, add " bytes " bytes|ours", Add_Vector2<words>)->RECORDS; \
  ADD_TO_GLIB(bytes, words)                                                             \
  WORKLOAD("vector of records, add " bytes " bytes|std::vector", Add_StdVector<words>)->RECORDS;
ADD("8", 2)
ADD("24", 6)

void Walk_Vector2(benchmark::State& state) {
  const filled<2> all(random_records<2>(10000));
  for (auto _ : state) {
    uint32_t sum = 0;
    pask_vector2_foreach(
        all.vector,
        [](void* context, void* element) -> uint8_t {
          *static_cast<uint32_t*>(context) += static_cast<record<2>*>(element)->key;
          return 1;
        },
        &sum);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}

void WalkByIndex_Vector2(benchmark::State& state) {
  const filled<2> all(random_records<2>(10000));
  for (auto _ : state) {
    uint32_t sum = 0;
    void* element = nullptr;
    for (uint32_t i = 0; pask_vector2_getindex(all.vector, i, &element) == 0; ++i)
      sum += static_cast<record<2>*>(element)->key;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
WORKLOAD("vector of records, walk 10,000|ours", Walk_Vector2);
WORKLOAD("vector of records, walk 10,000 by index|ours", WalkByIndex_Vector2);

/* ---- Search -------------------------------------------------------------------------------------------------------- */

std::vector<record<2>> sorted(std::vector<record<2>> records) {
  std::sort(records.begin(), records.end(), less<2>);
  return records;
}

void find_each(benchmark::State& state, uint32_t flags, bool hinted) {
  auto records = random_records<2>(static_cast<size_t>(state.range(0)));
  if (hinted) records = sorted(records);
  const filled<2> all(flags ? sorted(records) : records, flags);
  uint32_t i = 0, index = UINT32_MAX;
  for (auto _ : state) {
    if (!hinted) index = UINT32_MAX;
    pask_vector2_hintfind(all.vector, index, &records[i], &index);
    benchmark::DoNotOptimize(index);
    i = i + 1 < records.size() ? i + 1 : 0;
  }
}

void FindSorted_Vector2(benchmark::State& state) { find_each(state, PASK_VECTOR2_SORTED, false); }
void FindInTurn_Vector2(benchmark::State& state) { find_each(state, PASK_VECTOR2_SORTED, true); }
void FindUnsorted_Vector2(benchmark::State& state) { find_each(state, 0, false); }

void lower_bound_each(benchmark::State& state, bool in_turn) {
  const auto records = random_records<2>(static_cast<size_t>(state.range(0)));
  const auto all = sorted(records);
  const auto& wanted = in_turn ? all : records;
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::lower_bound(all.begin(), all.end(), wanted[i], less<2>));
    i = i + 1 < wanted.size() ? i + 1 : 0;
  }
}

void FindSorted_StdLowerBound(benchmark::State& state) { lower_bound_each(state, false); }
void FindInTurn_StdLowerBound(benchmark::State& state) { lower_bound_each(state, true); }

// The same behind a callback, as a C library has it.
int32_t (*volatile s_compare)(const void*, const void*) = by_key<2>;

void FindSorted_Bsearch(benchmark::State& state) {
  const auto records = random_records<2>(static_cast<size_t>(state.range(0)));
  const auto all = sorted(records);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(bsearch(&records[i], all.data(), all.size(), sizeof(record<2>), s_compare));
    i = i + 1 < records.size() ? i + 1 : 0;
  }
}

void FindUnsorted_StdFind(benchmark::State& state) {
  const auto records = random_records<2>(static_cast<size_t>(state.range(0)));
  size_t i = 0;
  for (auto _ : state) {
    const auto matches = [&, compare = s_compare](const record<2>& each) { return compare(&records[i], &each) == 0; };
    benchmark::DoNotOptimize(std::find_if(records.begin(), records.end(), matches));
    i = i + 1 < records.size() ? i + 1 : 0;
  }
}
#define AMONG(count) ArgName("records")->Arg(count)
WORKLOAD("vector of records, find, sorted|ours", FindSorted_Vector2)->AMONG(10000);
WORKLOAD("vector of records, find, sorted|std::lower_bound", FindSorted_StdLowerBound)->AMONG(10000);
WORKLOAD("vector of records, find, sorted|bsearch", FindSorted_Bsearch)->AMONG(10000);
WORKLOAD("vector of records, find each in turn with a hint|ours", FindInTurn_Vector2)->AMONG(10000);
WORKLOAD("vector of records, find each in turn with a hint|std::lower_bound", FindInTurn_StdLowerBound)->AMONG(10000);
WORKLOAD("vector of records, find, unsorted|ours", FindUnsorted_Vector2)->AMONG(1000);
WORKLOAD("vector of records, find, unsorted|std::find_if", FindUnsorted_StdFind)->AMONG(1000);

/* ---- Order --------------------------------------------------------------------------------------------------------- */

void AddSorted_Vector2(benchmark::State& state) {
  const auto records = random_records<2>(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    const filled<2> all(records, PASK_VECTOR2_SORTED);
    benchmark::DoNotOptimize(all.vector);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void AddSorted_StdVector(benchmark::State& state) {
  const auto records = random_records<2>(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    std::vector<record<2>> all;
    all.reserve(records.size());
    for (const auto& each : records) all.insert(std::upper_bound(all.begin(), all.end(), each, less<2>), each);
    benchmark::DoNotOptimize(all.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
WORKLOAD("vector of records, add to sorted ones|ours", AddSorted_Vector2)->AMONG(1000);
WORKLOAD("vector of records, add to sorted ones|std::upper_bound and insert", AddSorted_StdVector)->AMONG(1000);

template <size_t Words>
void Sort_Vector2(benchmark::State& state) {
  const auto records = random_records<Words>(static_cast<size_t>(state.range(0)));
  const filled<Words> all(records);
  void* buffer = nullptr;
  pask_vector2_get_buffer(all.vector, &buffer, nullptr, nullptr);
  for (auto _ : state) {
    std::copy(records.begin(), records.end(), static_cast<record<Words>*>(buffer));
    pask_vector2_sort(all.vector, by_key<Words>, 1);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <size_t Words>
void Sort_Qsort(benchmark::State& state) {
  const auto records = random_records<Words>(static_cast<size_t>(state.range(0)));
  auto all = records;
  for (auto _ : state) {
    std::copy(records.begin(), records.end(), all.begin());
    qsort(all.data(), all.size(), sizeof(record<Words>), by_key<Words>);
    benchmark::DoNotOptimize(all.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
WORKLOAD("vector of records, sort those of 8 bytes|ours", Sort_Vector2<2>)->AMONG(10000);
WORKLOAD("vector of records, sort those of 8 bytes|qsort", Sort_Qsort<2>)->AMONG(10000);
WORKLOAD("vector of records, sort those of 24 bytes|ours", Sort_Vector2<6>)->AMONG(10000);
WORKLOAD("vector of records, sort those of 24 bytes|qsort", Sort_Qsort<6>)->AMONG(10000);

}  // namespace

BENCHMARK_MAIN();
