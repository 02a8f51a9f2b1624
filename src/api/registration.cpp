#include "api/registration.h"

#include <kxl/kxl.h>

#include <cerrno>
#include <string>

#include "api/entry_frame.h"
#include "api/validation.h"
#include "platform/accounts.h"
#include "platform/failure_report.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/launcher.h"
#include "platform/path.h"
#include "platform/processes.h"
#include "stores/registered_applications.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

void Trace(const std::string& text) { LogMessage(kLogNormal, Flush::kYes, text); }

// Registers, and once more after a recovery where the list stood in the way: registering must not
// fail for ever because somebody else has damaged the list.
RegisterResult RegisterInList(const KeldaUpdaterRegisteredApp& app) {
  KeldaUpdaterRegistrationManager list;
  const FileLock first(list);
  RegisterResult result = first.IsHeld() ? list.Register(app) : RegisterResult::kFailed;
  if (result == RegisterResult::kFailed) {
    const FileLock second(list);  // where the first wait was in vain
    if (second.IsHeld() && list.Recover()) result = list.Register(app);
    // Somebody else's entry, or one that a failing disk let through, is no success of this request.
    if (result == RegisterResult::kUnchanged) result = RegisterResult::kFailed;
  }
  return result;
}

// What the updater has remembered for the application; nobody else would ever remove it.
void RemoveSettings(const std::string& appId) {
  std::string folder;
  // An identifier may hold a '/' or be "..", and must lead nowhere else.
  if (IsPathComponent(appId) && GetDataSubfolder(folder)) {
    RemoveFileSystemObject(JoinPath(folder, appId + ".aup.xml"));
  }
}

// The updater tidies up when no application is left for it to look after.
void LetUpdaterTidyUp() {
  if (FindUpdaterProcess(BringToFront::kNo)) return;
  Trace("Launching KXL.");
  OpenUpdaterApplication({{"KX_LAUNCH_MODE", "5"}});
}

bool IsRegisteredAs(const char* appIdentifier, const char* appDisplayName,
                    const char* appFolderPath) {
  KeldaUpdaterRegistrationManager list;
  KeldaUpdaterRegisteredApp app{esd::XMLNodePointer()};
  std::string folder;
  std::string name;
  return list.Find(appIdentifier, app) && app.GetInstallPath(folder) && folder == appFolderPath &&
         (appDisplayName == nullptr || (app.GetDisplayName(name) && name == appDisplayName));
}

}  // namespace

std::int32_t RegisterApplication(const char* appIdentifier, const char* appDisplayName,
                                 const char* appFolderPath) {
  // A missing folder is refused without a line in the trace, unlike one that is too long.
  if (IsNullOrEmpty(appFolderPath) ||
      !IsValidApplication(appIdentifier, appDisplayName, appFolderPath)) {
    return ESD_ERR_INVALIDDATA;
  }
  if (!IsUserAdmin()) return ESD_ERR_REGISTRATIONFAILED;
  KeldaUpdaterRegisteredApp app{std::string_view(appIdentifier)};
  app.SetDisplayName(appDisplayName);
  app.SetInstallPath(appFolderPath);
  switch (RegisterInList(app)) {
    case RegisterResult::kAdded:
    case RegisterResult::kReplaced:
      AfterSuccess([&] {
        Trace(std::string("Successfully registerred AppIdentifier: ") + appIdentifier +
              "\nAppName: " + appDisplayName + "\nAppFolder: " + appFolderPath);
      });
      return ESD_ERR_OK;
    case RegisterResult::kUnchanged:
      return ESD_ERR_ALREADYREGISTERED;
    case RegisterResult::kFailed:
    case RegisterResult::kRefused:
      break;
  }
  return ESD_ERR_REGISTRATIONFAILED;
}

std::int32_t UnRegisterApplication(const char* appIdentifier) {
  if (IsNullOrEmpty(appIdentifier) || !IsValidAppId(appIdentifier)) return ESD_ERR_INVALIDDATA;
  if (!IsUserAdmin()) return ESD_ERR_REGISTRATIONFAILED;
  KeldaUpdaterRegistrationManager list;
  const UnregisterResult result = list.Unregister(appIdentifier);
  switch (result) {
    case UnregisterResult::kNotFound:
      Trace(std::string("Not already registered - AppIdentifier: ") + appIdentifier);
      return ESD_ERR_NOTREGISTERED;
    case UnregisterResult::kFailed:
      if (!PathExists(list.Path())) ReportFailure(list.Path());  // there is no list
      Trace(std::string("Unregistration failed - AppIdentifier: ") + appIdentifier);
      return ESD_ERR_REGISTRATIONFAILED;
    case UnregisterResult::kRemoved:
    case UnregisterResult::kRemovedLast:
      break;
  }
  AfterSuccess([&] {
    Trace(std::string("Successfully unregistered - AppIdentifier: ") + appIdentifier);
    RemoveSettings(appIdentifier);
    list.TraceListing(true);
    if (result == UnregisterResult::kRemovedLast) LetUpdaterTidyUp();
  });
  return ESD_ERR_OK;
}

std::int32_t RefreshRegistration(const char* appIdentifier, const char* appDisplayName,
                                 const char* appFolderPath) {
  if (appIdentifier == nullptr || appFolderPath == nullptr) return ESD_ERR_INVALIDDATA;
  if (IsRegisteredAs(appIdentifier, appDisplayName, appFolderPath)) return ESD_ERR_OK;
  const char* name = appDisplayName == nullptr ? appIdentifier : appDisplayName;
  // Somebody who has registered the same meanwhile makes this a failure too: hosts that ask with
  // bOverrideData know one code for all of them.
  return RegisterApplication(appIdentifier, name, appFolderPath) == ESD_ERR_OK
             ? ESD_ERR_OK
             : ESD_ERR_NOTREGISTERED;
}

}  // namespace kxl
