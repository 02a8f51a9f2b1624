#include "kxl/places.h"

#include "platform/folders.h"
#include "platform/path.h"
#include "stores/missing_components.h"
#include "stores/suppress_file.h"

namespace tool {

std::string Below(const std::string& base, const std::string& name) {
  return base.empty() ? base : kxl::JoinPath(base, name);
}

std::string SharedFolder() {
  std::string path;
  kxl::FindFolder(kxl::kLocalApplicationSupport, path, kxl::IfMissing::kIgnore);
  return Below(Below(path, "Kelda"), "Updater6");
}

std::string DataFolder() {
  std::string path;
  if (kxl::FindDataFolder(path)) return path;
  // The first call will make it.
  if (!kxl::FindFolder(kxl::kUserApplicationSupport, path, kxl::IfMissing::kIgnore)) {
    kxl::FindFolder(kxl::kLocalTemporaryItems, path, kxl::IfMissing::kIgnore);
  }
  return Below(Below(path, "Kelda"), "Updater6");
}

std::string LockFolder() {
  std::string path;
  kxl::FindFolder(kxl::kUserTemporaryItems, path, kxl::IfMissing::kIgnore);
  return Below(path, "Kelda/Updater6/Updater6/locked");
}

std::string ApplicationsPath() { return Below(SharedFolder(), "KeldaESDGlobalApps.xml"); }
std::string ComponentsPath() { return Below(DataFolder(), kxl::kMissingComponentsFileName); }
std::string PreferencesPath() { return Below(DataFolder(), "KeldaUpdaterPrefs.dat"); }
std::string HoldsPath() { return Below(DataFolder(), kxl::kSuppressFileName); }
std::string DefaultLibraryLog() { return Below(DataFolder(), "kxlLib.log"); }
std::string DefaultUpdaterLog() { return Below(DataFolder(), "kxl.log"); }

}  // namespace tool
