// The rows of the table: each measures the library, the least that the same work costs by hand, and
// what else one would use, where there is such a thing.
#ifndef KXL_BENCH_ROWS_H
#define KXL_BENCH_ROWS_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <utility>

namespace bench {

// The variants that the table knows by name; any other one is a peer.
inline constexpr char kLibrary[] = "libkxl";
inline constexpr char kMinimum[] = "minimum";

// Measures work, which is called with the iteration's number, from 0. Before each series of
// iterations prepare is called, unmeasured.
template <typename Prepare, typename Work>
void AddRow(const std::string& row, const std::string& variant, Prepare prepare, Work work) {
  benchmark::RegisterBenchmark(
      (row + "/" + variant).c_str(),
      [prepare = std::move(prepare), work = std::move(work)](benchmark::State& state) {
        prepare();
        std::size_t number = 0;
        for ([[maybe_unused]] auto iteration : state) work(number++);
      })
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
}

template <typename Work>
void AddRow(const std::string& row, const std::string& variant, Work work) {
  AddRow(
      row, variant, [] {}, [work = std::move(work)](std::size_t) { work(); });
}

// As AddRow, but measure answers how many seconds one iteration took.
template <typename Measure>
void AddTimedRow(const std::string& row, const std::string& variant, Measure measure) {
  benchmark::RegisterBenchmark((row + "/" + variant).c_str(),
                               [measure = std::move(measure)](benchmark::State& state) mutable {
                                 for ([[maybe_unused]] auto iteration : state) {
                                   state.SetIterationTime(measure());
                                 }
                               })
      ->Unit(benchmark::kMicrosecond)
      ->UseManualTime();
}

void AddRegistrationRows();
void AddXmlRows();
void AddLockRows();
void AddTraceRows();
void AddLookupRows();
void AddLoadingRows();

// How often the size of the list a registration among 10000 takes in memory, at its most.
double MemoryOfARegistration();

}  // namespace bench

#endif  // KXL_BENCH_ROWS_H
