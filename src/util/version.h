// Versions of four numbers.
#ifndef KXL_UTIL_VERSION_H
#define KXL_UTIL_VERSION_H

#include <array>
#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace kxl {

// Compared number by number from the first.
class Version {
 public:
  Version() = default;  // 0.0.0.0
  Version(std::int32_t major, std::int32_t minor, std::int32_t third, std::int32_t fourth)
      : components_{major, minor, third, fourth} {}
  // Throws std::runtime_error "Unable to parse version" where Parse answers false.
  explicit Version(std::string_view text);

  // Reads up to four numbers between the separators ' ', ',', '.' and '-'. Numbers that the text
  // does not reach keep their value. Each number before a separator must be one from end to end,
  // with white space around it at the most; the last one keeps its value instead ("6.0.1beta" reads
  // as 6.0 then). False for a bad number and for a fifth one; the numbers before a bad one are
  // taken over, it and those behind it become 0.
  bool Parse(std::string_view text);

  // Always four numbers, separated by '.'.
  std::string ToString() const;

  bool operator==(const Version&) const = default;
  // Written out: libc++ 14 does not order arrays.
  std::strong_ordering operator<=>(const Version& other) const;

 private:
  std::array<std::int32_t, 4> components_{};
};

// Reads one word and parses it; a word that does not parse is no failure of the stream.
std::istream& operator>>(std::istream& stream, Version& version);
std::ostream& operator<<(std::ostream& stream, const Version& version);

}  // namespace kxl

#endif  // KXL_UTIL_VERSION_H
