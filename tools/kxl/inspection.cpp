#include "kxl/inspection.h"

#include <dlfcn.h>
#include <kxl/kxl.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "kxl/locks.h"
#include "kxl/places.h"
#include "kxl/policy.h"
#include "kxl/settings.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/processes.h"
#include "stores/admin_prefs.h"
#include "stores/missing_components.h"
#include "stores/registered_applications.h"
#include "stores/suppress_file.h"

namespace tool {

namespace {

std::string ModeText(mode_t mode) {
  std::array<char, 8> text;
  std::snprintf(text.data(), text.size(), "%04o", mode & 07777U);
  return text.data();
}

void ShowPlace(Output& output, const std::string& what, const std::string& path) {
  struct stat info {};
  const bool exists = !path.empty() && stat(path.c_str(), &info) == 0;
  Json object = {{"what", what}, {"path", path}, {"exists", exists}};
  std::vector<std::string> columns = {what, "-", "-", path.empty() ? "(no such folder)" : path};
  if (exists) {
    object["size"] = info.st_size;
    object["mode"] = ModeText(info.st_mode);
    columns[1] = ModeText(info.st_mode);
    columns[2] = S_ISDIR(info.st_mode) ? "folder" : std::to_string(info.st_size);
  }
  output.Row(object, std::move(columns), exists ? Colour::kNone : Colour::kDim);
}

void ShowFact(Output& output, const std::string& what, const Json& value, const std::string& text) {
  output.Row({{"what", what}, {"value", value}}, {what, text});
}

// The loaded library's file. Asking the library itself would write to its trace.
std::string LibraryFile() {
  Dl_info info;
  std::error_code error;
  if (dladdr(reinterpret_cast<void*>(&KXLGetVersion), &info) == 0) return {};
  return std::filesystem::canonical(info.dli_fname, error);
}

// The records of a shared list, under its root.
esd::SearchResult ReadRecords(Output& output, const std::string& path, std::string_view root,
                              std::string_view record) {
  esd::ExpatDOMBuilder builder;
  if (path.empty() || !builder.Init()) return {};
  builder.ParseFile(path, false);
  const std::string problem = ReadProblem(builder.LastRead());
  if (!problem.empty()) output.Error(path + " " + problem);
  if (builder.LastRead() != esd::ReadStatus::kParsed) return {};
  return esd::SearchResult(builder.Document())
      .FindChildren(esd::NameIs(root))
      .FindChildren(esd::NameIs(record));
}

}  // namespace

std::string ReadProblem(esd::ReadStatus status) {
  switch (status) {
    case esd::ReadStatus::kDamaged:
      return "is damaged; see kxl doctor";
    case esd::ReadStatus::kFolder:
      return "is a folder";
    case esd::ReadStatus::kDenied:
    case esd::ReadStatus::kUnavailable:
      return "cannot be opened";
    case esd::ReadStatus::kUnreadable:
      return "cannot be read";
    case esd::ReadStatus::kMissing:
    case esd::ReadStatus::kParsed:
      break;
  }
  return {};
}

void ShowStatus(Output& output) {
  std::string bundle;
  kxl::GetUpdaterBundlePath(bundle, kxl::IfMissing::kIgnore);
  const std::pair<const char*, std::string> places[] = {
      {"shared folder", SharedFolder()},
      {"registered applications", ApplicationsPath()},
      {"administrator's switch", kxl::AdminPrefsPath()},
      {"updater", bundle.empty() ? bundle : kxl::ExecutableInBundle(bundle)},
      {"data folder", DataFolder()},
      {"preferences", PreferencesPath()},
      {"missing components", ComponentsPath()},
      {"holds", HoldsPath()},
      {"answers", Below(DataFolder(), "Data/UpdateAvailable")},
      {"lock files", LockFolder()},
      {"library's log", SettingValue("logFileLib")},
      {"updater's log", SettingValue("logFile")},
  };
  for (const auto& [what, path] : places) ShowPlace(output, what, path);
  const kxl::AdminRule rule = kxl::FindAdminRule();
  const bool isAdmin = rule != kxl::AdminRule::kNone;
  output.Row({{"what", "administrator"}, {"value", isAdmin}, {"rule", RuleText(rule)}},
             {"administrator", (isAdmin ? "yes, " : "no, ") + RuleText(rule)});
  const bool isRunning = kxl::FindUpdaterProcess(kxl::BringToFront::kNo);
  ShowFact(output, "updater running", isRunning, isRunning ? "yes" : "no");
  const std::string library = LibraryFile();
  ShowFact(output, "library", library, library);
  ShowFact(output, "tool version", KXL_TOOL_VERSION, KXL_TOOL_VERSION);
}

void ShowApplications(Output& output) {
  for (const esd::XMLNodePointer& node :
       ReadRecords(output, ApplicationsPath(), kxl::KeldaUpdaterRegistrationManager::ElementName(),
                   kxl::KeldaUpdaterRegisteredApp::ElementName())) {
    const kxl::KeldaUpdaterRegisteredApp app(node);
    std::string id;
    std::string name;
    std::string folder;
    app.GetAppId(id);
    app.GetDisplayName(name);
    app.GetInstallPath(folder);
    const bool exists = kxl::PathExists(folder);
    output.Row({{"id", id}, {"name", name}, {"folder", folder}, {"folder_exists", exists}},
               {id, name, folder + (exists ? "" : " (gone)")},
               exists ? Colour::kNone : Colour::kBad);
  }
}

void ShowComponents(Output& output) {
  for (const esd::XMLNodePointer& node :
       ReadRecords(output, ComponentsPath(), kxl::KeldaUpdaterMissingCompsManager::ElementName(),
                   kxl::KeldaUpdaterMissingCompsApp::ElementName())) {
    const kxl::KeldaUpdaterMissingCompsApp app(node);
    std::string id;
    std::int32_t type = 0;
    std::vector<kxl::KeldaUpdaterAMissingComponent> components;
    app.GetAppID(id);
    app.GetOperationType(type);
    app.GetComponents(components);
    for (const kxl::KeldaUpdaterAMissingComponent& component : components) {
      std::string name;
      std::string category;
      kxl::Version version;
      component.GetName(name);
      component.GetCategory(category);
      component.GetVersion(version);
      output.Row({{"id", id},
                  {"name", name},
                  {"category", category},
                  {"version", version.ToString()},
                  {"operation_type", type}},
                 {id, name, category, version.ToString()});
    }
  }
}

void ShowHolds(Output& output) {
  const std::string path = HoldsPath();
  if (path.empty()) return;
  const std::time_t now = std::time(nullptr);
  kxl::SuppressFile file(path);
  try {
    if (!file.Read(now)) output.Error(path + " cannot be opened or read");
  } catch (const std::exception&) {
    output.Error(path + " has a line whose time cannot be read; see kxl doctor");
  }
  for (const kxl::Hold& hold : file.Holds()) {
    if (hold.end <= now) continue;
    const auto left = hold.end - now;
    output.Row({{"id", hold.appId}, {"seconds", left}},
               {hold.appId, std::to_string(left) + " seconds left"});
  }
}

void ShowPreferences(Output& output) {
  esd::ReadStatus status;
  for (const Setting& setting : ReadSettings(status)) {
    const std::string state = !setting.isValid ? "not valid" : setting.isSet ? "set" : "default";
    output.Row({{"key", setting.key}, {"value", setting.value}, {"state", state}},
               {setting.key, state, setting.value}, setting.isValid ? Colour::kNone : Colour::kBad);
  }
  const std::string problem = ReadProblem(status);
  if (!problem.empty()) output.Error(PreferencesPath() + " " + problem);
}

void ShowLocks(Output& output) {
  for (const Lock& lock : AllLocks()) {
    output.Row(ToJson(lock), {lock.name, HolderText(lock)},
               lock.state == LockState::kStale ? Colour::kBad : Colour::kNone);
  }
}

}  // namespace tool
