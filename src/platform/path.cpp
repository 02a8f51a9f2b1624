#include "platform/path.h"

namespace kxl {

std::string JoinPath(std::string_view base, std::string_view component) {
  if (component.starts_with('/')) component.remove_prefix(1);
  std::string path;
  path.reserve(base.size() + 1 + component.size());
  path = base;
  if (!base.ends_with('/')) path += '/';
  path += component;
  return path;
}

std::string ParentPath(const std::string& path) {
  const std::size_t end = path.find_last_not_of('/');
  if (end == std::string::npos) return "/";
  const std::size_t slash = path.find_last_of('/', end);
  if (slash == std::string::npos) return ".";
  const std::size_t parentEnd = path.find_last_not_of('/', slash);
  return parentEnd == std::string::npos ? "/" : path.substr(0, parentEnd + 1);
}

bool IsPathComponent(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

}  // namespace kxl
