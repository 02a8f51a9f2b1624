#include "kxl/doctor.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <system_error>

#include "esd/xml_parser.h"
#include "kxl/damage.h"
#include "kxl/locks.h"
#include "kxl/places.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"
#include "stores/registered_applications.h"

namespace tool {

namespace {

void AddStaleLocks(std::vector<Finding>& findings) {
  for (const Lock& lock : AllLocks()) {
    if (lock.state != LockState::kStale) continue;
    const std::string name = lock.name;
    findings.push_back({Severity::kWrong, "stale-lock", name, kEverybody,
                        "its holder was killed, and everybody else waits for it in vain",
                        "remove the lock", [name] {
                          // Somebody may have mended it and taken it since.
                          return LookAtLock(name).state != LockState::kStale || BreakLock(name);
                        }});
  }
}

// What everybody may see, whoever has put it there.
ExaminedObject::Content ContentOf(const ExaminedObject& object, std::string_view root) {
  std::string text;
  esd::ExpatDOMBuilder builder;
  if (root.empty() || !object.Read(text) || !builder.Init()) {
    return ExaminedObject::Content::kUnknown;
  }
  const bool isOurs = builder.ParseText(text) && esd::FindChild(builder.Document(), root);
  return isOurs ? ExaminedObject::Content::kOurs : ExaminedObject::Content::kUnknown;
}

// A list of ours has that root.
void AddMode(std::vector<Finding>& findings, const std::string& path, mode_t wanted,
             const char* meaning, std::string_view root = {}) {
  mode_t mode;
  if (path.empty() || !kxl::GetMode(path, mode) || (mode & wanted) == wanted) return;
  const auto object = IsRoot() ? std::make_shared<ExaminedObject>(path) : nullptr;
  findings.push_back({Severity::kWrong, "wrong-mode", path, kEverybody, meaning,
                      "give back the missing rights", [=] {
                        return RepairIn(kxl::ParentPath(path), [&]() -> Mended {
                          if (!IsRoot()) return kxl::AddModeBits(path, wanted);
                          return object->AddMode(wanted, ContentOf(*object, root));
                        });
                      }});
}

void AddModes(std::vector<Finding>& findings) {
  AddMode(findings, SharedFolder(), 0775, "administrators cannot register applications");
  AddMode(findings, ApplicationsPath(), kxl::kSharedFileMode,
          "the updater and other administrators cannot read or write the list",
          kxl::KeldaUpdaterRegistrationManager::ElementName());
  AddMode(findings, ComponentsPath(), kxl::kSharedFileMode,
          "the updater cannot read or write the list");
  AddMode(findings, DataFolder(), 0700, "the user cannot use his own files");
  AddMode(findings, PreferencesPath(), 0600, "the user cannot use his own preferences");
  AddMode(findings, HoldsPath(), 0600, "the user cannot use his own holds");
}

// Files of a user that somebody else owns were written by a process that ran as root with the
// user's HOME.
void AddOwners(std::vector<Finding>& findings) {
  struct stat home;
  const std::string folder = DataFolder();
  const std::string base = kxl::ParentPath(kxl::ParentPath(folder));
  if (folder.empty() || stat(base.c_str(), &home) != 0) return;
  std::error_code error;
  std::vector<std::string> paths = {kxl::ParentPath(folder), folder};
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    paths.push_back(entry.path());
  }
  for (const std::string& path : paths) {
    struct stat info;
    if (lstat(path.c_str(), &info) != 0 || info.st_uid == home.st_uid) continue;
    const auto object = IsRoot() ? std::make_shared<ExaminedObject>(path) : nullptr;
    findings.push_back({Severity::kWrong, "wrong-owner", path, kThisUser,
                        "it does not belong to the user whose folder it lies in",
                        "give it to him, as root", [object, base]() -> Mended {
                          return object != nullptr ? object->GiveToOwnerOf(base) : false;
                        }});
  }
}

void AddMissing(std::vector<Finding>& findings) {
  std::string shared = SharedFolder();
  if (shared.empty()) shared = kxl::MachinePath("var/lib/Kelda/Updater6");
  if (!kxl::IsFolder(shared)) {
    findings.push_back({Severity::kWrong, "missing-folder", shared, kAdministrators,
                        "no application can register here", "make it, with mode 0775", [shared] {
                          return RepairIn(shared, [] {
                            std::string folder;
                            return kxl::GetKeldaFolder(kxl::kLocalApplicationSupport, folder,
                                                       kxl::LevelMode::kShared);
                          });
                        }});
  }
  std::string bundle;
  const bool isKnown = kxl::GetUpdaterBundlePath(bundle);
  const std::string executable = isKnown ? kxl::ExecutableInBundle(bundle) : "the updater";
  if (!isKnown || access(executable.c_str(), X_OK) != 0) {
    findings.push_back({Severity::kWrong,
                        "missing-updater",
                        executable,
                        kEverybody,
                        "the updater is not installed, or may not be executed",
                        "install the updater",
                        {}});
  }
}

void AddGoneApplications(std::vector<Finding>& findings) {
  esd::ExpatDOMBuilder builder;
  const std::string path = ApplicationsPath();
  if (path.empty() || !builder.Init() || !builder.ParseFile(path, false)) return;
  const auto root = esd::NameIs(kxl::KeldaUpdaterRegistrationManager::ElementName());
  const auto record = esd::NameIs(kxl::KeldaUpdaterRegisteredApp::ElementName());
  const esd::SearchResult documents(builder.Document());
  for (const esd::XMLNodePointer& node : documents.FindChildren(root).FindChildren(record)) {
    const kxl::KeldaUpdaterRegisteredApp app(node);
    std::string id;
    std::string folder;
    if (!app.GetAppId(id) || !app.GetInstallPath(folder) || kxl::PathExists(folder)) continue;
    findings.push_back({Severity::kWrong,
                        "gone-application",
                        id,
                        kThisUser,
                        "its folder " + folder + " does not exist, or is not mounted",
                        "if it is gone for good: kxl unregister " + id,
                        {}});
  }
}

}  // namespace

std::vector<Finding> Examine() {
  std::vector<Finding> findings;
  AddStaleLocks(findings);
  AddOwners(findings);
  AddModes(findings);
  std::vector<Finding> damage = FindDamage();
  std::move(damage.begin(), damage.end(), std::back_inserter(findings));
  AddMissing(findings);
  AddGoneApplications(findings);
  return findings;
}

}  // namespace tool
