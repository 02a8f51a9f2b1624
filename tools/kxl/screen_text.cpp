#include "kxl/screen_text.h"

#include <array>
#include <cstdio>
#include <cuchar>
#include <cwchar>
#include <optional>

namespace tool {

namespace {

struct Character {
  std::string_view bytes;
  std::optional<char32_t> code;  // none: no UTF-8, one byte of it
};

Character FirstOf(std::string_view text) {
  std::mbstate_t state{};
  char32_t code = 0;
  const std::size_t length = std::mbrtoc32(&code, text.data(), text.size(), &state);
  if (length > text.size()) return {text.substr(0, 1), std::nullopt};
  return {text.substr(0, length == 0 ? 1 : length), code};
}

bool IsActedUpon(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x61C ||
         (code >= 0x200E && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

std::string Format(const char* format, unsigned number) {
  std::array<char, 12> text;
  std::snprintf(text.data(), text.size(), format, number);
  return text.data();
}

std::size_t WidthOf(const Character& character) {
  const int width = character.code ? wcwidth(static_cast<wchar_t>(*character.code)) : 1;
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

std::string Visible(std::string_view text, LineEnds lineEnds) {
  std::string visible;
  while (!text.empty()) {
    const Character next = FirstOf(text);
    text.remove_prefix(next.bytes.size());
    if (!next.code) {
      const auto byte = static_cast<unsigned char>(next.bytes.front());
      visible += Format("\\x%02x", unsigned{byte});
    } else if (!IsActedUpon(*next.code) || (*next.code == U'\n' && lineEnds == LineEnds::kKeep)) {
      visible += next.bytes;
    } else {
      const auto code = static_cast<unsigned>(*next.code);
      visible += Format(code < 0x100 ? "\\x%02x" : "\\u%04x", code);
    }
  }
  return visible;
}

std::string VisibleJson(std::string_view json) {
  std::string visible;
  while (!json.empty()) {
    const Character next = FirstOf(json);
    json.remove_prefix(next.bytes.size());
    if (next.code && IsActedUpon(*next.code)) {
      visible += Format("\\u%04x", static_cast<unsigned>(*next.code));
    } else {
      visible += next.bytes;
    }
  }
  return visible;
}

std::size_t ScreenWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Character next = FirstOf(text);
    text.remove_prefix(next.bytes.size());
    width += WidthOf(next);
  }
  return width;
}

std::string Shortened(std::string_view text, std::size_t columns) {
  std::string begin;
  for (std::size_t width = 1; !text.empty();) {  // the ellipsis takes one
    const Character next = FirstOf(text);
    width += WidthOf(next);
    if (width > columns) break;
    begin += next.bytes;
    text.remove_prefix(next.bytes.size());
  }
  return begin + "…";
}

}  // namespace tool
