#include "util/log_paths.h"

#include <string_view>

#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"

namespace kxl {

namespace {

std::string In(const std::string& folder, std::string_view name) {
  return folder.empty() ? std::string() : JoinPath(folder, name);
}

}  // namespace

std::string DataFolder() {
  std::string folder;
  return GetDataFolder(folder) ? folder : std::string();
}

std::string LibraryLogPath(const std::string& dataFolder) { return In(dataFolder, "kxlLib.log"); }

std::string UpdaterLogPath(const std::string& dataFolder) { return In(dataFolder, "kxl.log"); }

std::string InstallFolder(const std::string& dataFolder) {
  std::string path = In(dataFolder, "Install");
  if (!path.empty()) CreateFolderTree(path);
  return path;
}

}  // namespace kxl
