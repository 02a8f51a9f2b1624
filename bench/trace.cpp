// The trace log, against another log that brings each line to the file at once.
#include <dlfcn.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdint>
#include <filesystem>

#include "bench/machine.h"
#include "bench/rows.h"
#include "util/trace_log.h"

namespace bench {

namespace {

// Of a copy of the library, whose trace is on; a process switches it once.
auto GetTracingVersion() {
  const std::string copy = Path("traced.so");
  std::filesystem::copy_file(LIBRARY, copy);
  void* library = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
  Check(library != nullptr, "no copy of the library");
  const auto getVersion = reinterpret_cast<std::uint32_t (*)()>(dlsym(library, "KXLGetVersion"));
  SetLogLevel(kxl::kLogNormal);
  Check(getVersion() != 0, "no version");
  SetLogLevel(0);
  return getVersion;
}

}  // namespace

void AddTraceRows() {
  auto logger = spdlog::basic_logger_mt("bench", Path("other.log"));
  logger->flush_on(spdlog::level::info);
  logger->set_pattern("%Y-%m-%dT%H:%M:%S: %v", spdlog::pattern_time_type::utc);
  constexpr int kBatch = 1000;
  const auto library = [getVersion = GetTracingVersion()] {
    Check(getVersion() != 0, "no version");
  };
  const auto other = [logger] {
    logger->info("In {}(...)", "KXLGetVersion");
    logger->info("{} = {}", "Version = ", "6.2.0.1474");
  };
  const auto empty = [] {
    std::filesystem::resize_file(TracePath(), 0);
    std::filesystem::resize_file(Path("other.log"), 0);
  };
  AddRow("trace: the two lines of KXLGetVersion",
         {Timed(kLibrary, library, kBatch), Timed("spdlog", other, kBatch)}, empty);
  Check(kxl::IsLogOpen(Path("trace.log"), kxl::kLogNormal), "no log");
  const auto nothing = [] {
    kxl::LogMessage(kxl::kLogDetail, kxl::Flush::kYes, "In KXLGetVersion(...)");
  };
  const auto otherNothing = [logger] { logger->debug("In KXLGetVersion(...)"); };
  AddRow("trace: a line below the level",
         {Timed(kLibrary, nothing, kBatch), Microsecond(), Timed("spdlog", otherNothing, kBatch)});
}

}  // namespace bench
