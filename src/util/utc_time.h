// Times in UTC as text. By arithmetic: the C library's functions take the lock of its time zones,
// which a child forked while another thread held it would wait for in vain, and count leap seconds
// where TZ says so.
#ifndef KXL_UTIL_UTC_TIME_H
#define KXL_UTIL_UTC_TIME_H

#include <chrono>
#include <ctime>
#include <string>
#include <string_view>

namespace kxl {

// What can be read, in seconds since 1970: the years 1400 to 9999.
inline constexpr std::time_t kFirstUtc =
    std::chrono::sys_seconds(std::chrono::sys_days(std::chrono::year(1400) / 1 / 1))
        .time_since_epoch()
        .count();
inline constexpr std::time_t kLastUtc =
    std::chrono::sys_seconds(std::chrono::sys_days(std::chrono::year(10000) / 1 / 1))
        .time_since_epoch()
        .count() -
    1;

// "2008-03-17 21:05:41", with the separator in the place of the space.
std::string FormatUtc(std::time_t time, char separator);

// Reads "2008-03-17 21:05:41". Throws std::exception for any other form and for a date or time that
// does not exist (30 February, 25:00:00).
std::time_t ParseUtc(std::string_view text);

}  // namespace kxl

#endif  // KXL_UTIL_UTC_TIME_H
