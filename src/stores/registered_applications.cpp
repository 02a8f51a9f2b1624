#include "stores/registered_applications.h"

#include <stdexcept>

#include "esd/xml_writer.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

constexpr std::string_view kUpdaterId = "KeldaUpdater";

// With the levels' own mode: all administrators write there, whoever came first.
std::string ListPath() {
  std::string folder;
  if (!GetKeldaFolder(kLocalApplicationSupport, folder, LevelMode::kShared)) {
    LogMessage(kLogEssential, Flush::kYes, "Could not access the AllUserDataDirectory");
    throw std::runtime_error("Unable to determine registration filepath!");
  }
  return JoinPath(folder, "KeldaESDGlobalApps.xml");
}

// The updater is an application like the others to those who look it up, but nobody registers it.
bool FindUpdater(KeldaUpdaterRegisteredApp& app) {
  std::string bundle;
  if (!GetUpdaterBundlePath(bundle)) return false;
  app = KeldaUpdaterRegisteredApp(kUpdaterId);
  app.SetDisplayName("Kelda Updater");
  app.SetInstallPath(bundle);
  return true;
}

}  // namespace

KeldaUpdaterRegistrationManager::KeldaUpdaterRegistrationManager()
    : RecordList({ElementName(),
                  KeldaUpdaterRegisteredApp::ElementName(),
                  "appID",
                  {esd::NameIs("InstallPath")}}) {
  SetPath(ListPath());
  GuardFolder();
}

void KeldaUpdaterRegistrationManager::TraceListing(bool listed) const {
  if (!TraceLog::Wants(kLogDetail)) return;
  LogNumber(kLogDetail, Flush::kYes, "GetRegisteredApps(" + Path() + ") : return", listed);
}

bool KeldaUpdaterRegistrationManager::LoadTraced() {
  const bool loaded = Attempt([this] { return Load(); });
  TraceListing(loaded);
  return loaded;
}

bool KeldaUpdaterRegistrationManager::GetRegisteredApps(
    std::vector<KeldaUpdaterRegisteredApp>& apps) {
  const bool listed = Attempt([&] {
    const FileLock lock(*this);
    if (!lock.IsHeld() || !Load()) return false;
    apps.clear();
    for (const esd::XMLNodePointer& entry : Records()) {
      apps.emplace_back(esd::CloneNode(entry));
    }
    return true;
  });
  return Attempt([&] {
    TraceListing(listed);
    return listed;
  });
}

bool KeldaUpdaterRegistrationManager::Find(const std::string& appId,
                                           KeldaUpdaterRegisteredApp& app) {
  if (appId == kUpdaterId) return FindUpdater(app);
  return Attempt([&] {
    const FileLock lock(*this);
    if (!lock.IsHeld() || !LoadTraced()) return false;
    const esd::XMLNodePointer entry = FirstRecord(appId);
    if (!entry) return false;
    app = KeldaUpdaterRegisteredApp(esd::CloneNode(entry));
    return true;
  });
}

RegisterResult KeldaUpdaterRegistrationManager::Register(const KeldaUpdaterRegisteredApp& app) {
  const FileLock lock(*this);
  if (!lock.IsHeld() || !Load()) return RegisterResult::kFailed;
  std::string appId;
  std::string displayName;
  std::string installPath;
  app.GetAppId(appId);
  app.GetDisplayName(displayName);
  app.GetInstallPath(installPath);
  if (appId.empty() || installPath.empty() || displayName.empty() ||
      !esd::ReadsBackUnchanged(*app.Node())) {
    return RegisterResult::kRefused;
  }

  RegisterResult result = RegisterResult::kAdded;
  if (const esd::XMLNodePointer entry = FirstRecord(appId)) {
    if (ChildTextIs(*entry, "InstallPath", installPath) &&
        ChildTextIs(*entry, "DisplayName", displayName)) {
      return RegisterResult::kUnchanged;
    }
    // Further entries of that identifier, another program's doing, stay: only unregistering is sure
    // to mean all of them.
    if (!Root()->RemoveChild(entry)) return RegisterResult::kFailed;
    result = RegisterResult::kReplaced;
  }
  esd::DeepCopyNode(app.Node(), Root());
  if (SaveOrErase()) return result;
  return IsRefused() ? RegisterResult::kRefused : RegisterResult::kFailed;
}

UnregisterResult KeldaUpdaterRegistrationManager::Unregister(const std::string& appId) {
  // Without a file the lock is not worth taking, and somebody who makes one meanwhile has not
  // registered this application yet.
  if (appId == kUpdaterId || !PathExists(Path())) return UnregisterResult::kFailed;
  const FileLock lock(*this);
  if (!lock.IsHeld() || !Attempt([this] { return LoadTraced(); })) return UnregisterResult::kFailed;
  if (RemoveRecords(appId) == 0) return UnregisterResult::kNotFound;
  // Before anything is written: memory that runs out behind it must not make a failure of it.
  const bool wasLast = Records().IsEmpty();
  if (!SaveOrErase()) return UnregisterResult::kFailed;
  return wasLast ? UnregisterResult::kRemovedLast : UnregisterResult::kRemoved;
}

}  // namespace kxl
