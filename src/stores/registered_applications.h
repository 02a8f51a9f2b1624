// The machine's list of registered applications, shared by every application and the updater.
//
// KeldaESDGlobalApps.xml in <root>/var/lib/Kelda/Updater6, mode 0664:
//
//   <?xml version="1.0" encoding="UTF-8" ?>
//   <KeldaUpdaterRegistrationManager>
//   <Application appID="com.example.editor">
//   <DisplayName>Example Editor</DisplayName>
//   <InstallPath>/opt/example/editor</InstallPath>
//   </Application>
//   </KeldaUpdaterRegistrationManager>
//
// Entries without an install path are dropped by whoever loads the file next; unknown elements and
// attributes of an entry stay with it. A list without entries has no file.
#ifndef KXL_STORES_REGISTERED_APPLICATIONS_H
#define KXL_STORES_REGISTERED_APPLICATIONS_H

#include <string>
#include <string_view>
#include <vector>

#include "esd/xml_bound_object.h"
#include "stores/record_list.h"

namespace kxl {

// One entry: a handle on its element.
class KeldaUpdaterRegisteredApp : public XMLBoundObject<KeldaUpdaterRegisteredApp> {
 public:
  static constexpr std::string_view ElementName() { return "Application"; }

  // A new entry, for the list to take a copy of.
  explicit KeldaUpdaterRegisteredApp(std::string_view appId) { SetAppId(appId); }
  explicit KeldaUpdaterRegisteredApp(esd::XMLNodePointer node) : XMLBoundObject(std::move(node)) {}

  bool GetAppId(std::string& out) const { return GetAttribute("appID", out); }
  bool SetAppId(std::string_view appId) { return SetAttribute("appID", appId); }
  bool GetDisplayName(std::string& out) const { return GetChildText("DisplayName", out); }
  bool SetDisplayName(std::string_view name) { return SetChildText("DisplayName", name); }
  bool GetInstallPath(std::string& out) const { return GetChildText("InstallPath", out); }
  bool SetInstallPath(std::string_view path) { return SetChildText("InstallPath", path); }
};

// What was refused is refused again whatever is done about the list; what has failed may not be.
enum class RegisterResult { kAdded = 0, kReplaced = 1, kUnchanged = 2, kFailed = 3, kRefused = 4 };
enum class UnregisterResult { kRemoved = 0, kNotFound = 1, kFailed = 2, kRemovedLast = 3 };

// The list, made for one request. Every operation loads the file under its lock, for which it waits
// 2 seconds at most, unless the caller holds it (FileLock). Identifiers are compared byte for byte.
// An operation that fails leaves the file as it was, and none but the constructor throws for what
// it finds.
class KeldaUpdaterRegistrationManager : public RecordList {
 public:
  static constexpr std::string_view ElementName() { return "KeldaUpdaterRegistrationManager"; }

  // Makes the list's folder if missing. Throws std::runtime_error "Unable to determine registration
  // filepath!" when that is impossible.
  KeldaUpdaterRegistrationManager();

  // The entries in the file's order, each with its own copy of its element: they stay valid when
  // the list has gone.
  bool GetRegisteredApps(std::vector<KeldaUpdaterRegisteredApp>& apps);

  // The first entry of that identifier, with its own copy. "KeldaUpdater" is always found, as long
  // as the updater's bundle path can be computed, whatever the file says.
  bool Find(const std::string& appId, KeldaUpdaterRegisteredApp& app);

  // Adds the entry at the end; one of the same identifier is removed first when its name or path
  // differs, and left alone, file and all, when it does not. Refused is an entry with an empty or
  // missing field, and one that would not read back or makes a list that does not.
  RegisterResult Register(const KeldaUpdaterRegisteredApp& app);

  // Removes every entry of that identifier, and the file with the last one of all. A missing file
  // and "KeldaUpdater" are failures.
  UnregisterResult Unregister(const std::string& appId);

  // The line of a listing, which looking up and unregistering write as well.
  void TraceListing(bool listed) const;

 private:
  bool LoadTraced();
};

}  // namespace kxl

#endif  // KXL_STORES_REGISTERED_APPLICATIONS_H
