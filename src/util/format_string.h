// The placeholder formatter that every message with values is built by.
#ifndef KXL_UTIL_FORMAT_STRING_H
#define KXL_UTIL_FORMAT_STRING_H

#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace kxl {

// A text, or an integer in decimal. Keeps no copy of a text: it has to outlive the argument.
class FormatArgument {
 public:
  template <typename Text>
  requires std::convertible_to<const Text&, std::string_view> FormatArgument(const Text& text)
      : text_(text) {}

  template <std::integral Number>
  FormatArgument(Number number) {
    const auto [end, error] =
        std::to_chars(digits_.data(), digits_.data() + digits_.size(), number);
    size_ = static_cast<std::size_t>(end - digits_.data());
  }

  std::string_view Text() const {
    return size_ == 0 ? text_ : std::string_view(digits_.data(), size_);
  }

 private:
  std::string_view text_;
  std::array<char, 24> digits_;
  std::size_t size_ = 0;
};

// Fills "%0" to "%9" in pattern with the arguments; one that is not given is empty. "%%" is a
// percent sign, '%' before anything else or at the end stands for itself. A placeholder takes all
// the digits that follow its '%', and its index counts the first digit again for each of them:
// "%01" is argument 0, while "%10" is above 9, and so is everything longer that starts with 1 to 9.
// Such an index ends the formatting: false, with what was filled so far in out.
bool FormatString(std::string& out, std::string_view pattern,
                  std::initializer_list<FormatArgument> arguments);

}  // namespace kxl

#endif  // KXL_UTIL_FORMAT_STRING_H
