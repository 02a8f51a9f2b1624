#include "util/os_info.h"

#include "platform/system_version.h"
#include "util/format_string.h"

namespace kxl {

std::string GetOSName() { return "Linux"; }

std::string GetOSVersion() {
  std::array<std::int16_t, 3> numbers;
  std::string version;
  if (KernelVersion(numbers)) {
    FormatString(version, "%0.%1.%2", {numbers[0], numbers[1], numbers[2]});
  }
  return version;
}

std::array<std::int16_t, 3> DecodePackedVersion(std::uint32_t packed) {
  const auto digit = [packed](unsigned position) {
    return static_cast<std::int16_t>(packed >> position * 4 & 0xFU);
  };
  return {static_cast<std::int16_t>(digit(3) * 10 + digit(2)), digit(1), digit(0)};
}

}  // namespace kxl
