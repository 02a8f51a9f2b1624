// FormatString against a reading of patterns from their placeholders outwards.
#include "util/format_string.h"

#include <optional>

#include "fuzz/machine.h"

namespace {

constexpr char kDigits[] = "0123456789";

// What a percent sign and the text behind it become, with the text taken off; none for an index
// that there is no argument of.
std::optional<std::string> Replacement(std::string_view& behind, const std::string& first,
                                       const std::string& second) {
  const std::size_t digits = std::min(behind.find_first_not_of(kDigits), behind.size());
  if (digits == 0) {
    const std::string next(behind.substr(0, 1));
    behind.remove_prefix(next.size());
    return next == "%" ? "%" : "%" + next;
  }
  const char digit = behind.front();
  behind.remove_prefix(digits);
  if (digit != '0' && digits > 1) return std::nullopt;
  return digit == '0' ? first : digit == '1' ? second : digit == '2' ? "-7" : "";
}

bool Format(std::string& out, std::string_view pattern, const std::string& first,
            const std::string& second) {
  for (;;) {
    const std::size_t percent = pattern.find('%');
    out += pattern.substr(0, percent);
    if (percent == std::string_view::npos) return true;
    pattern.remove_prefix(percent + 1);
    const auto replacement = Replacement(pattern, first, second);
    if (!replacement) return false;
    out += *replacement;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  const std::string first = input.Field();
  const std::string second = input.Field();
  const std::string pattern = input.Rest();
  std::string out = "left over";
  std::string expected;
  const bool filled = kxl::FormatString(out, pattern, {first, second, -7});
  fuzz::Check(filled == Format(expected, pattern, first, second), "the answer is the expected one");
  fuzz::Check(out == expected, "the text is the expected one");
  return 0;
}
