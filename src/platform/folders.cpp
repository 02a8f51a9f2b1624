#include "platform/folders.h"

#include <boost/static_string.hpp>
#include <climits>
#include <utility>

#include "platform/failure_report.h"
#include "platform/file_system.h"
#include "platform/path.h"

namespace kxl {

namespace {

constexpr mode_t kModeWithoutParent = 0774;

boost::static_string<PATH_MAX> dataFolderOverride;

bool IsOverridden(std::string& out) {
  if (dataFolderOverride.empty()) return false;
  out.assign(dataFolderOverride.data(), dataFolderOverride.size());
  return true;
}

bool EnsureLevel(std::string& path, std::string_view level, LevelMode levelMode) {
  const std::string parent = std::exchange(path, JoinPath(path, level));
  if (PathExists(path)) return true;
  mode_t parentMode;
  if (!GetMode(parent, parentMode)) parentMode = kModeWithoutParent;
  bool created = false;
  if (!CreateFolderTree(path, &created)) return false;
  // Another process that made the same folder meanwhile sees to its mode.
  if (!created) return true;
  return DoneOrReport(
      levelMode == LevelMode::kShared ? SetSharedMode(path) : AddModeBits(path, parentMode), path);
}

}  // namespace

bool GetKeldaFolder(FolderKind kind, std::string& out, LevelMode mode) {
  std::string path;
  if (!FindFolder(kind, path, IfMissing::kCreate) || !EnsureKeldaSubfolders(path, mode)) {
    return false;
  }
  out = path;
  return true;
}

bool EnsureKeldaSubfolders(std::string& path, LevelMode mode) {
  std::string folder = JoinPath(path, "Kelda/Updater6");
  if (IsFolder(folder)) {  // as it nearly always is
    path = folder;
    return true;
  }
  folder = path;
  if (!EnsureLevel(folder, "Kelda", mode) || !EnsureLevel(folder, "Updater6", mode)) return false;
  path = folder;
  return true;
}

void SetDataFolderOverride(const std::string& path) {
  dataFolderOverride.assign(path.data(), path.size());
}

bool GetDataFolder(std::string& out) {
  if (IsOverridden(out)) return true;
  return GetKeldaFolder(kUserApplicationSupport, out, LevelMode::kAsParent) ||
         GetKeldaFolder(kLocalTemporaryItems, out, LevelMode::kAsParent);
}

bool FindDataFolder(std::string& out) {
  if (IsOverridden(out)) return true;
  std::string path;
  if (!FindFolder(kUserApplicationSupport, path, IfMissing::kFail) &&
      !FindFolder(kLocalTemporaryItems, path, IfMissing::kFail)) {
    return false;
  }
  out = JoinPath(JoinPath(path, "Kelda"), "Updater6");
  return true;
}

bool GetDataSubfolder(std::string& out) {
  std::string path;
  if (!GetDataFolder(path)) return false;
  path = JoinPath(path, "Data");
  if (!CreateFolderTree(path)) return false;
  out = path;
  return true;
}

bool GetMissingComponentsFolder(std::string& out) { return GetDataFolder(out); }

std::string GetTempKeldaPath(std::string_view name) {
  std::string path;
  if (!FindFolder(kUserTemporaryItems, path, IfMissing::kCreate)) return {};
  return JoinPath(JoinPath(JoinPath(path, "Kelda"), "Updater6"), name);
}

bool GetLockBaseFolder(std::string& out) {
  const std::string path = GetTempKeldaPath("Updater6");
  if (path.empty()) return false;
  out = path;
  return true;
}

bool GetLockFolder(std::string& out) {
  std::string path;
  if (!GetLockBaseFolder(path) || !CreateFolderTree(path)) return false;
  path = JoinPath(path, "locked");
  if (!CreateFolderTree(path)) return false;
  out = path;
  return true;
}

bool LockFilePath(const std::string& name, std::string& out) {
  std::string folder;
  if (!IsPathComponent(name) || !GetLockFolder(folder)) return false;
  out = JoinPath(folder, "lock." + name);
  return true;
}

bool GetUpdaterBundlePath(std::string& out, IfMissing ifMissing) {
  std::string path;
  if (!FindFolder(kLocalUtilities, path, ifMissing)) return false;
  out = JoinPath(JoinPath(JoinPath(path, "Kelda Utilities.localized"), "Kelda Updater6"),
                 "Kelda Updater.app");
  return true;
}

std::string ExecutableInBundle(const std::string& bundle) {
  return JoinPath(JoinPath(JoinPath(bundle, "Contents"), "MacOS"), "Kelda Updater");
}

}  // namespace kxl
