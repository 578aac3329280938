// The library's own share of a request, over tables that do nothing.
#include <velox/velox_cadenz.h>
#include <velox/velox_standin.h>

#include "against.h"
#include "plain_service.h"

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
WORKLOAD("a recommendation|ours", recommend)->ArgName("seeds")->Arg(1)->Arg(6);

// The same with all options set, and as plain C++ does it.
template <class Make>
void with_options(Make set) {
  for (const velox_option& one : plain::all_options)
    if (one.key && (one.owners & VELOX_OPTION_OF_QUERY)) set(one.key, "1");
}

velox_cadenz_query_handle full_query() {
  velox_cadenz_query_handle query = nullptr;
  velox_cadenz_query_create(null_manager::any<velox_user_handle>(), nullptr, nullptr, &query);
  with_options([query](const char* key, const char* value) { velox_cadenz_query_option_set(query, key, value); });
  for (int i = 0; i < 6; ++i) velox_cadenz_query_set_mdo(query, null_manager::any<velox_mdo_handle>());
  return query;
}

std::unique_ptr<plain::query> full_plain_query() {
  auto query = std::make_unique<plain::query>(null_manager::any<velox_user_handle>());
  with_options([&](const char* key, const char* value) { query->set(key, value); });
  for (int i = 0; i < 6; ++i) query->add(null_manager::any<velox_mdo_handle>());
  return query;
}

WORKLOAD("a recommendation of 6 seeds with 12 options|ours", [](benchmark::State& state) {
  const started service;
  velox_cadenz_query_handle query = full_query();
  for (auto _ : state) {
    velox_mdo_handle result = nullptr;
    velox_cadenz_query_generate_recommendations(query, nullptr, &result);
    benchmark::DoNotOptimize(result);
  }
  velox_cadenz_query_release(query);
});
WORKLOAD("a recommendation of 6 seeds with 12 options|plain C++", [](benchmark::State& state) {
  const auto query = full_plain_query();
  for (auto _ : state) benchmark::DoNotOptimize(query->recommend());
});
WORKLOAD("a query's life: 12 options, 6 seeds|ours", [](benchmark::State& state) {
  const started service;
  for (auto _ : state) velox_cadenz_query_release(full_query());
});
WORKLOAD("a query's life: 12 options, 6 seeds|plain C++", [](benchmark::State& state) {
  for (auto _ : state) full_plain_query();
});

void option_set(benchmark::State& state) {
  const started service;
  velox_cadenz_query_handle query = nullptr;
  velox_cadenz_query_create(null_manager::any<velox_user_handle>(), nullptr, nullptr, &query);
  for (auto _ : state) velox_cadenz_query_option_set(query, VELOX_CADENZ_OPTION_CATALOG_FILTER, "genre:Dream Pop");
  velox_cadenz_query_release(query);
}
WORKLOAD("set an option|ours", option_set);

// With nothing new, and with an event for each playlist.
void generate_playlist(benchmark::State& state) {
  const started service;
  velox_cadenz_query_handle query = nullptr;
  velox_cadenz_station_handle station = nullptr;
  velox_cadenz_query_create(null_manager::any<velox_user_handle>(), nullptr, nullptr, &query);
  velox_cadenz_query_generate_station(query, nullptr, nullptr, nullptr, &station);
  const bool event = state.range(0) != 0;
  const uint64_t before = velox_standin_memory_allocations();
  for (auto _ : state) {
    if (event)
      velox_cadenz_station_event(station, VELOX_CADENZ_EVENT_TRACK_PLAYED, null_manager::any<velox_mdo_handle>());
    velox_mdo_handle playlist = nullptr;
    velox_cadenz_station_generate_playlist(station, &playlist);
    benchmark::DoNotOptimize(playlist);
  }
  state.counters["allocations"] =
      static_cast<double>(velox_standin_memory_allocations() - before) / static_cast<double>(state.iterations());
  velox_cadenz_station_release(station);
  velox_cadenz_query_release(query);
}
WORKLOAD("a playlist|ours", generate_playlist)->ArgName("events")->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
