#include "api/update_check.h"

#include <kxl/kxl.h>

#include <ctime>
#include <string>

#include "api/locale_code.h"
#include "api/registration.h"
#include "api/request_gate.h"
#include "api/suppression.h"
#include "api/validation.h"
#include "platform/launcher.h"
#include "platform/local_date.h"
#include "util/check_interval.h"
#include "util/date_text.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

void Trace(const char* text) { LogMessage(kLogNormal, Flush::kYes, text); }

// The same demands as of a registration, but in an order of their own, which the trace of a refused
// identifier shows, and without a line for the folder.
bool IsValidTrigger(const char* appIdentifier, const char* appDisplayName,
                    const char* appFolderPath) {
  return !IsNullOrEmpty(appFolderPath) && !IsLongerThan(appFolderPath, kMaximumFolderPath) &&
         IsValidUtf8(appFolderPath) && !IsNullOrEmpty(appIdentifier) &&
         IsValidAppId(appIdentifier) && !IsNullOrEmpty(appDisplayName) &&
         !IsLongerThan(appDisplayName, kMaximumDisplayName) && IsValidUtf8(appDisplayName);
}

void TraceTrigger(const char* appIdentifier, const char* appFolderPath, std::int32_t triggerType) {
  std::string name = "Trigger Update: AppIdentifier: ";
  if (appIdentifier == nullptr) {
    name += "NULL";
  } else {
    name.append(appIdentifier).append("\nAppFolder: ").append(appFolderPath);
  }
  LogValue(kLogNormal, Flush::kYes, name + "\nUpdate Type:",
           triggerType == KXL_TRIGGER_MANUAL ? " Manual Update" : " Scheduled Update");
}

// A manual launch that the updater has not taken up yet is not turned into a scheduled one.
void RecordLaunch(KeldaUpdaterPrefs& preferences, std::int32_t triggerType) {
  if (triggerType != KXL_TRIGGER_SCHEDULED) {
    preferences.Launch.Set("Manual");
    return;
  }
  if (!preferences.IsFirstRun.GetOr(false)) {
    std::int32_t type = 0;
    preferences.InBackground.Set(true);
    preferences.InTrayIcon.Set(preferences.AutoCheckType.Get(type) && type == 0);
  }
  if (preferences.Launch.GetOr({}) != "Manual") preferences.Launch.Set("Scheduled");
}

std::int32_t LaunchUpdater(const char* appIdentifier, const std::string& language,
                           std::int32_t triggerType) {
  EnvironmentList environment = {
      {"KX_LAUNCH_MODE", triggerType == KXL_TRIGGER_SCHEDULED ? "1" : "0"}};
  if (!language.empty()) environment.emplace_back("KX_DISPLAY_LANG", language);
  if (!IsNullOrEmpty(appIdentifier)) environment.emplace_back("KX_LAUNCH_APPID", appIdentifier);
  Trace("Launching KXL.");
  if (OpenUpdaterApplication(environment)) return ESD_ERR_OK;
  Trace("Launch Error.  Updater was not installed at the expected location.");
  return ESD_ERR_KX;
}

}  // namespace

bool IsTimeToLaunch(const KeldaUpdaterPrefs& preferences, std::chrono::year_month_day today) {
  std::string lastCheck;
  std::int32_t frequency = 0;
  if (!preferences.LastDateCheck.Get(lastCheck) || !preferences.AutoCheckFreq.Get(frequency)) {
    return false;
  }
  const auto last = ParseDate(lastCheck);
  return !last || HasIntervalPassed(*last, today, frequency);
}

std::int32_t TriggerUpdateCheck(RequestPreferences& preferences, const char* appIdentifier,
                                const char* appDisplayName, const char* appFolderPath,
                                const char* appDisplayLang, std::int32_t triggerType,
                                bool bOverrideData) {
  bool suppressed = false;
  if (AreUpdatesSuppressed(suppressed) && suppressed && triggerType == KXL_TRIGGER_SCHEDULED) {
    return KXL_CHECK_SUPPRESSED;
  }
  if (!IsRequestAllowed()) return ESD_ERR_NOTENABLED;
  const std::string language = NormaliseLocaleCode(appDisplayLang);
  if (appIdentifier != nullptr) {
    if (!IsValidTrigger(appIdentifier, appDisplayName, appFolderPath)) return ESD_ERR_INVALIDDATA;
    if (bOverrideData) {
      const std::int32_t code = RefreshRegistration(appIdentifier, appDisplayName, appFolderPath);
      if (code != ESD_ERR_OK) return code;
    }
  }
  TraceTrigger(appIdentifier, appFolderPath, triggerType);

  const std::chrono::year_month_day today = LocalDate(std::time(nullptr));
  bool isTime = true;
  bool autoCheck = true;
  preferences.Use([&](KeldaUpdaterPrefs& settings) {
    if (triggerType != KXL_TRIGGER_MANUAL) {
      isTime = IsTimeToLaunch(settings, today);
      autoCheck = settings.AutoCheck.GetOr(true);
    }
    if (isTime && autoCheck) RecordLaunch(settings, triggerType);
  });
  if (!isTime || !autoCheck) {
    Trace(autoCheck ? "" : "Scheduled check not enabled.  Nothing to update.");
    if (!isTime) {
      Trace("A month has not passed by since last launch of Updater.  Not time to launch.");
    }
    return ESD_ERR_OK;
  }
  return LaunchUpdater(appIdentifier, language, triggerType);
}

}  // namespace kxl
