// Measures libkxl against the least that the same work costs, and against what else one would use.
//
//   benchmarks [--chart=PATH] [the options of Google Benchmark]
#include <cstring>

#include "bench/machine.h"
#include "bench/report.h"
#include "bench/rows.h"

int main(int argc, char** argv) {
  const char* chart = nullptr;
  constexpr std::size_t kPrefix = sizeof "--chart=" - 1;
  if (argc > 1 && std::strncmp(argv[1], "--chart=", kPrefix) == 0) {
    chart = argv[1] + kPrefix;
    argv[1] = argv[0];
    ++argv;
    --argc;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 64;
  bench::MakeMachine();
  bench::AddRegistrationRows();
  bench::AddXmlRows();
  bench::AddLockRows();
  bench::AddTraceRows();
  bench::AddLookupRows();
  bench::AddLoadingRows();
  bench::Report report;
  benchmark::RunSpecifiedBenchmarks(&report);
  report.AddGrowth();
  report.Add("memory of a registration, 10000 applications", "times the file's size",
             bench::MemoryOfARegistration());
  report.Add("the library, stripped", "kB", bench::StrippedSize());
  report.Print();
  if (chart != nullptr) report.Draw(chart);
  return 0;
}
