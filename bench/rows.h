// The rows of the table: each measures the library against the least that the same work costs by
// hand, or against what else one would use.
#ifndef KXL_BENCH_ROWS_H
#define KXL_BENCH_ROWS_H

#include <chrono>
#include <cstddef>
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

// For what there is nothing to compare with.
inline constexpr char kMicrosecond[] = "a microsecond";
inline Variant Microsecond() {
  return {kMicrosecond, [] { return 1e-6; }};
}

// Measures the first variant, the library, with each other one: the two in turns, in random order,
// so that whatever else the machine does meets both, and nobody else's work stands between them.
// Reports, as counters, the median of the times of each in microseconds and their ratio; the other
// one's name is the label.
void AddRow(
    const std::string& row, const std::vector<Variant>& variants,
    const std::function<void()>& prepare = [] {});

inline constexpr char kOther[] = "other";
inline constexpr char kRatio[] = "ratio";

// The rows of the list of applications are named after what is done, and end with how many there
// are.
inline constexpr std::size_t kListSizes[] = {1, 10, 50, 100, 1000, 10000};
inline constexpr char kReplacing[] = "register, replaced";
inline constexpr char kChangingNothing[] = "register, unchanged";
inline constexpr char kLookingUp[] = "look up";
inline constexpr char kOneOf[] = ": one of ";
inline constexpr char kRollback[] = "SQLite, rollback journal";
inline constexpr char kWriteAhead[] = "SQLite, write-ahead log";

void AddRegistrationRows();
void AddXmlRows();
void AddLockRows();
void AddTraceRows();
void AddLookupRows();
void AddLoadingRows();

// How often the size of the list a registration among 10000 takes in memory, at its most.
double MemoryOfARegistration();

// The size of the library as packages have it, in kB.
double StrippedSize();

}  // namespace bench

#endif  // KXL_BENCH_ROWS_H
