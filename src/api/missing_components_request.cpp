#include "api/missing_components_request.h"

#include <string>

#include "api/entry_frame.h"
#include "api/locale_code.h"
#include "api/registration.h"
#include "api/request_gate.h"
#include "api/validation.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/launcher.h"
#include "platform/processes.h"
#include "platform/session_bus.h"
#include "stores/missing_components.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

// Lists one after the other until one fails, and answers what became of the list as a whole.
std::int32_t AddAll(KeldaUpdaterMissingCompsManager& list, ComponentRequest request,
                    const KXLMissingComponentList& components) {
  AddResult result = AddResult::kAdded;
  bool allListed = true;
  for (std::uint32_t i = 0; i < components.count && result != AddResult::kFailed; ++i) {
    const KXLMissingComponent* component = components.components[i];
    const KXLMissingComponent absent = {nullptr, nullptr, nullptr};
    if (component == nullptr) component = &absent;
    request.name = component->name;
    request.category = component->category;
    request.version = component->version;
    result = list.AddMissingComponent(request);
    if (result == AddResult::kAdded) allListed = false;
  }
  if (result == AddResult::kFailed) return ESD_ERR_FAILURE;
  if (result == AddResult::kListed && allListed) return KXL_ALL_LISTED;
  return ESD_ERR_OK;
}

// False when there is no updater to tell. One that runs may have read the list already, so it is
// told to read it again; raising and telling it share one time limit, so that a bus that hangs
// costs no more than one wait.
bool TellUpdater(const std::string& language) {
  std::string bundle;
  if (!GetUpdaterBundlePath(bundle) || !PathExists(bundle)) return false;
  const BusDeadline deadline = BusPatience();
  if (FindUpdaterProcess(BringToFront::kYes, deadline)) {
    PostExpressDownloadSignal(deadline);
    return true;
  }
  EnvironmentList environment = {{"KX_LAUNCH_MODE", "3"}};
  if (!language.empty()) environment.emplace_back("KX_DISPLAY_LANG", language);
  LogMessage(kLogNormal, Flush::kYes, "Launching KXL.");
  OpenUpdaterApplication(environment);
  return true;
}

bool IsValid(const KXLMissingComponentList* components) {
  return components != nullptr && (components->count == 0 || components->components != nullptr);
}

}  // namespace

std::int32_t DownloadMissingComponentsRequest(const char* appIdentifier, const char* appDisplayName,
                                              const char* appFolderPath, const char* appDisplayLang,
                                              const KXLMissingComponentList* components,
                                              std::int32_t operationType, bool bOverrideData) {
  if (!IsRequestAllowed()) return ESD_ERR_NOTENABLED;
  if (IsNullOrEmpty(appIdentifier) || IsNullOrEmpty(appDisplayName) ||
      IsLongerThan(appDisplayName, kMaximumDisplayName) || IsNullOrEmpty(appFolderPath)) {
    return ESD_ERR_INVALIDDATA;
  }
  // Between the two groups of tests, since it may trace a refusal of its own.
  const std::string language = NormaliseLocaleCode(appDisplayLang);
  if (!IsValidAppId(appIdentifier) || !IsValidUtf8(appFolderPath) || !IsValidUtf8(appDisplayName) ||
      !IsValid(components)) {
    return ESD_ERR_INVALIDDATA;
  }
  if (bOverrideData) {
    const std::int32_t code = RefreshRegistration(appIdentifier, appDisplayName, appFolderPath);
    if (code != ESD_ERR_OK) return code;
  }
  KeldaUpdaterMissingCompsManager list;
  const ComponentRequest request = {appIdentifier, appDisplayName, appFolderPath, operationType,
                                    nullptr,       nullptr,        nullptr};
  const std::int32_t code = AddAll(list, request, *components);
  bool isTold = false;
  AfterSuccess([&] {
    LogValue(kLogNormal, Flush::kYes, "MissingMedia Path", list.Path());
    // What was listed before a component failed stays, and is fetched with the next request.
    if (code != ESD_ERR_FAILURE) isTold = TellUpdater(language);
  });
  return isTold || code == ESD_ERR_FAILURE ? code : ESD_ERR_KX;
}

}  // namespace kxl
