#include "platform/local_date.h"

#include <cstdlib>
#include <string>

#include "platform/path.h"
#include "platform/regular_file.h"
#include "platform/time_zone.h"

namespace kxl {

namespace {

std::chrono::seconds LocalOffset(std::chrono::sys_seconds time) {
  const char* variable = secure_getenv("TZ");
  std::string zone = variable == nullptr ? "/etc/localtime" : variable;
  if (zone.starts_with(':')) zone.erase(0, 1);
  const char* folder = secure_getenv("TZDIR");
  if (folder == nullptr) folder = "/usr/share/zoneinfo";
  std::string file;
  if (ReadRegularFile(zone.starts_with('/') ? zone : JoinPath(folder, zone), file) ==
      OpenStatus::kOpened) {
    if (const auto offset = OffsetByZoneFile(file, time)) return *offset;
  }
  return OffsetByZoneRule(zone, time).value_or(std::chrono::seconds(0));
}

}  // namespace

std::chrono::year_month_day LocalDate(std::time_t time) {
  const std::chrono::sys_seconds utc{std::chrono::seconds(time)};
  return floor<std::chrono::days>(utc + LocalOffset(utc));
}

}  // namespace kxl
