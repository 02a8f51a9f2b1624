// The trace log, against another log that brings each line to the file at once.
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include "bench/machine.h"
#include "bench/rows.h"
#include "util/trace_log.h"

namespace bench {

void AddTraceRows() {
  using kxl::Flush;
  Check(kxl::IsLogOpen(Path("trace.log"), kxl::kLogNormal), "no log");
  AddRow("trace: the two lines of a call", kLibrary, [] {
    kxl::LogMessage(kxl::kLogNormal, Flush::kYes, "In KXLGetVersion(...)");
    kxl::LogValue(kxl::kLogNormal, Flush::kNo, "Version = ", "6.2.0.1474");
  });
  auto logger = spdlog::basic_logger_mt("bench", Path("other.log"));
  logger->flush_on(spdlog::level::info);
  AddRow("trace: the two lines of a call", "spdlog", [logger] {
    logger->info("In KXLGetVersion(...)");
    logger->info("{} = {}", "Version = ", "6.2.0.1474");
  });
  AddRow("trace: a line below the level", kLibrary,
         [] { kxl::LogMessage(kxl::kLogDetail, Flush::kYes, "In KXLGetVersion(...)"); });
  AddRow("trace: a line below the level", "spdlog",
         [logger] { logger->debug("In KXLGetVersion(...)"); });
}

}  // namespace bench
