// Version texts against a reading of them that is written another way, and their printed form.
#include "util/version.h"

#include <cstdlib>
#include <limits>
#include <optional>
#include <vector>

#include "fuzz/machine.h"

namespace {

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> pieces(1);
  for (const char character : text) {
    if (character == ' ' || character == ',' || character == '.' || character == '-') {
      pieces.emplace_back();
    } else {
      pieces.back() += character;
    }
  }
  return pieces;
}

// No piece holds a space or a minus sign.
std::optional<std::int32_t> Number(const std::string& piece) {
  if (piece.empty() || piece.find('\0') != std::string::npos) return std::nullopt;
  char* end = nullptr;
  const long long number = std::strtoll(piece.c_str(), &end, 10);
  if (end == piece.c_str() || number > std::numeric_limits<std::int32_t>::max()) return {};
  for (; *end != '\0'; ++end) {
    if (std::string_view("\t\n\v\f\r").find(*end) == std::string_view::npos) return std::nullopt;
  }
  return static_cast<std::int32_t>(number);
}

// The numbers that the text gives, and whether it is a version.
bool Read(const std::string& text, std::int32_t (&numbers)[4]) {
  const std::vector<std::string> pieces = Split(text);
  for (std::size_t i = 0; i < pieces.size() && i < 4; ++i) {
    const auto number = Number(pieces[i]);
    if (number) {
      numbers[i] = *number;
    } else if (i + 1 < pieces.size()) {
      for (; i < 4; ++i) numbers[i] = 0;
      return false;
    }
  }
  return pieces.size() <= 4;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text = fuzz::Input(bytes, size).Rest();
  std::int32_t numbers[4] = {7, 7, 7, 7};
  const bool isVersion = Read(text, numbers);
  const kxl::Version expected(numbers[0], numbers[1], numbers[2], numbers[3]);
  kxl::Version version(7, 7, 7, 7);
  fuzz::Check(version.Parse(text) == isVersion, "versions only are accepted");
  fuzz::Check(version == expected, "the numbers are the expected ones");
  fuzz::Check(kxl::Version(version.ToString()) == version, "what is printed reads back");
  return 0;
}
