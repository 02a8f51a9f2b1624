#include "stores/registered_applications.h"

#include <stdexcept>

#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

constexpr std::uint32_t kLockWait = 2000;  // milliseconds
constexpr std::string_view kUpdaterId = "KeldaUpdater";

std::string ListPath() {
  std::string folder;
  if (!GetKeldaFolder(kLocalApplicationSupport, folder, LevelMode::kShared)) {
    LogMessage(kLogEssential, Flush::kYes, "Could not access the AllUserDataDirectory");
    throw std::runtime_error("Unable to determine registration filepath!");
  }
  return JoinPath(folder, "KeldaESDGlobalApps.xml");
}

// Accepts the entries of one application.
class IsApplication {
 public:
  explicit IsApplication(const std::string& appId) : appId_(appId) {}

  bool operator()(const esd::XMLDocumentNode& node) const {
    const std::string* appId = node.GetAttribute("appID");
    return appId != nullptr && *appId == appId_ && isEntry_(node);
  }

 private:
  const std::string& appId_;
  esd::NameIs isEntry_{KeldaUpdaterRegisteredApp::ElementName()};
};

esd::XMLNodePointer FirstChild(const esd::XMLNodePointer& root, const IsApplication& matches) {
  for (const esd::XMLNodePointer& child : root->GetChildren()) {
    if (matches(*child)) return child;
  }
  return {};
}

bool HasInstallPath(const esd::XMLDocumentNode& entry) {
  const esd::XMLDocumentNode* path = esd::FindUniqueChild(&entry, "InstallPath");
  return path != nullptr && !path->GetText().empty();
}

bool ChildTextIs(const esd::XMLDocumentNode& entry, std::string_view name,
                 const std::string& text) {
  const esd::XMLDocumentNode* child = esd::FindUniqueChild(&entry, name);
  return child != nullptr && child->GetText() == text;
}

// Runs an operation in which nothing but memory can fail beyond what it answers.
template <typename Operation>
bool Attempt(Operation operation) {
  try {
    return operation();
  } catch (const std::exception&) {
    return false;
  }
}

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
    : JournaledXMLLockedFile(kLockWait) {
  SetPath(ListPath());
}

bool KeldaUpdaterRegistrationManager::OnLoaded(const esd::XMLNodePointer& document) {
  root_ = esd::FindOrCreateChild(document, ElementName());
  // A second root would make a file that does not parse.
  document->RemoveChildrenIf([this](const auto& child) { return &child != root_.get(); });
  const esd::NameIs isEntry(KeldaUpdaterRegisteredApp::ElementName());
  const std::size_t pruned = root_->RemoveChildrenIf(
      [&](const auto& child) { return isEntry(child) && !HasInstallPath(child); });
  if (pruned > 0) Save();  // a user who may only read the list goes on without
  return true;
}

bool KeldaUpdaterRegistrationManager::SetFileMode(ESDofstream& file) {
  return file.SetMode(kSharedFileMode);
}

bool KeldaUpdaterRegistrationManager::LoadList() {
  const bool loaded = Load();
  if (TraceLog::Instance({}, 0, TraceLog::Mode::kSwitch).Wants(kLogDetail)) {
    LogNumber(kLogDetail, Flush::kYes, "GetRegisteredApps(" + Path() + ") : return", loaded);
  }
  return loaded;
}

bool KeldaUpdaterRegistrationManager::GetRegisteredApps(
    std::vector<KeldaUpdaterRegisteredApp>& apps) {
  return Attempt([&] {
    const FileLock lock(*this);
    if (!lock.IsHeld() || !LoadList()) return false;
    apps.clear();
    const esd::NameIs isEntry(KeldaUpdaterRegisteredApp::ElementName());
    for (const esd::XMLNodePointer& entry : esd::SearchResult(root_).FindChildren(isEntry)) {
      apps.emplace_back(esd::CloneNode(entry));
    }
    return true;
  });
}

bool KeldaUpdaterRegistrationManager::Find(const std::string& appId,
                                           KeldaUpdaterRegisteredApp& app) {
  if (appId == kUpdaterId) return FindUpdater(app);
  return Attempt([&] {
    const FileLock lock(*this);
    if (!lock.IsHeld() || !LoadList()) return false;
    const esd::XMLNodePointer entry = FirstChild(root_, IsApplication(appId));
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
  if (appId.empty() || installPath.empty() || displayName.empty()) return RegisterResult::kFailed;

  RegisterResult result = RegisterResult::kAdded;
  if (const esd::XMLNodePointer entry = FirstChild(root_, IsApplication(appId))) {
    if (ChildTextIs(*entry, "InstallPath", installPath) &&
        ChildTextIs(*entry, "DisplayName", displayName)) {
      return RegisterResult::kUnchanged;
    }
    if (!root_->RemoveChild(entry)) return RegisterResult::kFailed;
    result = RegisterResult::kReplaced;
  }
  esd::DeepCopyNode(app.Node(), root_);
  return SaveOrErase() ? result : RegisterResult::kFailed;
}

UnregisterResult KeldaUpdaterRegistrationManager::Unregister(const std::string& appId) {
  if (appId == kUpdaterId || !PathExists(Path())) return UnregisterResult::kFailed;
  const FileLock lock(*this);
  if (!lock.IsHeld() || !Attempt([this] { return LoadList(); })) return UnregisterResult::kFailed;
  if (RemoveAll(appId) == 0) return UnregisterResult::kNotFound;
  return SaveOrErase() ? UnregisterResult::kRemoved : UnregisterResult::kFailed;
}

std::size_t KeldaUpdaterRegistrationManager::RemoveAll(const std::string& appId) {
  return root_->RemoveChildrenIf(IsApplication(appId));
}

bool KeldaUpdaterRegistrationManager::SaveOrErase() {
  return Attempt([this] { return root_->GetChildren().empty() ? Remove() : Save(); });
}

}  // namespace kxl
