#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "kxl/examinations.h"
#include "kxl/places.h"
#include "platform/base_folders.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "stores/registered_applications.h"

namespace tool {

namespace {

constexpr mode_t kModeBits = 07777;
constexpr mode_t kNotOpen = 07775;  // whatever else it has, not for everybody to change

struct PackageFolder {
  const char* path;  // below the machine's root
  mode_t mode;
  const char* owner;
  const char* group;
};

constexpr PackageFolder kPackageFolders[] = {
#include "package_state.inc"
};

struct Wanted {
  std::string path;
  mode_t least;
  mode_t most;
  const char* who;
  const char* meaning;
  uid_t owner = Rights::kAsItIs;
  gid_t group = Rights::kAsItIs;
  std::string_view root = {};  // of a list of ours
};

std::string Text(const Rights& rights) {
  const passwd* user = getpwuid(rights.owner);
  const group* group = getgrgid(rights.group);
  std::array<char, 8> mode;
  std::snprintf(mode.data(), mode.size(), "%04o", rights.mode);
  return (user != nullptr ? user->pw_name : std::to_string(rights.owner)) + ":" +
         (group != nullptr ? group->gr_name : std::to_string(rights.group)) + " " + mode.data();
}

// A member of the group who does not own the list, but may write the folder, writes it anew.
Mended GiveOwnRights(const std::string& path, const Rights& rights) {
  Mended mended = SetRights(path, rights);
  if (mended.isDone || path != ApplicationsPath()) return mended;
  kxl::KeldaUpdaterRegistrationManager list;
  const kxl::FileLock lock(list);
  return lock.IsHeld() && list.Load() && list.Save() ? Mended(true) : mended;
}

void Compare(Findings& findings, const Wanted& wanted) {
  struct stat info;
  const bool isFolder = (wanted.least & S_IXUSR) != 0;
  if (wanted.path.empty() || stat(wanted.path.c_str(), &info) != 0 ||
      S_ISDIR(info.st_mode) != isFolder) {
    return;
  }
  const Rights now = {info.st_uid, info.st_gid, info.st_mode & kModeBits};
  const Rights then = {wanted.owner == Rights::kAsItIs ? now.owner : wanted.owner,
                       wanted.group == Rights::kAsItIs ? now.group : wanted.group,
                       (now.mode & wanted.most) | wanted.least};
  const bool lacks = (now.mode & wanted.least) != wanted.least;
  const char* const kind = then.owner != now.owner   ? "wrong-owner"
                           : then.group != now.group ? "wrong-group"
                           : lacks                   ? "wrong-mode"
                           : then.mode != now.mode   ? "too-open"
                                                     : nullptr;
  if (kind == nullptr) return;
  const bool isOpen = kind == std::string_view("too-open");
  const std::string path = wanted.path;
  const auto object = IsRoot() ? std::make_shared<ExaminedObject>(path) : nullptr;
  findings.push_back({Severity::kWrong, kind, path, wanted.who,
                      (isOpen ? "others can change what stands there" : wanted.meaning) +
                          std::string(": it is ") + Text(now),
                      "make it " + Text(then), [=, root = wanted.root] {
                        return RepairIn(kxl::ParentPath(path), [&]() -> Mended {
                          if (object == nullptr) return GiveOwnRights(path, then);
                          return object->SetRights(then, object->ContentBy(root));
                        });
                      }});
}

// On a machine of one's own the owner and the group are whatever they are.
void CompareShared(Findings& findings) {
  const bool isShared = IsSharedMachine();
  const group* const admin = getgrnam("admin");
  const gid_t sharedGroup = isShared && admin != nullptr ? admin->gr_gid : Rights::kAsItIs;
  for (const PackageFolder& folder : kPackageFolders) {
    const mode_t permissions = folder.mode & ACCESSPERMS;
    Wanted wanted = {kxl::MachinePath(folder.path), isShared ? folder.mode : permissions,
                     isShared ? folder.mode : kNotOpen, kAdministrators,
                     "administrators cannot register applications"};
    if (isShared) {
      const passwd* const owner = getpwnam(folder.owner);
      const group* const group = getgrnam(folder.group);
      if (owner != nullptr) wanted.owner = owner->pw_uid;
      if (group != nullptr) wanted.group = group->gr_gid;
    }
    Compare(findings, wanted);
  }
  Compare(findings,
          {ApplicationsPath(), kxl::kSharedFileMode, isShared ? kxl::kSharedFileMode : kNotOpen,
           kEverybody, "the updater and other users cannot read or write the list", Rights::kAsItIs,
           sharedGroup, kxl::KeldaUpdaterRegistrationManager::ElementName()});
}

void CompareUsers(Findings& findings) {
  const std::string data = DataFolder();
  const auto compare = [&](const std::string& path, mode_t least, const char* meaning) {
    const bool isData = path == data;
    Compare(findings, {path, least, isData ? kNotOpen : kModeBits, kThisUser, meaning});
  };
  compare(data, S_IRWXU, "the user cannot use his own files");
  for (const char* name : {"Data", "Data/UpdateAvailable", "Install"}) {
    compare(Below(data, name), S_IRWXU, "the updater's answers and files have no place");
  }
  compare(LockFolder(), S_IRWXU, "no query for an update can be made");
  compare(ComponentsPath(), kxl::kSharedFileMode, "the updater cannot read or write the list");
  compare(PreferencesPath(), S_IRUSR | S_IWUSR, "the user cannot use his own preferences");
  compare(HoldsPath(), S_IRUSR | S_IWUSR, "the user cannot use his own holds");
}

// Files of a user that somebody else owns were written by a process that ran as root with the
// user's HOME.
void CompareOwners(Findings& findings) {
  struct stat home;
  const std::string folder = DataFolder();
  const std::string base = kxl::ParentPath(kxl::ParentPath(folder));
  if (folder.empty() || stat(base.c_str(), &home) != 0) return;
  std::error_code error;
  std::vector<std::string> paths = {kxl::ParentPath(folder), folder};
  for (const std::string& below : {folder, Below(folder, "Data")}) {
    for (const auto& entry : std::filesystem::directory_iterator(below, error)) {
      paths.push_back(entry.path());
    }
  }
  for (const std::string& path : paths) {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0 || info.st_uid == home.st_uid) continue;
    const auto object = IsRoot() ? std::make_shared<ExaminedObject>(path) : nullptr;
    findings.push_back({Severity::kWrong, "wrong-owner", path, kThisUser,
                        "it does not belong to the user whose folder it lies in",
                        "give it to him, as root", [object, base]() -> Mended {
                          if (object != nullptr) return object->GiveToOwnerOf(base);
                          return Mended::Refused("only root can");
                        }});
  }
}

}  // namespace

void ExamineOwnership(Findings& findings) {
  if (getgrnam("admin") == nullptr) {
    findings.push_back(
        {Severity::kWrong,
         "no-admin-group",
         "admin",
         kEverybody,
         "there is no such group: by the account database nobody is an administrator, "
         "not even root",
         "as root: groupadd --system admin, and usermod --append --groups admin "
         "with each administrator",
         {}});
  }
  CompareOwners(findings);
  CompareShared(findings);
  CompareUsers(findings);
}

}  // namespace tool
