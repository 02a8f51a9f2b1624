// The rows of the table: each measures the library, the least that the same work costs by hand, and
// what else one would use, where there is such a thing.
#ifndef KXL_BENCH_ROWS_H
#define KXL_BENCH_ROWS_H

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// The variants that the table knows by name; any other one is something else that one would use.
inline constexpr char kLibrary[] = "libkxl";
inline constexpr char kMinimum[] = "minimum";

struct Variant {
  std::string name;
  std::function<double()> measure;  // does the work once and answers how many seconds it took
};

// A variant whose work is done so many times in a row, for what takes less than the clock.
template <typename Work>
Variant Timed(const std::string& name, Work work, int times = 1) {
  return {name, [work = std::move(work), times]() mutable {
            using Clock = std::chrono::steady_clock;
            const Clock::time_point start = Clock::now();
            for (int i = 0; i < times; ++i) work();
            return std::chrono::duration<double>(Clock::now() - start).count() / times;
          }};
}

// Measures the variants in turns and in any order, so that whatever else the machine does meets all
// of them. Each run reports the median of each variant's times, in microseconds, as a counter of
// its name.
void AddRow(
    const std::string& row, std::vector<Variant> variants, std::function<void()> prepare = [] {});

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
