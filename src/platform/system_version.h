// What the system says about itself.
#ifndef KXL_PLATFORM_SYSTEM_VERSION_H
#define KXL_PLATFORM_SYSTEM_VERSION_H

#include <array>
#include <cstdint>

namespace kxl {

// The system version that the administrator test compares, in packed decimal digits (0x1049 is
// 10.4.9): a setting of the build, since no Linux version means what these numbers meant.
std::uint32_t PackedSystemVersion();

// The kernel's first three version numbers; false when they cannot be read.
bool KernelVersion(std::array<std::int16_t, 3>& numbers);

}  // namespace kxl

#endif  // KXL_PLATFORM_SYSTEM_VERSION_H
