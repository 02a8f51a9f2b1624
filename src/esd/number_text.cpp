#include "esd/number_text.h"

#include <algorithm>
#include <charconv>

namespace esd {

bool ParseInteger(std::string_view text, std::int32_t& number) {
  constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  // from_chars knows no plus sign; a minus sign behind one is no number.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  std::int32_t parsed;
  const char* const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, parsed);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(next - text.data()));
  if (text.find_first_not_of(kWhiteSpace) != std::string_view::npos) return false;
  number = parsed;
  return true;
}

}  // namespace esd
