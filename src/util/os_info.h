// The operating system's name and version as text.
#ifndef KXL_UTIL_OS_INFO_H
#define KXL_UTIL_OS_INFO_H

#include <array>
#include <cstdint>
#include <string>

namespace kxl {

// "Linux".
std::string GetOSName();

// The kernel's version as major.minor.bugfix; empty when the system does not tell.
std::string GetOSVersion();

// For showing the version that the administrator test compares as it stands.
// Takes a packed system version apart into major (two digits), minor and bugfix: the hexadecimal
// digits of 0x1049 read 10, 4, 9.
std::array<std::int16_t, 3> DecodePackedVersion(std::uint32_t packed);

}  // namespace kxl

#endif  // KXL_UTIL_OS_INFO_H
