// Dates as people write them.
#ifndef KXL_UTIL_DATE_TEXT_H
#define KXL_UTIL_DATE_TEXT_H

#include <chrono>
#include <optional>
#include <string_view>

namespace kxl {

// Reads the date at the beginning of the text, whatever follows: year, month and day, with any of
// ",-. /" between them, the month as a number or by its English name ("2008-03-31", "2008.Mar,31").
// None for a text without one, a day that does not exist and a year before 1400 or after 9999.
std::optional<std::chrono::year_month_day> ParseDate(std::string_view text);

}  // namespace kxl

#endif  // KXL_UTIL_DATE_TEXT_H
