// The library's own share of a request, over tables that do nothing.
#include <benchmark/benchmark.h>
#include <velox/velox_cadenz.h>
#include <velox/velox_standin.h>

#include "null_manager.h"

namespace {

struct started {
  started() { velox_cadenz_initialize(&null_manager::g_record); }
  ~started() { velox_cadenz_shutdown(); }
};

void recommend(benchmark::State& state) {
  const started service;
  velox_cadenz_query_handle query = nullptr;
  velox_cadenz_query_create(null_manager::any<velox_user_handle>(), nullptr, nullptr, &query);
  for (int64_t i = 0; i < state.range(0); ++i) velox_cadenz_query_set_mdo(query, null_manager::any<velox_mdo_handle>());
  const uint64_t before = velox_standin_memory_allocations();
  for (auto _ : state) {
    velox_mdo_handle result = nullptr;
    velox_cadenz_query_generate_recommendations(query, nullptr, &result);
    benchmark::DoNotOptimize(result);
  }
  state.counters["allocations"] =
      static_cast<double>(velox_standin_memory_allocations() - before) / static_cast<double>(state.iterations());
  velox_cadenz_query_release(query);
}
BENCHMARK(recommend)->Arg(1)->Arg(6);

void option_set(benchmark::State& state) {
  const started service;
  velox_cadenz_query_handle query = nullptr;
  velox_cadenz_query_create(null_manager::any<velox_user_handle>(), nullptr, nullptr, &query);
  for (auto _ : state) velox_cadenz_query_option_set(query, VELOX_CADENZ_OPTION_CATALOG_FILTER, "genre:Dream Pop");
  velox_cadenz_query_release(query);
}
BENCHMARK(option_set);

}  // namespace

BENCHMARK_MAIN();
