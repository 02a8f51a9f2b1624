// Files as a check prepares and finds them. What cannot be done ends the check: std::exception.
#ifndef KXL_TOOLS_UPDATER_CHECK_FILES_H
#define KXL_TOOLS_UPDATER_CHECK_FILES_H

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace conformance {

namespace fs = std::filesystem;

std::string ReadFile(const std::string& path);                   // empty when there is none
void WriteFile(const std::string& path, std::string_view text);  // makes its folders
// As the updater has to find it: read by another process, it never appears half written.
void WriteWhole(const std::string& path, std::string_view text);
mode_t ModeOf(const std::string& path);
void SetMode(const std::string& path, mode_t mode);
std::size_t Count(std::string_view text, std::string_view piece);
bool IsXml(std::string_view text);
// The text of the only child of that name of the root; "(none)" without one.
std::string Element(const std::string& document, std::string_view root, std::string_view name);

// Every file below the folder: its path, its mode and its content, or what it is instead.
using Snapshot = std::map<std::string, std::string>;
Snapshot TakeSnapshot(const std::string& folder);

// Reads a file again and again, on a thread of its own, for as long as one lives.
class ConstantReader {
 public:
  explicit ConstantReader(std::string path);

  // Requires that the file was whole whenever there was one; what tells what it should be.
  void RequireWhole(std::string_view what);

 private:
  void Look();

  std::string path_;
  std::optional<std::string> half_;
  std::jthread thread_;
};

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_FILES_H
