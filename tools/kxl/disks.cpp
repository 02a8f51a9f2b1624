#include <grp.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "esd/resource_locker.h"
#include "kxl/examinations.h"
#include "kxl/places.h"
#include "kxl/writing.h"
#include "platform/accounts.h"
#include "platform/base_folders.h"
#include "platform/file_system.h"
#include "platform/path.h"

namespace tool {

namespace {

// What is missing is made by whoever needs it first, so the question goes to the folder above.
std::string NearestFolder(std::string path) {
  while (!kxl::IsFolder(path) && kxl::ParentPath(path) != path) path = kxl::ParentPath(path);
  return path;
}

// Root tries for a user as that user, and for others as nobody in particular.
int TryFor(const std::string& folder, std::optional<gid_t> group, bool isForOthers) {
  int error = 0;
  const auto test = [&] { return (error = TryWriting(folder)) == 0; };
  RepairIn(folder, test);
  if (error == 0 && isForOthers) SucceedsForOthers(group, test);
  return error;
}

struct Place {
  std::string folder;
  const char* who;
  const char* kind;     // when it is a matter of rights
  const char* meaning;  // ... of not being able to write there
};

void Try(Findings& findings, const Place& place, std::optional<gid_t> group, bool isForOthers) {
  const auto hasFinding = [&](const Finding& finding) {
    return finding.severity == Severity::kWrong && place.folder.starts_with(finding.path);
  };
  if (place.folder.empty() || std::any_of(findings.begin(), findings.end(), hasFinding)) return;
  const std::string folder = NearestFolder(place.folder);
  const int error = TryFor(folder, group, isForOthers);
  if (error == 0) return;
  const auto add = [&](const char* kind, const char* advice) {
    findings.push_back({Severity::kWrong,
                        kind,
                        folder,
                        place.who,
                        place.meaning + std::string(": ") + std::strerror(error),
                        advice,
                        {}});
  };
  if (error == EROFS) {
    add("read-only", "mount it for writing");
  } else if (error == ENOSPC || error == EDQUOT) {
    add("disk-full", "make room there");
  } else {
    add(place.kind, "see to the rights of the folder and of those above it");
  }
}

}  // namespace

void ExamineDisks(Findings& findings) {
  const group* const admin = getgrnam("admin");
  if (IsRoot() || kxl::IsUserAdmin()) {
    std::string shared = SharedFolder();
    if (shared.empty()) shared = kxl::MachinePath("var/lib");
    Try(findings,
        {shared, kAdministrators, "not-writable", "administrators cannot register applications"},
        admin == nullptr ? std::nullopt : std::optional(admin->gr_gid), admin != nullptr);
  }
  Try(findings, {DataFolder(), kThisUser, "not-writable", "nothing of the user's can be kept"}, {},
      false);
  Try(findings,
      {LockFolder(), kThisUser, "no-runtime-folder", "no query for an update can be made"}, {},
      false);
  const std::string locks = kxl::ParentPath(esd::SemaphorePath({}));
  const Place semaphores = {locks, kEverybody, "no-shared-memory",
                            "no lock can be taken, and nothing be changed"};
  if (kxl::IsFolder(locks)) {
    Try(findings, semaphores, {}, true);
  } else {
    findings.push_back({Severity::kWrong,
                        semaphores.kind,
                        locks,
                        semaphores.who,
                        semaphores.meaning,
                        "mount a tmpfs of mode 1777 there",
                        {}});
  }
}

}  // namespace tool
