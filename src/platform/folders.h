// Where the files that the library shares with the updater and with other applications lie. Every
// operation answers false, with out as it was, when its folder can be neither found nor made.
#ifndef KXL_PLATFORM_FOLDERS_H
#define KXL_PLATFORM_FOLDERS_H

#include <string>
#include <string_view>

#include "platform/base_folders.h"

namespace kxl {

// What mode the levels "Kelda" and "Updater6" get when they are made: shared (0775), or their
// parent's mode added to their own. Levels that exist keep theirs.
enum class LevelMode { kAsParent, kShared };

// The folder of that kind, made if missing, with the levels "Kelda" and "Updater6" below it.
bool GetKeldaFolder(FolderKind kind, std::string& out, LevelMode mode);

// Adds the levels "Kelda" and "Updater6" to path and makes those that are missing.
bool EnsureKeldaSubfolders(std::string& path, LevelMode mode);

// Where the per-user files lie: logs, holds, missing components, preferences.
// <user's data>/Kelda/Updater6, else <local temporary items>/Kelda/Updater6.
bool GetDataFolder(std::string& out);

// The same folder without making anything; it need not exist.
bool FindDataFolder(std::string& out);

// Redirects GetDataFolder and FindDataFolder for the whole process: a non-empty path is answered as
// it stands, neither looked up nor made. For builds that embed the library; to be set before the
// first request.
void SetDataFolderOverride(const std::string& path);

// <data folder>/Data, made if missing: answers and per-application settings.
bool GetDataSubfolder(std::string& out);

// Where a request that may not write the data folder would move the list of missing components to.
// No process of Linux is restricted that way, so it is the data folder.
bool GetMissingComponentsFolder(std::string& out);

// <user's temporary items>/Kelda/Updater6/<name>. Makes only the temporary folder itself; empty
// when that fails.
std::string GetTempKeldaPath(std::string_view name);

// The folder above the lock files; not made.
bool GetLockBaseFolder(std::string& out);

// The folder of the lock files, made if missing.
bool GetLockFolder(std::string& out);

// The lock file named by an application identifier. False too for an identifier that cannot stand
// in a file name (".", "..", or with a '/').
bool LockFilePath(const std::string& name, std::string& out);

// The updater's bundle, a folder; it need not exist. False when the folder of utilities is missing,
// unless that is to be ignored.
bool GetUpdaterBundlePath(std::string& out, IfMissing ifMissing = IfMissing::kFail);

// The executable inside a bundle.
std::string ExecutableInBundle(const std::string& bundle);

}  // namespace kxl

#endif  // KXL_PLATFORM_FOLDERS_H
