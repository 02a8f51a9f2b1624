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
  auto logger = spdlog::basic_logger_mt("bench", Path("other.log"));
  logger->flush_on(spdlog::level::info);
  constexpr int kBatch = 1000;
  const auto library = [] {
    kxl::LogMessage(kxl::kLogNormal, Flush::kYes, "In KXLGetVersion(...)");
    kxl::LogValue(kxl::kLogNormal, Flush::kNo, "Version = ", "6.2.0.1474");
  };
  const auto other = [logger] {
    logger->info("In KXLGetVersion(...)");
    logger->info("{} = {}", "Version = ", "6.2.0.1474");
  };
  AddRow("trace: the two lines of a call",
         {Timed(kLibrary, library, kBatch), Timed("spdlog", other, kBatch)});
  const auto nothing = [] {
    kxl::LogMessage(kxl::kLogDetail, Flush::kYes, "In KXLGetVersion(...)");
  };
  const auto otherNothing = [logger] { logger->debug("In KXLGetVersion(...)"); };
  AddRow("trace: a line below the level",
         {Timed(kLibrary, nothing, kBatch), Microsecond(), Timed("spdlog", otherNothing, kBatch)});
}

}  // namespace bench
