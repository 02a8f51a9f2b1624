#include "api/locale_code.h"

#include <cstring>

#include "api/validation.h"

namespace kxl {

namespace {

constexpr char kCaseBit = 'a' - 'A';

bool IsLetter(char character) {
  const char lower = static_cast<char>(character | kCaseBit);
  return lower >= 'a' && lower <= 'z';
}

}  // namespace

std::string NormaliseLocaleCode(const char* text) {
  // The updater takes a language with its country only; "de" alone is none to it.
  constexpr std::size_t kLength = 5;
  std::string code;
  if (text == nullptr || !IsValidAppId(text) || std::strlen(text) < kLength) return code;
  for (std::size_t i = 0; i < kLength; ++i) {
    if (i == 2) {
      code += '_';
    } else if (!IsLetter(text[i])) {
      break;
    } else {
      code += static_cast<char>(i < 2 ? text[i] | kCaseBit : text[i] & ~kCaseBit);
    }
  }
  return code;
}

}  // namespace kxl
