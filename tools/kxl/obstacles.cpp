#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "kxl/examinations.h"
#include "kxl/places.h"
#include "kxl/set_aside.h"
#include "kxl/writing.h"
#include "platform/base_folders.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"

namespace tool {

namespace {

Finding InTheWay(const char* kind, const std::string& path, const char* who,
                 const std::string& meaning) {
  return {
      Severity::kWrong, kind, path, who, meaning, "set it aside as " + path + ".damaged", [path] {
        return RepairIn(kxl::ParentPath(path), [&]() -> Mended { return SetAside(path); });
      }};
}

// Links count as what they lead to, and one that leads nowhere as a file.
bool IsNoFolder(const std::string& path) {
  return !path.empty() && (kxl::PathExists(path) || kxl::IsLink(path)) && !kxl::IsFolder(path);
}

void ExamineFolders(Findings& findings) {
  const std::string data = DataFolder();
  const std::string locks = LockFolder();
  const std::pair<std::string, const char*> folders[] = {
      {kxl::MachinePath("var/lib/Kelda"), kAdministrators},
      {kxl::MachinePath("var/lib/Kelda/Updater6"), kAdministrators},
      {data.empty() ? data : kxl::ParentPath(data), kThisUser},
      {data, kThisUser},
      {Below(data, "Data"), kThisUser},
      {Below(data, "Data/UpdateAvailable"), kThisUser},
      {Below(data, "Install"), kThisUser},
      {locks.empty() ? locks : kxl::ParentPath(kxl::ParentPath(kxl::ParentPath(locks))), kThisUser},
      {locks.empty() ? locks : kxl::ParentPath(kxl::ParentPath(locks)), kThisUser},
      {locks.empty() ? locks : kxl::ParentPath(locks), kThisUser},
      {locks, kThisUser}};
  for (const auto& [path, who] : folders) {
    if (!IsNoFolder(path)) continue;
    findings.push_back(InTheWay("not-a-folder", path, who, "it stands where a folder belongs"));
    return;  // whatever lies below is told by the next look
  }
}

void ExamineFiles(Findings& findings) {
  for (const std::string& path : {ApplicationsPath(), ComponentsPath(), PreferencesPath(),
                                  HoldsPath(), DefaultLibraryLog(), DefaultUpdaterLog()}) {
    for (const std::string& name : {path, path + "_"}) {
      if (path.empty() || !kxl::IsFolder(name)) continue;
      findings.push_back(InTheWay("not-a-file", name,
                                  path == ApplicationsPath() ? kAdministrators : kThisUser,
                                  "it is a folder and stands where a file belongs"));
    }
  }
}

void ExamineShared(Findings& findings) {
  const std::string shared = kxl::MachinePath("var/lib/Kelda/Updater6");
  struct stat info;
  if (lstat(shared.c_str(), &info) == 0 || errno != ENOENT) return;
  findings.push_back({Severity::kWrong, "missing-folder", shared, kAdministrators,
                      "no application can register here", "make it", [shared] {
                        return RepairIn(shared, [] {
                          std::string folder;
                          return kxl::GetKeldaFolder(kxl::kLocalApplicationSupport, folder,
                                                     kxl::LevelMode::kShared);
                        });
                      }});
}

// The library takes no other one than the user's own, and of those in the temporary folder only one
// that nobody else could lay anything into.
void ExamineRuntime(Findings& findings) {
  std::string path;
  if (kxl::FindFolder(kxl::kUserTemporaryItems, path, kxl::IfMissing::kFail)) return;
  const char* const variable = secure_getenv("XDG_RUNTIME_DIR");
  const bool isSet = variable != nullptr && *variable == '/';
  path = isSet ? variable : kxl::MachinePath("tmp/kxl-" + std::to_string(geteuid()));
  if (kxl::PathExists(path) || kxl::IsLink(path)) {
    findings.push_back(InTheWay("no-runtime-folder", path, kThisUser,
                                "it is no folder of this user's alone, and no query for an update "
                                "can be made"));
    return;
  }
  std::string above = kxl::ParentPath(path);
  while (!kxl::IsFolder(above)) above = kxl::ParentPath(above);
  const Mended canMake = RepairIn(above, [&]() -> Mended { return TryWriting(above) == 0; });
  if (canMake.isDone) return;
  findings.push_back(
      {Severity::kWrong,
       "no-runtime-folder",
       path,
       kThisUser,
       "it does not exist and cannot be made, and no query for an update can be made",
       "log in anew, or set XDG_RUNTIME_DIR to a folder of the user's own",
       {}});
}

}  // namespace

void ExamineObstacles(Findings& findings) {
  ExamineFolders(findings);
  ExamineFiles(findings);
  ExamineShared(findings);
  ExamineRuntime(findings);
}

}  // namespace tool
