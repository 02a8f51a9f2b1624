// The calendar where the user is.
#ifndef KXL_PLATFORM_LOCAL_DATE_H
#define KXL_PLATFORM_LOCAL_DATE_H

#include <chrono>
#include <ctime>

namespace kxl {

// The date at a time, in seconds since 1970, as localtime(3) has it, leap seconds apart: in the
// zone of TZ, or the machine's (/etc/localtime); in UTC when there is none. Takes no lock:
// localtime does, and a child forked while any thread of the host was in there would wait for it
// for ever. Reads the zone's file each time and changes nothing that localtime goes by.
std::chrono::year_month_day LocalDate(std::time_t time);

}  // namespace kxl

#endif  // KXL_PLATFORM_LOCAL_DATE_H
