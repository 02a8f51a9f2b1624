// When a scheduled check is due again.
#ifndef KXL_UTIL_CHECK_INTERVAL_H
#define KXL_UTIL_CHECK_INTERVAL_H

#include <chrono>
#include <cstdint>

namespace kxl {

inline constexpr std::int32_t kWeekly = 1;  // as AutoCheckFreq; any other number is monthly

// Whether a week, or a month of the calendar, has passed since the last check.
bool HasIntervalPassed(std::chrono::year_month_day last, std::chrono::year_month_day today,
                       std::int32_t frequency);

}  // namespace kxl

#endif  // KXL_UTIL_CHECK_INTERVAL_H
