#include "util/log_paths.h"

#include <string_view>

#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"

namespace kxl {

namespace {

std::string InDataFolder(std::string_view name) {
  std::string folder;
  return GetDataFolder(folder) ? JoinPath(folder, name) : std::string();
}

}  // namespace

std::string LibraryLogPath() { return InDataFolder("kxlLib.log"); }

std::string UpdaterLogPath() { return InDataFolder("kxl.log"); }

std::string InstallFolder() {
  std::string path = InDataFolder("Install");
  if (!path.empty()) CreateFolderTree(path);
  return path;
}

}  // namespace kxl
