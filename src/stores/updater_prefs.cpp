#include "stores/updater_prefs.h"

#include <stdexcept>

#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"
#include "util/log_paths.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

constexpr std::uint32_t kLockWait = 3000;  // milliseconds

std::string PrefsPath() {
  std::string folder;
  if (!FindDataFolder(folder)) throw std::runtime_error("Unable to create file!");
  return JoinPath(folder, "KeldaUpdaterPrefs.dat");
}

}  // namespace

KeldaUpdaterPrefs::KeldaUpdaterPrefs()
    : PrefsWriter("KeldaUpdater"),
      installFolder_(InstallFolder()),
      DownloadDir(*this, "DownloadDir", installFolder_),
      logFile(*this, "logFile", UpdaterLogPath()),
      logFileLib(*this, "logFileLib", LibraryLogPath()),
      logLevel(*this, "logLevel", DefaultLogLevel()),
      path_(PrefsPath()),
      lock_(path_, kLockWait) {
  // Before there is a lock policy: settings are there to be read even while somebody holds the
  // lock.
  Load(path_);
  // Read before the lock counts, which a request waits for once only.
  const std::string downloads = DownloadDir.GetOr({});
  if (!downloads.empty() && DownloadDir.IsDefault(downloads) && !PathExists(downloads)) {
    CreateFolderTree(downloads);
  }
  SetLockPolicy(&lock_);
}

}  // namespace kxl
