#include "platform/system_version.h"

#include <sys/utsname.h>

#include <charconv>
#include <cstring>

namespace kxl {

std::uint32_t PackedSystemVersion() { return KXL_SYSTEM_VERSION; }

bool KernelVersion(std::array<std::int16_t, 3>& numbers) {
  utsname system;
  if (uname(&system) != 0) return false;
  const char* position = system.release;
  const char* const end = position + std::strlen(position);
  std::array<std::int16_t, 3> found{};
  for (std::int16_t& number : found) {
    const auto [next, error] = std::from_chars(position, end, number);
    if (error != std::errc()) return false;
    position = next;
    if (position != end && *position == '.') ++position;
  }
  numbers = found;
  return true;
}

}  // namespace kxl
