// The library's own version.
#ifndef KXL_API_LIBRARY_VERSION_H
#define KXL_API_LIBRARY_VERSION_H

#include <cstdint>
#include <string_view>

namespace kxl {

// Major, minor, third number, build number.
inline constexpr std::string_view kLibraryVersion = "6.2.0.1474";

// a << 28 | b << 24 | c << 20 for "a.b.c.d"; 0 for a text that is not exactly four integers. A
// number above 15 spills into the field to its left.
std::uint32_t PackVersion(std::string_view text);

}  // namespace kxl

#endif  // KXL_API_LIBRARY_VERSION_H
