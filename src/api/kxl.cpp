// The exported functions, and nothing else: each is its handler in the entry frame.
#include <kxl/kxl.h>

#include "api/availability.h"
#include "api/entry_frame.h"
#include "api/library_version.h"
#include "api/missing_components_request.h"
#include "api/plugin_action.h"
#include "api/registration.h"
#include "api/request_gate.h"
#include "api/suppression.h"
#include "api/update_check.h"
#include "util/trace_log.h"

int32_t KXLRegisterApplication(const char* appIdentifier, const char* appDisplayName,
                               const char* appFolderPath) {
  return kxl::TracedRequest(
      "KXLRegisterApplication",
      [&] {
        kxl::TraceText("appIdentifier", appIdentifier);
        kxl::TraceText("appFolderPath", appFolderPath);
        kxl::TraceText("appDisplayName", appDisplayName);
      },
      [&](auto&) {
        return kxl::RegisterApplication(appIdentifier, appDisplayName, appFolderPath);
      });
}

int32_t KXLUnRegisterApplication(const char* appIdentifier) {
  return kxl::TracedRequest(
      "KXLUnRegisterApplication", [&] { kxl::TraceText("appIdentifier", appIdentifier); },
      [&](auto&) { return kxl::UnRegisterApplication(appIdentifier); });
}

int32_t KXLIsUpdateCheckEnabled(void) {
  std::int32_t enabled = 0;
  kxl::GuardEntry(enabled, [](std::int32_t& result) {
    kxl::RequestPreferences preferences;
    kxl::EnsureLogConfigured(preferences);
    kxl::TraceCall("KXIsUpdateCheckEnabled");  // without the L, as readers of logs look for it
    const bool isAllowed = kxl::IsRequestAllowed();
    kxl::LogNumber(kxl::kLogNormal, kxl::Flush::kNo, "return code", isAllowed ? 1 : 0);
    result = isAllowed ? 1 : 0;
  });
  return enabled;
}

int32_t KXLTriggerUpdateCheck(const char* appIdentifier, const char* appDisplayName,
                              const char* appFolderPath, const char* appDisplayLang,
                              KXLTriggerType triggerType, bool bOverrideData) {
  return kxl::TracedRequest(
      "KXLTriggerUpdateCheck",
      [&] {
        kxl::TraceText("appIdentifier", appIdentifier);
        kxl::TraceText("appFolderPath", appFolderPath);
        kxl::LogNumber(kxl::kLogNormal, kxl::Flush::kYes, "KXLTriggerType",
                       static_cast<std::uint32_t>(triggerType));
        kxl::TraceText("appDisplayName", appDisplayName);
        kxl::TraceText("appDisplayLang", appDisplayLang);
        kxl::TraceBoolean("bOverrideData", bOverrideData);
      },
      [&](kxl::RequestPreferences& preferences) {
        return kxl::TriggerUpdateCheck(preferences, appIdentifier, appDisplayName, appFolderPath,
                                       appDisplayLang, triggerType, bOverrideData);
      });
}

int32_t KXLIsUpdateAvailable(const char* appIdentifier, const char* appDisplayName,
                             const char* appFolderPath, uint32_t requestNumber, int32_t* result,
                             bool bOverrideData) {
  return kxl::TracedRequest(
      "KXLIsUpdateAvailable",
      [&] {
        kxl::TraceText("appIdentifier", appIdentifier);
        kxl::TraceText("appFolderPath", appFolderPath);
        kxl::TraceText("appDisplayName", appDisplayName);
        kxl::TraceBoolean("bOverrideData", bOverrideData);
      },
      [&](auto&) {
        return kxl::IsUpdateAvailable(appIdentifier, appDisplayName, appFolderPath, requestNumber,
                                      result, bOverrideData);
      });
}

int32_t KXLDownloadMissingComponents(const char* appIdentifier, const char* appDisplayName,
                                     const char* appFolderPath, const char* appDisplayLang,
                                     const KXLMissingComponentList* components,
                                     int32_t operationType, bool bOverrideData) {
  return kxl::TracedRequest(
      "KXLDownloadMissingComponents",
      [&] {
        kxl::TraceText("appIdentifier", appIdentifier);
        kxl::TraceText("appFolderPath", appFolderPath);
        kxl::TraceText("appDisplayName", appDisplayName);
        kxl::TraceText("appDisplayLang", appDisplayLang);
        kxl::TraceBoolean("bOverrideData", bOverrideData);
      },
      [&](auto&) {
        return kxl::DownloadMissingComponentsRequest(appIdentifier, appDisplayName, appFolderPath,
                                                     appDisplayLang, components, operationType,
                                                     bOverrideData);
      });
}

int32_t KXLDoPluginAction(const char* appIdentifier) {
  return kxl::TracedRequest(
      "KXLDoPluginAction", [&] { kxl::TraceText("appIdentifier", appIdentifier); },
      [&](kxl::RequestPreferences& preferences) {
        return kxl::DoPluginActionRequest(preferences, appIdentifier);
      });
}

int32_t KXLSuppressUpdates(char* appIdentifier, uint32_t* bufferSize, uint32_t* seconds,
                           int32_t query) {
  // Neither traced nor a reason to configure the log, as the only one.
  std::int32_t code = ESD_ERR_FAILURE;
  kxl::GuardEntry(code, [&](std::int32_t& result) {
    result = kxl::SuppressUpdates(appIdentifier, bufferSize, seconds, query);
  });
  return code;
}

uint32_t KXLGetVersion(void) {
  std::uint32_t version = 0;
  kxl::GuardEntry(version, [](std::uint32_t& result) {
    kxl::RequestPreferences preferences;
    kxl::EnsureLogConfigured(preferences);
    kxl::TraceCall("KXLGetVersion");
    result = kxl::PackVersion(kxl::kLibraryVersion);
    kxl::LogValue(kxl::kLogNormal, kxl::Flush::kNo, "Version = ", kxl::kLibraryVersion);
  });
  return version;
}
