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
      dataFolder_(DataFolder()),
      installFolder_(InstallFolder(dataFolder_)),
      DownloadDir(*this, "DownloadDir", installFolder_),
      logFile(*this, "logFile", UpdaterLogPath(dataFolder_)),
      logFileLib(*this, "logFileLib", LibraryLogPath(dataFolder_)),
      logLevel(*this, "logLevel", DefaultLogLevel()),
      path_(PrefsPath()),
      lock_(path_, kLockWait) {
  // Before there is a lock policy: settings are there to be read even while somebody holds the
  // lock.
  Load(path_);
  SetLockPolicy(&lock_);
}

}  // namespace kxl
