#include "api/availability.h"

#include <kxl/kxl.h>

#include <string>

#include "api/registration.h"
#include "api/validation.h"
#include "esd/number_text.h"
#include "esd/xml_parser.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/launcher.h"
#include "platform/path.h"
#include "stores/admin_prefs.h"
#include "stores/lock_files.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

bool AreValid(const char* appIdentifier, const char* appDisplayName, const char* appFolderPath) {
  return !IsNullOrEmpty(appIdentifier) && !IsNullOrEmpty(appDisplayName) &&
         !IsLongerThan(appDisplayName, kMaximumDisplayName) && IsValidAppId(appIdentifier) &&
         IsValidUtf8(appFolderPath) && IsValidUtf8(appDisplayName) &&
         IsValidFolderLength(appFolderPath);
}

// The folder of the application's answers; empty when there can be none.
std::string AnswerFolder(const std::string& appId) {
  std::string folder;
  if (!IsPathComponent(appId) || !GetDataSubfolder(folder)) return {};
  return JoinPath(JoinPath(folder, "UpdateAvailable"), appId);
}

std::int32_t NumberIn(const esd::XMLNodePointer& document) {
  std::int32_t number = 0;
  if (const esd::XMLNodePointer result =
          esd::FindChild(esd::FindChild(document, "UpdateInfo"), "Result")) {
    esd::ParseInteger(result->GetText(), number);
  }
  return number;
}

enum class Answer { kNone, kRead, kUnreadable };

// Reads the answer, which is used up by that, damaged or not. One that cannot be opened or read
// stays for a later call: it may hold anything.
Answer TakeAnswer(const std::string& folder, const std::string& path, std::int32_t* result) {
  esd::ExpatDOMBuilder builder;
  if (!builder.Init()) return Answer::kUnreadable;
  if (IsLink(folder)) return Answer::kNone;
  const bool parsed = builder.ParseFile(path, false, Links::kRefuse);
  if (builder.LastRead() == esd::ReadStatus::kMissing) return Answer::kNone;
  if (builder.LastRead() == esd::ReadStatus::kUnreadable) return Answer::kUnreadable;
  if (parsed && result != nullptr) *result = NumberIn(builder.Document());
  RemoveFileSystemObject(folder);
  return Answer::kRead;
}

std::int32_t ForkUpdater(const std::string& appId, const std::string& answerPath) {
  if (!CreateLockFile(appId)) return ESD_ERR_FAILURE;
  LogMessage(kLogNormal, Flush::kYes, "ForkUpdater.");
  if (RunUpdaterExecutable({{"notifyAppID", appId}, {"notifyFile", answerPath}},
                           Background::kYes)) {
    return ESD_ERR_NOTIFY_PENDING;
  }
  RemoveLockFile(appId);
  return ESD_ERR_KX;
}

}  // namespace

std::int32_t IsUpdateAvailable(const char* appIdentifier, const char* appDisplayName,
                               const char* appFolderPath, std::uint32_t requestNumber,
                               std::int32_t* result, bool bOverrideData) {
  bool enabled = true;
  IsUpdateEnabledByAdmin(enabled);
  if (!enabled) return ESD_ERR_NOTENABLED;
  if (!AreValid(appIdentifier, appDisplayName, appFolderPath)) return ESD_ERR_INVALIDDATA;
  if (bOverrideData) {
    const std::int32_t code = RefreshRegistration(appIdentifier, appDisplayName, appFolderPath);
    if (code != ESD_ERR_OK) return code;
  }
  const std::string folder = AnswerFolder(appIdentifier);
  std::string answerPath;
  if (!folder.empty()) {
    answerPath = JoinPath(folder, std::to_string(requestNumber) + ".xml");
    if (IsRequestPending(appIdentifier)) return ESD_ERR_NOTIFY_PENDING;
    switch (TakeAnswer(folder, answerPath, result)) {
      case Answer::kRead:
        return ESD_ERR_OK;
      case Answer::kUnreadable:
        return ESD_ERR_FAILURE;
      case Answer::kNone:
        RemoveFileSystemObject(folder);
        CreateFolderTree(folder);
        break;
    }
  }
  return ForkUpdater(appIdentifier, answerPath);
}

}  // namespace kxl
