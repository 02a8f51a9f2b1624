#include "api/plugin_action.h"

#include <kxl/kxl.h>

#include <exception>

#include "api/request_gate.h"
#include "api/validation.h"
#include "platform/launcher.h"
#include "platform/processes.h"
#include "stores/registered_applications.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

// Whether there are preferences that were opened and cannot be read; some that are locked, may not
// be opened, or have no folder, do not count.
bool ArePreferencesUnreadable(RequestPreferences& preferences) {
  try {
    preferences.Use([](KeldaUpdaterPrefs&) {});
  } catch (const std::exception&) {
    return false;
  }
  return preferences.LastState() == RequestPreferences::State::kUnreadable;
}

}  // namespace

std::int32_t DoPluginActionRequest(RequestPreferences& preferences, const char* appIdentifier) {
  if (!IsRequestAllowed()) return ESD_ERR_NOTENABLED;
  // Before the arguments are looked at. One at work has its task already, and could take no second
  // one: the identifier travels in the environment of a start.
  if (FindUpdaterProcess(BringToFront::kNo)) return KXL_UPDATER_RUNNING;
  if (IsNullOrEmpty(appIdentifier) || !IsValidAppId(appIdentifier)) return ESD_ERR_INVALIDDATA;
  // The updater would not know what it may do.
  if (ArePreferencesUnreadable(preferences)) return ESD_ERR_OK;
  KeldaUpdaterRegisteredApp app{esd::XMLNodePointer()};
  if (!KeldaUpdaterRegistrationManager().Find(appIdentifier, app)) return ESD_ERR_NOTREGISTERED;
  LogMessage(kLogNormal, Flush::kYes, "ForkUpdater.");
  return RunUpdaterExecutable({{"doActionAppID", appIdentifier}}, Background::kYes) ? ESD_ERR_OK
                                                                                    : ESD_ERR_KX;
}

}  // namespace kxl
