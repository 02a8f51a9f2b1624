#include "stores/lock_files.h"

#include "esd/resource_locker.h"
#include "esd/streams.h"
#include "platform/failure_report.h"
#include "platform/file_system.h"
#include "platform/folders.h"

namespace kxl {

// Through no companion: what counts is that the file is there, and nobody reads the four bytes.
bool CreateLockFile(const std::string& name) {
  std::string path;
  if (!LockFilePath(name, path)) return false;
  ESDofstream file(path, FileAccess::kReplace);
  file.Write("lock");
  const bool isWritten = file.Close();
  if (!isWritten) ReportFailure(path, file.Error());
  return isWritten;
}

bool RemoveLockFile(const std::string& name) {
  std::string path;
  return LockFilePath(name, path) && RemoveFileSystemObject(path);
}

bool IsLockFileBusy(const std::string& name) {
  std::string path;
  return !LockFilePath(name, path) || !PathExists(path) ||
         !esd::ResourceLocker(RequestLockName(name), 0).Lock();
}

std::string RequestLockName(const std::string& name) { return "KeldaUpdater6" + name; }

}  // namespace kxl
