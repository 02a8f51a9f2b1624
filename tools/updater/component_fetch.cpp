#include "updater/component_fetch.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/file_copy.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "stores/missing_components.h"
#include "stores/updater_prefs.h"
#include "updater/catalogue.h"
#include "util/trace_log.h"

namespace updater {

namespace {

// Under its name in the folder stands the whole file, or what was there before.
bool Fetch(const std::string& file, const std::string& folder) {
  const std::string name = std::filesystem::path(file).filename();
  const std::string path = kxl::JoinPath(folder, name);
  const std::string companion = path + "_";
  kxl::DeleteFile(companion);
  const bool fetched = kxl::CopyFile(file, companion) && kxl::FileExchange(path, companion);
  kxl::DeleteFile(companion);
  kxl::LogValue(kxl::kLogNormal, kxl::Flush::kYes, fetched ? "Fetched" : "Could not fetch", name);
  return fetched;
}

bool FetchComponent(const Catalogue& catalogue, const kxl::KeldaUpdaterAMissingComponent& component,
                    const std::string& folder) {
  const std::vector<std::string> files = catalogue.Files(component);
  return !files.empty() && std::all_of(files.begin(), files.end(), [&](const std::string& file) {
    return Fetch(file, folder);
  });
}

}  // namespace

void FetchMissingComponents() {
  const Catalogue catalogue;
  const std::string folder = kxl::KeldaUpdaterPrefs().DownloadDir.GetOr({});
  kxl::KeldaUpdaterMissingCompsManager list;
  std::vector<kxl::KeldaUpdaterMissingCompsApp> apps;
  if (folder.empty() || !kxl::CreateFolderTree(folder) || !list.GetMissingCompsApps(apps)) return;
  for (const kxl::KeldaUpdaterMissingCompsApp& app : apps) {
    std::string appId;
    std::vector<kxl::KeldaUpdaterAMissingComponent> components;
    if (!app.GetAppID(appId) || !app.GetComponents(components)) continue;
    std::erase_if(components, [&](const kxl::KeldaUpdaterAMissingComponent& component) {
      return !FetchComponent(catalogue, component, folder);
    });
    if (!list.RemoveComponents(appId, components)) {
      kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, "The list could not be written.");
    }
  }
}

}  // namespace updater
