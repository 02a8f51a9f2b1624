#include "api/result_code.h"

#include <kxl/kxl.h>

#include <array>
#include <string_view>

#include "util/format_string.h"

namespace kxl {

namespace {

constexpr std::array<std::string_view, ESD_ERR_NOTIFY_PENDING + 1> kNames = {
    "ESD_ERR_OK",
    "ESD_ERR_FAILURE",
    "ESD_ERR_KX",
    "ESD_ERR_INVALIDDATA",
    "ESD_ERR_REGISTRATIONFAILED",
    "ESD_ERR_ALREADYREGISTERED",
    "ESD_ERR_NOTREGISTERED",
    "ESD_ERR_NOTENABLED",
    "ESD_ERR_NOTIFY_PENDING",
};

}  // namespace

std::string ResultCodeText(std::int32_t code, const char* format) {
  // Unsigned, as the trace has always shown it: -1 reads 4294967295.
  const auto number = static_cast<std::uint32_t>(code);
  const std::string_view name = number < kNames.size() ? kNames[number] : std::string_view();
  if (format == nullptr) return std::string(name);
  std::string text;
  FormatString(text, format, {number, name});
  return text;
}

}  // namespace kxl
