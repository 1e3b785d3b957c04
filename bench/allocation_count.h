// Heap allocations per iteration, reported as the benchmark counter "allocs". The bench binary
// counts every malloc, calloc and realloc of the process (C++ new and OpenSSL's allocations go
// through them), so both sides of a comparison are counted the same way.
//
//   setUp();
//   const AllocationCount counting(state);  // last before the loop: counts the loop only
//   for (auto _ : state) ...
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

// Allocations made by the process so far.
std::uint64_t allocationsSoFar();

class AllocationCount {
 public:
  explicit AllocationCount(benchmark::State& state) : state_(state), start_(allocationsSoFar()) {}
  ~AllocationCount() {
    state_.counters["allocs"] = benchmark::Counter(static_cast<double>(allocationsSoFar() - start_),
                                                   benchmark::Counter::kAvgIterations);
  }
  AllocationCount(const AllocationCount&) = delete;
  AllocationCount& operator=(const AllocationCount&) = delete;

 private:
  benchmark::State& state_;
  std::uint64_t start_;
};
