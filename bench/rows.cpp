#include "bench/rows.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>

namespace bench {

namespace {

double Median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

void AddRow(const std::string& row, std::vector<Variant> variants, std::function<void()> prepare) {
  const auto run = [variants = std::move(variants),
                    prepare = std::move(prepare)](benchmark::State& state) {
    prepare();
    std::vector<std::vector<double>> times(variants.size());
    std::vector<std::size_t> order(variants.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 random;  // the same at every run
    for ([[maybe_unused]] auto iteration : state) {
      std::shuffle(order.begin(), order.end(), random);
      for (const std::size_t i : order) times[i].push_back(variants[i].measure());
    }
    constexpr double kMicroseconds = 1e6;
    for (std::size_t i = 0; i < variants.size(); ++i) {
      state.counters[variants[i].name] = Median(times[i]) * kMicroseconds;
    }
  };
  benchmark::RegisterBenchmark(row.c_str(), run)->UseRealTime()->Unit(benchmark::kMicrosecond);
}

}  // namespace bench
