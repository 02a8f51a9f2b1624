#include "api/library_version.h"

#include <charconv>
#include <vector>

namespace kxl {

std::uint32_t PackVersion(std::string_view text) {
  std::vector<std::uint32_t> numbers;
  for (bool more = true; more;) {
    const std::size_t point = text.find('.');
    const std::string_view piece = text.substr(0, point);
    std::int32_t number;
    const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), number);
    if (error != std::errc() || end != piece.data() + piece.size()) break;
    numbers.push_back(static_cast<std::uint32_t>(number));
    more = point != std::string_view::npos;
    if (more) text.remove_prefix(point + 1);
  }
  if (numbers.size() != 4) return 0;
  // The build number has no bits: hosts compare what they were built for, not which build it was.
  return numbers[0] << 28U | numbers[1] << 24U | numbers[2] << 20U;
}

}  // namespace kxl
