#include "updater/tidying.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"
#include "stores/lock_files.h"
#include "stores/registered_applications.h"
#include "util/trace_log.h"

namespace updater {

namespace {

void Log(const char* text) { kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, text); }

void RemoveStaleLockFiles() {
  constexpr std::string_view kPrefix = "lock.";
  std::string folder;
  if (!kxl::GetLockFolder(folder)) return;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const std::string file = entry.path().filename();
    if (!file.starts_with(kPrefix)) continue;
    const std::string name = file.substr(kPrefix.size());
    if (!kxl::IsLockFileBusy(name)) kxl::RemoveLockFile(name);
  }
}

}  // namespace

void TidyUp() {
  std::vector<kxl::KeldaUpdaterRegisteredApp> apps;
  if (!kxl::KeldaUpdaterRegistrationManager().GetRegisteredApps(apps) || !apps.empty()) {
    Log("There is something to look after.");
    return;
  }
  std::string folder;
  if (kxl::GetDataSubfolder(folder)) {
    kxl::RemoveFileSystemObject(kxl::JoinPath(folder, "UpdateAvailable"));
  }
  RemoveStaleLockFiles();
  Log("Tidied up.");
}

}  // namespace updater
