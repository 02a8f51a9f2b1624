#include "util/format_string.h"

namespace kxl {

namespace {

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

}  // namespace

bool FormatString(std::string& out, std::string_view pattern,
                  std::initializer_list<FormatArgument> arguments) {
  constexpr std::size_t kLastIndex = 9;
  out.clear();
  std::size_t i = 0;
  while (i < pattern.size()) {
    if (pattern[i] != '%' || i + 1 == pattern.size()) {
      out += pattern[i++];
      continue;
    }
    const char first = pattern[i + 1];
    if (!IsDigit(first)) {
      out += '%';
      if (first != '%') out += first;
      i += 2;
      continue;
    }
    const auto digit = static_cast<std::size_t>(first - '0');
    std::size_t index = digit;
    for (i += 2; i < pattern.size() && IsDigit(pattern[i]); ++i) {
      if (index <= kLastIndex) index = index * 10 + digit;
    }
    if (index > kLastIndex) return false;
    if (index < arguments.size()) out += (arguments.begin() + index)->Text();
  }
  return true;
}

}  // namespace kxl
