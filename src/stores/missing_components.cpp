#include "stores/missing_components.h"

#include <algorithm>
#include <stdexcept>

#include "esd/xml_writer.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"

namespace kxl {

namespace {

std::string ListPath() {
  std::string folder;
  if (!GetDataFolder(folder)) {
    throw std::runtime_error("Unable to determine missing comps filepath!");
  }
  return JoinPath(folder, kMissingComponentsFileName);
}

constexpr esd::NameIs kIsComponent(KeldaUpdaterAMissingComponent::ElementName());

// Without the attribute any version is meant, which is written as 0.0.0.0.
bool ReadVersion(const esd::XMLDocumentNode& component, Version& out) {
  const auto text = component.GetAttribute("version");
  Version version;
  if (text && !version.Parse(*text)) return false;
  out = version;
  return true;
}

bool IsComponent(const esd::XMLDocumentNode& component, std::string_view name,
                 std::string_view category, const Version& version,
                 KeldaUpdaterMissingCompsApp::Wildcards wildcards) {
  Version listed;
  if (!component.AttributeIs("category", category) || !ReadVersion(component, listed) ||
      listed != version) {
    return false;
  }
  if (component.AttributeIs("name", name)) return true;
  return wildcards == KeldaUpdaterMissingCompsApp::Wildcards::kYes &&
         (name == "*" || component.AttributeIs("name", "*"));
}

bool IsPresent(const char* text) { return text != nullptr && *text != '\0'; }

}  // namespace

KeldaUpdaterAMissingComponent::KeldaUpdaterAMissingComponent(std::string_view category,
                                                             std::string_view name,
                                                             const Version& version) {
  SetCategory(category);
  SetName(name);
  SetVersion(version);
}

bool KeldaUpdaterAMissingComponent::GetVersion(Version& out) const {
  return Node() && ReadVersion(*Node(), out);
}

KeldaUpdaterMissingCompsApp::KeldaUpdaterMissingCompsApp(std::string_view appId,
                                                         std::int32_t operationType) {
  SetAppID(appId);
  SetOperationType(operationType);
  SetRedoCFU(true);
}

bool KeldaUpdaterMissingCompsApp::GetRedoCFU(bool& out) const {
  std::int32_t number;
  if (!GetAttribute("RedoCFU", number) || (number != 0 && number != 1)) return false;
  out = number == 1;
  return true;
}

bool KeldaUpdaterMissingCompsApp::GetComponents(
    std::vector<KeldaUpdaterAMissingComponent>& components) const {
  if (!Node()) return false;
  components.clear();
  for (const esd::XMLNodePointer& component :
       esd::SearchResult(Node()).FindChildren(kIsComponent)) {
    components.emplace_back(esd::CloneNode(component));
  }
  return true;
}

bool KeldaUpdaterMissingCompsApp::AppendComponent(const KeldaUpdaterAMissingComponent& component) {
  if (!Node() || !component.Node()) return false;
  esd::DeepCopyNode(component.Node(), Node());
  return true;
}

bool KeldaUpdaterMissingCompsApp::HasComponent(std::string_view name, std::string_view category,
                                               const Version& version, Wildcards wildcards) const {
  if (!Node()) return false;
  const auto children = Node()->GetChildren();
  return std::any_of(children.begin(), children.end(), [&](const esd::XMLDocumentNode* child) {
    return kIsComponent(*child) && IsComponent(*child, name, category, version, wildcards);
  });
}

KeldaUpdaterMissingCompsManager::KeldaUpdaterMissingCompsManager()
    : RecordList({ElementName(),
                  KeldaUpdaterMissingCompsApp::ElementName(),
                  "AppID",
                  {esd::NameIs("InstallPath"), esd::NameIs("DisplayName")}}) {
  SetPath(ListPath());
}

KeldaUpdaterMissingCompsManager::~KeldaUpdaterMissingCompsManager() {
  Attempt([this] {
    const FileLock lock(*this);
    if (!lock.IsHeld()) return false;
    if (IsAsLeft()) return true;
    // Looked at again: the updater may have listed or fetched something since the last operation.
    return Load() ? Records().IsEmpty() && Remove() : Recover();
  });
}

bool KeldaUpdaterMissingCompsManager::GetMissingCompsApps(
    std::vector<KeldaUpdaterMissingCompsApp>& apps) {
  return Attempt([&] {
    const FileLock lock(*this);
    if (!lock.IsHeld() || !Load()) return false;
    apps.clear();
    for (const esd::XMLNodePointer& record : Records()) apps.emplace_back(esd::CloneNode(record));
    return true;
  });
}

bool KeldaUpdaterMissingCompsManager::Find(const std::string& appId,
                                           KeldaUpdaterMissingCompsApp& app) {
  return Attempt([&] {
    const FileLock lock(*this);
    if (!lock.IsHeld() || !Load()) return false;
    const esd::XMLNodePointer record = FirstRecord(appId);
    if (!record) return false;
    app = KeldaUpdaterMissingCompsApp(esd::CloneNode(record));
    return true;
  });
}

bool KeldaUpdaterMissingCompsManager::IsAsLeft() const {
  ModificationStamp stamp;
  return left_ != ModificationStamp() && GetModificationStamp(Path(), stamp) && stamp == left_;
}

// Each operation loads the file anew: between two of one request the updater may have fetched
// something and taken it off.
template <typename Operation>
AddResult KeldaUpdaterMissingCompsManager::Change(Operation operation) {
  AddResult result = AddResult::kFailed;
  const bool done = Attempt([&] {
    const FileLock lock(*this);
    left_ = {};
    if (!lock.IsHeld() || !Load()) return false;
    const bool hadRecords = !Records().IsEmpty();
    result = operation();
    if (result != AddResult::kFailed || (hadRecords && IsRefused())) {
      GetModificationStamp(Path(), left_);
    }
    return true;
  });
  return done ? result : AddResult::kFailed;
}

AddResult KeldaUpdaterMissingCompsManager::Append(const KeldaUpdaterMissingCompsApp& app) {
  if (!esd::ReadsBackUnchanged(*app.Node())) return AddResult::kFailed;
  esd::DeepCopyNode(app.Node(), Root());
  return Save() ? AddResult::kAdded : AddResult::kFailed;
}

// As it stands, beside another record of that application too: for whoever brings whole records
// back.
AddResult KeldaUpdaterMissingCompsManager::Add(const KeldaUpdaterMissingCompsApp& app) {
  return Change([&] {
    std::string appId;
    std::string installPath;
    std::string displayName;
    app.GetAppID(appId);
    app.GetInstallPath(installPath);
    app.GetDisplayName(displayName);
    if (appId.empty() || installPath.empty() || displayName.empty()) return AddResult::kFailed;
    return Append(app);
  });
}

AddResult KeldaUpdaterMissingCompsManager::AddTo(KeldaUpdaterMissingCompsApp app,
                                                 const ComponentRequest& request,
                                                 const Version& version) {
  // The application may have been moved or renamed since it listed something else.
  bool isChanged = false;
  if (!ChildTextIs(*app.Node(), "DisplayName", request.displayName)) {
    app.SetDisplayName(request.displayName);
    isChanged = true;
  }
  if (!ChildTextIs(*app.Node(), "InstallPath", request.installPath)) {
    app.SetInstallPath(request.installPath);
    isChanged = true;
  }
  std::int32_t operationType;
  if (!app.GetOperationType(operationType) || operationType != request.operationType) {
    app.SetOperationType(request.operationType);
    isChanged = true;
  }
  // Listed under "*" is listed under every name.
  if (app.HasComponent(request.name, request.category, version,
                       KeldaUpdaterMissingCompsApp::Wildcards::kYes)) {
    return !isChanged || Save() ? AddResult::kListed : AddResult::kFailed;
  }
  const KeldaUpdaterAMissingComponent component(request.category, request.name, version);
  if (!esd::ReadsBackUnchanged(*component.Node())) return AddResult::kFailed;
  app.AppendComponent(component);
  return Save() ? AddResult::kAdded : AddResult::kFailed;
}

AddResult KeldaUpdaterMissingCompsManager::AddMissingComponent(const ComponentRequest& request) {
  Version version;
  if (!IsPresent(request.appId) || !IsPresent(request.displayName) ||
      !IsPresent(request.installPath) || request.name == nullptr || request.category == nullptr ||
      request.version == nullptr || !version.Parse(request.version)) {
    return AddResult::kFailed;
  }
  return Change([&] {
    if (const esd::XMLNodePointer record = FirstRecord(request.appId)) {
      return AddTo(KeldaUpdaterMissingCompsApp(record), request, version);
    }
    KeldaUpdaterMissingCompsApp app(request.appId, request.operationType);
    app.SetDisplayName(request.displayName);
    app.SetInstallPath(request.installPath);
    app.AppendComponent({request.category, request.name, version});
    return Append(app);
  });
}

bool KeldaUpdaterMissingCompsManager::RemoveComponents(
    const std::string& appId, const std::vector<KeldaUpdaterAMissingComponent>& components) {
  const auto isFetched = [&](const esd::XMLDocumentNode& child) {
    return kIsComponent(child) &&
           std::any_of(components.begin(), components.end(), [&](const auto& component) {
             const auto fetched = component.Node()->GetAttributes();
             const auto listed = child.GetAttributes();
             return std::equal(fetched.begin(), fetched.end(), listed.begin(), listed.end());
           });
  };
  return Attempt([&] {
    const FileLock lock(*this);
    left_ = {};
    if (!lock.IsHeld() || !Load()) return false;
    for (const esd::XMLNodePointer& record : Records()) {
      if (!IsRecordOf(*record, appId)) continue;
      record->RemoveChildrenIf(isFetched);
      if (esd::SearchResult(record).FindChildren(kIsComponent).IsEmpty())
        Root()->RemoveChild(record);
    }
    return SaveOrErase();
  });
}

}  // namespace kxl
