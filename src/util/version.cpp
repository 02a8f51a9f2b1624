#include "util/version.h"

#include <algorithm>
#include <istream>
#include <ostream>
#include <stdexcept>

#include "esd/number_text.h"

namespace kxl {

namespace {

constexpr std::string_view kSeparators = " ,.-";

}  // namespace

Version::Version(std::string_view text) {
  if (!Parse(text)) throw std::runtime_error("Unable to parse version");
}

bool Version::Parse(std::string_view text) {
  for (auto component = components_.begin(); component != components_.end(); ++component) {
    const std::size_t separator = text.find_first_of(kSeparators);
    const bool isNumber = esd::ParseInteger(text.substr(0, separator), *component);
    if (separator == std::string_view::npos) return true;
    if (!isNumber) {
      std::fill(component, components_.end(), 0);
      return false;
    }
    text.remove_prefix(separator + 1);
  }
  // The text goes on behind a fourth separator.
  return false;
}

std::strong_ordering Version::operator<=>(const Version& other) const {
  const auto [mine, others] =
      std::mismatch(components_.begin(), components_.end(), other.components_.begin());
  return mine == components_.end() ? std::strong_ordering::equal : *mine <=> *others;
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
