#include "bench/rows.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <random>

namespace bench {

namespace {

using Times = std::vector<double>;

double Median(Times values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The median of the ratios of several passes, so that a pass that something has disturbed does not
// count.
double Ratio(const Times& own, const Times& other) {
  const std::size_t passes = std::min<std::size_t>(own.size(), 9);
  Times ratios;
  for (std::size_t pass = 0; pass < passes; ++pass) {
    const auto from = static_cast<std::ptrdiff_t>(own.size() * pass / passes);
    const auto to = static_cast<std::ptrdiff_t>(own.size() * (pass + 1) / passes);
    ratios.push_back(Median({own.begin() + from, own.begin() + to}) /
                     Median({other.begin() + from, other.begin() + to}));
  }
  return Median(ratios);
}

}  // namespace

void AddRow(const std::string& row, const std::vector<Variant>& variants,
            const std::function<void()>& prepare) {
  for (std::size_t i = 1; i < variants.size(); ++i) {
    const std::array<Variant, 2> pair = {variants[0], variants[i]};
    const auto run = [=](benchmark::State& state) {
      prepare();
      std::array<Times, 2> times;
      std::mt19937 random;  // the same at every run
      for ([[maybe_unused]] auto iteration : state) {
        const std::size_t first = random() % 2;
        for (const std::size_t which : {first, 1 - first}) {
          times[which].push_back(pair[which].measure());
        }
      }
      constexpr double kMicroseconds = 1e6;
      state.SetLabel(pair[1].name);
      state.counters[kLibrary] = Median(times[0]) * kMicroseconds;
      state.counters[kOther] = Median(times[1]) * kMicroseconds;
      state.counters[kRatio] = Ratio(times[0], times[1]);
    };
    benchmark::RegisterBenchmark(row.c_str(), run)->UseRealTime()->Unit(benchmark::kMicrosecond);
  }
}

}  // namespace bench
