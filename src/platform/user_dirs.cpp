#include "platform/user_dirs.h"

#include "platform/path.h"

namespace kxl {

namespace {

constexpr std::string_view kHome = "$HOME";

// The value between the double quotes at the start of text, with backslashes taken off.
std::string Unquote(std::string_view text) {
  std::string value;
  if (!text.starts_with('"')) return value;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '"') return value;
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    value += text[i];
  }
  return {};
}

}  // namespace

std::string FindUserDir(std::string_view text, std::string_view key, std::string_view home) {
  std::string found;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with(key)) continue;
    line.remove_prefix(key.size());
    if (!line.starts_with('=')) continue;
    const std::string value = Unquote(line.substr(1));
    if (value.starts_with('/')) {
      found = value;
    } else if (value == kHome || value.starts_with("$HOME/")) {
      found = JoinPath(home, value.substr(kHome.size()));
    }
  }
  return found;
}

}  // namespace kxl
