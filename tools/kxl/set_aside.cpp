#include "kxl/set_aside.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/file_copy.h"
#include "platform/file_system.h"
#include "platform/path.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

// The numbers that are taken, from the highest to the lowest.
std::vector<unsigned long> Numbers(const std::string& path) {
  constexpr std::size_t kLongest = 9;  // digits
  const std::string prefix = fs::path(path).filename().native() + ".damaged.";
  std::vector<unsigned long> numbers;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(kxl::ParentPath(path), error)) {
    const std::string name = entry.path().filename();
    if (!name.starts_with(prefix)) continue;
    const std::string digits = name.substr(prefix.size());
    const bool isNumber = !digits.empty() && digits.size() <= kLongest &&
                          digits.find_first_not_of("0123456789") == std::string::npos;
    if (isNumber) numbers.push_back(std::stoul(digits));
  }
  std::sort(numbers.rbegin(), numbers.rend());
  return numbers;
}

}  // namespace

std::vector<std::string> SetAsideFor(const std::string& path) {
  std::vector<std::string> found;
  const std::string first = path + ".damaged";
  if (kxl::PathExists(first)) found.push_back(first);
  for (const unsigned long number : Numbers(path)) {
    found.push_back(first + "." + std::to_string(number));
  }
  return found;
}

bool MakeRoomForSetAside(const std::string& path) {
  const std::string first = path + ".damaged";
  if (!kxl::PathExists(first) && !kxl::IsLink(first)) return true;
  const std::vector<unsigned long> numbers = Numbers(path);
  const unsigned long next = numbers.empty() ? 1 : numbers.front() + 1;
  return kxl::RenameToFreeName(first, first + "." + std::to_string(next));
}

bool SetAside(const std::string& path) {
  return MakeRoomForSetAside(path) && kxl::RenameToFreeName(path, path + ".damaged");
}

}  // namespace tool
