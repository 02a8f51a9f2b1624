#include "util/check_interval.h"

namespace kxl {

namespace {

// From the last day of a month to the last of the one before.
std::chrono::sys_days MonthBefore(std::chrono::year_month_day today) {
  const std::chrono::year_month month = today.year() / today.month();
  const std::chrono::year_month before = month - std::chrono::months(1);
  const std::chrono::year_month_day sameDay = before / today.day();
  const bool isLast = today.day() == (month / std::chrono::last).day();
  return isLast || !sameDay.ok() ? std::chrono::sys_days(before / std::chrono::last)
                                 : std::chrono::sys_days(sameDay);
}

}  // namespace

bool HasIntervalPassed(std::chrono::year_month_day last, std::chrono::year_month_day today,
                       std::int32_t frequency) {
  const std::chrono::sys_days boundary = frequency == kWeekly
                                             ? std::chrono::sys_days(today) - std::chrono::weeks(1)
                                             : MonthBefore(today);
  return boundary >= std::chrono::sys_days(last);
}

}  // namespace kxl
