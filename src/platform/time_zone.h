// The two forms in which a time zone is told. Nothing here touches the file system.
#ifndef KXL_PLATFORM_TIME_ZONE_H
#define KXL_PLATFORM_TIME_ZONE_H

#include <chrono>
#include <optional>
#include <string_view>

namespace kxl {

// These answer how far the zone's clocks are ahead of UTC at an instant; none for what they cannot
// read.

// By the contents of a zone file (TZif; RFC 8536) of version 2 or later.
std::optional<std::chrono::seconds> OffsetByZoneFile(std::string_view file,
                                                     std::chrono::sys_seconds time);

// By a rule as POSIX has it for TZ: "CET-1CEST,M3.5.0,M10.5.0/3". A summer time without dates is
// that of New York.
std::optional<std::chrono::seconds> OffsetByZoneRule(std::string_view rule,
                                                     std::chrono::sys_seconds time);

}  // namespace kxl

#endif  // KXL_PLATFORM_TIME_ZONE_H
