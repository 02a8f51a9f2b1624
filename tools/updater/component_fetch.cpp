#include "updater/component_fetch.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/file_copy.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "platform/regular_file.h"
#include "stores/missing_components.h"
#include "updater/catalogue.h"
#include "util/trace_log.h"

namespace updater {

namespace {

// What is being fetched, and is all that a killed updater leaves in the folder. Used by whoever has
// the folder for himself.
constexpr char kPartialName[] = ".kxl.part";

// Waits until no other updater is at work in the folder, and keeps others out for as long as one
// lives; the system lets go of it when the process is killed.
class OnlyFetcher {
 public:
  explicit OnlyFetcher(const std::string& folder)
      : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    do {
      isHeld_ = flock(folder_.get(), LOCK_EX) == 0;
    } while (!isHeld_ && errno == EINTR);
  }

  // False when the folder cannot be opened, or lies where nobody can be kept out.
  bool IsHeld() const { return isHeld_; }

 private:
  kxl::FileDescriptor folder_;
  bool isHeld_ = false;
};

// Under its name in the folder stands the whole file, or what was there before.
bool Fetch(const std::string& file, const std::string& folder) {
  const std::string name = std::filesystem::path(file).filename();
  const std::string partial = kxl::JoinPath(folder, kPartialName);
  kxl::DeleteFile(partial);
  const bool fetched = kxl::CopyFile(file, partial) &&
                       rename(partial.c_str(), kxl::JoinPath(folder, name).c_str()) == 0;
  kxl::DeleteFile(partial);
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

bool FetchMissingComponents(const std::string& folder, const Misbehaviour& misbehaviour) {
  kxl::KeldaUpdaterMissingCompsManager list;
  std::vector<kxl::KeldaUpdaterMissingCompsApp> apps;
  if (!list.GetMissingCompsApps(apps)) return false;
  if (apps.empty()) return true;
  if (folder.empty() || !kxl::CreateFolderTree(folder)) return false;
  const OnlyFetcher fetcher(folder);
  // Another updater may have fetched some of it while this one waited.
  if (!fetcher.IsHeld() || !list.GetMissingCompsApps(apps)) return false;
  std::optional<kxl::FileLock> hoard;
  if (misbehaviour.kind == Misbehaviour::Kind::kHoard) hoard.emplace(list);
  const Catalogue catalogue;
  bool isWritten = true;
  for (const kxl::KeldaUpdaterMissingCompsApp& app : apps) {
    std::string appId;
    std::vector<kxl::KeldaUpdaterAMissingComponent> components;
    if (!app.GetAppID(appId) || !app.GetComponents(components)) continue;
    std::erase_if(components, [&](const kxl::KeldaUpdaterAMissingComponent& component) {
      return !FetchComponent(catalogue, component, folder);
    });
    if (components.empty()) continue;
    isWritten = list.RemoveComponents(appId, components) && isWritten;
  }
  return isWritten;
}

}  // namespace updater
