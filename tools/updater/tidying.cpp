#include "updater/tidying.h"

#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "esd/resource_locker.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"
#include "stores/lock_files.h"
#include "stores/registered_applications.h"
#include "util/trace_log.h"

namespace updater {

namespace {

void Log(const char* text) { kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, text); }

// The names in the folder that begin with the prefix, without it.
std::set<std::string> NamesIn(const std::string& folder, std::string_view prefix) {
  std::set<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename();
    if (name.starts_with(prefix)) names.insert(name.substr(prefix.size()));
  }
  return names;
}

}  // namespace

bool TidyUp() {
  std::vector<kxl::KeldaUpdaterRegisteredApp> apps;
  if (!kxl::KeldaUpdaterRegistrationManager().GetRegisteredApps(apps)) return false;
  if (!apps.empty()) {
    Log("There is something to look after.");
    return true;
  }
  std::string answers;
  std::string locks;
  if (!kxl::GetDataSubfolder(answers) || !kxl::GetLockFolder(locks)) return false;
  answers = kxl::JoinPath(answers, "UpdateAvailable");
  std::set<std::string> names = NamesIn(locks, "lock.");
  names.merge(NamesIn(answers, ""));
  for (const std::string& name : names) {
    // A request that is being answered is somebody's who did not register.
    esd::ResourceLocker lock(kxl::RequestLockName(name), 0);
    if (!lock.Lock()) continue;
    kxl::RemoveFileSystemObject(kxl::JoinPath(answers, name));
    kxl::RemoveLockFile(name);
  }
  Log("Tidied up.");
  return true;
}

}  // namespace updater
