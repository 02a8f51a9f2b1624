// The user's list of components that applications lack, for the updater to fetch.
//
// KeldaMissingComps.xml in the user's data folder, mode 0664:
//
//   <?xml version="1.0" encoding="UTF-8" ?>
//   <KeldaUpdaterMissingCompsManager>
//   <KeldaUpdaterMissingCompsApp AppID="com.example.editor" OperationType="0" RedoCFU="1">
//   <DisplayName>Example Editor</DisplayName>
//   <InstallPath>/opt/example/editor</InstallPath>
//   <AMissingComponent category="Spelling" name="Dictionary" version="1.2.0.0"></AMissingComponent>
//   </KeldaUpdaterMissingCompsApp>
//   </KeldaUpdaterMissingCompsManager>
//
// Records without a name or a path are dropped by whoever loads the file next.
#ifndef KXL_STORES_MISSING_COMPONENTS_H
#define KXL_STORES_MISSING_COMPONENTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "esd/xml_bound_object.h"
#include "platform/file_system.h"
#include "stores/record_list.h"
#include "util/version.h"

namespace kxl {

inline constexpr char kMissingComponentsFileName[] = "KeldaMissingComps.xml";

// One component: a handle on its element.
class KeldaUpdaterAMissingComponent : public XMLBoundObject<KeldaUpdaterAMissingComponent> {
 public:
  static constexpr std::string_view ElementName() { return "AMissingComponent"; }

  KeldaUpdaterAMissingComponent(std::string_view category, std::string_view name,
                                const Version& version);
  explicit KeldaUpdaterAMissingComponent(esd::XMLNodePointer node)
      : XMLBoundObject(std::move(node)) {}

  bool GetName(std::string& out) const { return GetAttribute("name", out); }
  bool SetName(std::string_view name) { return SetAttribute("name", name); }
  bool GetCategory(std::string& out) const { return GetAttribute("category", out); }
  bool SetCategory(std::string_view category) { return SetAttribute("category", category); }
  // A missing one reads as 0.0.0.0; false for one that does not parse.
  bool GetVersion(Version& out) const;
  bool SetVersion(const Version& version) { return SetAttribute("version", version.ToString()); }
};

// What one application lacks: a handle on its element.
class KeldaUpdaterMissingCompsApp : public XMLBoundObject<KeldaUpdaterMissingCompsApp> {
 public:
  static constexpr std::string_view ElementName() { return "KeldaUpdaterMissingCompsApp"; }

  // A new record, with RedoCFU set, for the list to take a copy of.
  KeldaUpdaterMissingCompsApp(std::string_view appId, std::int32_t operationType);
  explicit KeldaUpdaterMissingCompsApp(esd::XMLNodePointer node)
      : XMLBoundObject(std::move(node)) {}

  bool GetAppID(std::string& out) const { return GetAttribute("AppID", out); }
  bool SetAppID(std::string_view appId) { return SetAttribute("AppID", appId); }
  bool GetOperationType(std::int32_t& out) const { return GetAttribute("OperationType", out); }
  bool SetOperationType(std::int32_t type) { return SetAttribute("OperationType", type); }
  bool GetRedoCFU(bool& out) const;
  bool SetRedoCFU(bool redo) { return SetAttribute("RedoCFU", redo ? "1" : "0"); }
  bool GetDisplayName(std::string& out) const { return GetChildText("DisplayName", out); }
  bool SetDisplayName(std::string_view name) { return SetChildText("DisplayName", name); }
  bool GetInstallPath(std::string& out) const { return GetChildText("InstallPath", out); }
  bool SetInstallPath(std::string_view path) { return SetChildText("InstallPath", path); }

  // In document order, each with its own copy of its element.
  bool GetComponents(std::vector<KeldaUpdaterAMissingComponent>& components) const;

  // Adds a copy of the component; false without an element to add it to.
  bool AppendComponent(const KeldaUpdaterAMissingComponent& component);

  // Whether a component of that category and version is listed under that name. With wildcards the
  // name "*", asked for or listed, stands for any.
  enum class Wildcards : bool { kNo, kYes };
  bool HasComponent(std::string_view name, std::string_view category, const Version& version,
                    Wildcards wildcards) const;
};

enum class AddResult { kAdded = 0, kListed = 1, kFailed = 2 };

// A component that an application asks for. A null text counts as absent.
struct ComponentRequest {
  const char* appId;
  const char* displayName;
  const char* installPath;
  std::int32_t operationType;
  const char* name;
  const char* category;
  const char* version;
};

// The list, made for one request. Every operation loads the file under its lock, for which it waits
// 2 seconds at most, unless the caller holds it (FileLock), and leaves the file as it was when it
// fails. None but the constructor throws.
//
// At its end the object looks at the file once more, if somebody has changed it since or an
// operation has failed, and waits for the lock as long: a list without
// records is removed, a damaged one set aside as path + ".damaged", and one that cannot be locked,
// opened or read left alone.
class KeldaUpdaterMissingCompsManager : public RecordList {
 public:
  static constexpr std::string_view ElementName() { return "KeldaUpdaterMissingCompsManager"; }

  // Makes the data folder if missing. Throws std::runtime_error "Unable to determine missing comps
  // filepath!" when that is impossible.
  KeldaUpdaterMissingCompsManager();
  ~KeldaUpdaterMissingCompsManager() override;

  // The records in the file's order, each with its own copy of its element.
  bool GetMissingCompsApps(std::vector<KeldaUpdaterMissingCompsApp>& apps);

  // The first record of that identifier, with its own copy.
  bool Find(const std::string& appId, KeldaUpdaterMissingCompsApp& app);

  // Adds a copy of the record at the end, also beside one of the same identifier. kFailed for one
  // with an empty or missing identifier, name or path.
  AddResult Add(const KeldaUpdaterMissingCompsApp& app);

  // Lists the component under the application's first record, which is made when there is none and
  // brought up to date when its name, path or operation type differ, also where the component is
  // listed already (HasComponent with wildcards). kFailed for absent texts, an empty identifier,
  // display name or path, a version that does not parse, what no attribute can carry, and a list
  // that cannot be locked, read or written.
  AddResult AddMissingComponent(const ComponentRequest& request);

  // Takes components off the application's records, those whose attributes are all the same as one
  // of the given ones', and then its records that lack nothing any more. True also when there was
  // none; false when the list cannot be locked, read or written.
  bool RemoveComponents(const std::string& appId,
                        const std::vector<KeldaUpdaterAMissingComponent>& components);

 private:
  bool IsAsLeft() const;
  template <typename Operation>
  AddResult Change(Operation operation);
  AddResult Append(const KeldaUpdaterMissingCompsApp& app);
  AddResult AddTo(KeldaUpdaterMissingCompsApp app, const ComponentRequest& request,
                  const Version& version);

  ModificationStamp left_;  // the file's, when the last operation left it with records; else zero
};

}  // namespace kxl

#endif  // KXL_STORES_MISSING_COMPONENTS_H
