// The checks of a host's texts against tables of what well-formed texts are.
#include "api/validation.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <memory>

#include "api/locale_code.h"
#include "fuzz/machine.h"

namespace {

struct Form {
  unsigned char first, last;  // of the lead byte
  std::size_t length;
  std::uint32_t smallest;
};
constexpr std::array<Form, 4> kForms = {{{0x01, 0x7F, 1, 0x01},
                                         {0xC0, 0xDF, 2, 0x80},
                                         {0xE0, 0xEF, 3, 0x800},
                                         {0xF0, 0xF7, 4, 0x10000}}};

// The bytes of a code point in a form: what the text has to be, byte for byte.
std::string Encode(std::uint32_t codePoint, const Form& form) {
  std::string bytes;
  for (std::size_t i = 1; i < form.length; ++i, codePoint /= 64) {
    bytes.insert(bytes.begin(), static_cast<char>(0x80 + codePoint % 64));
  }
  bytes.insert(bytes.begin(), static_cast<char>((form.length == 1 ? 0 : form.first) + codePoint));
  return bytes;
}

bool IsCharacter(std::uint32_t codePoint) {
  return codePoint % 0x10000 < 0xFFFE && (codePoint < 0xFDD0 || codePoint > 0xFDEF);
}

bool IsWellFormed(std::string_view text) {
  while (!text.empty()) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const auto* form = std::find_if(kForms.begin(), kForms.end(), [&](const Form& candidate) {
      return candidate.first <= lead && lead <= candidate.last;
    });
    if (form == kForms.end() || text.size() < form->length) return false;
    std::uint32_t codePoint = form->length == 1 ? lead : lead - form->first;
    for (std::size_t i = 1; i < form->length; ++i) {
      codePoint = codePoint * 64 + static_cast<unsigned char>(text[i]) % 64;
    }
    if (codePoint < form->smallest || !IsCharacter(codePoint)) return false;
    if (Encode(codePoint, *form) != text.substr(0, form->length)) return false;
    text.remove_prefix(form->length);
  }
  return true;
}

std::string LocaleCode(const std::string& text) {
  if (text.size() < 5) return {};
  std::string code = text.substr(0, 2) + "_" + text.substr(3, 2);
  for (std::size_t i = 0; i < code.size(); ++i) {
    const auto letter = static_cast<unsigned char>(code[i]);
    if (i == 2) continue;
    if (std::isalpha(letter) == 0) return code.substr(0, i);
    code[i] = static_cast<char>(i < 2 ? std::tolower(letter) : std::toupper(letter));
  }
  return code;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  // An array of its own, so that a look behind the zero is noticed.
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  const std::string upToZero = text.c_str();
  const auto own = std::make_unique<char[]>(upToZero.size() + 1);
  upToZero.copy(own.get(), upToZero.size());

  const bool isAscii =
      std::all_of(upToZero.begin(), upToZero.end(), [](unsigned char byte) { return byte < 128; });
  const bool isAppId = isAscii && upToZero.size() <= 256;
  fuzz::Check(kxl::IsValidUtf8(own.get()) == IsWellFormed(upToZero), "well-formed texts only");
  fuzz::Check(kxl::IsValidAppId(own.get()) == isAppId, "short ASCII identifiers only");
  fuzz::Check(kxl::IsValidFolderLength(own.get()) == (!upToZero.empty() && upToZero.size() < 256),
              "folders have 1 to 255 bytes");
  fuzz::Check(kxl::NormaliseLocaleCode(own.get()) == (isAppId ? LocaleCode(upToZero) : ""),
              "the language is the expected one");
  return 0;
}
