// How a workload is named: "what is done|who does it", the library's own as "ours". scripts/bench holds all others of a workload,
// with the same arguments, against it.
#pragma once

#include <benchmark/benchmark.h>

/* WORKLOAD("look for a byte|strchr", function of a benchmark::State&)->Arg(24); */
#define WORKLOAD(name, ...) \
  [[maybe_unused]] static auto* const BENCHMARK_PRIVATE_NAME(workload) = benchmark::RegisterBenchmark(name, __VA_ARGS__)
