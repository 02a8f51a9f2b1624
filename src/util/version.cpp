#include "util/version.h"

#include <charconv>
#include <istream>
#include <ostream>
#include <stdexcept>

namespace kxl {

namespace {

constexpr std::string_view kSeparators = " ,.-";
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// What a stream would read as an integer in the "C" locale, without asking the host's locale.
bool ParseNumber(std::string_view text, std::int32_t& number) {
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
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

}  // namespace

Version::Version(std::string_view text) {
  if (!Parse(text)) throw std::runtime_error("Unable to parse version");
}

bool Version::Parse(std::string_view text) {
  for (std::int32_t& component : components_) {
    const std::size_t separator = text.find_first_of(kSeparators);
    const bool isNumber = ParseNumber(text.substr(0, separator), component);
    if (separator == std::string_view::npos) return true;
    if (!isNumber) return false;
    text.remove_prefix(separator + 1);
  }
  // The text goes on behind a fourth separator.
  return false;
}

std::string Version::ToString() const {
  std::string text;
  for (const std::int32_t component : components_) {
    if (!text.empty()) text += '.';
    text += std::to_string(component);
  }
  return text;
}

std::istream& operator>>(std::istream& stream, Version& version) {
  std::string word;
  if (stream >> word) version.Parse(word);
  return stream;
}

std::ostream& operator<<(std::ostream& stream, const Version& version) {
  return stream << version.ToString();
}

}  // namespace kxl
