#include "api/availability.h"

#include <kxl/kxl.h>

#include <cerrno>
#include <string>

#include "api/entry_frame.h"
#include "api/registration.h"
#include "api/validation.h"
#include "esd/number_text.h"
#include "esd/resource_locker.h"
#include "esd/xml_parser.h"
#include "platform/failure_report.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/launcher.h"
#include "platform/path.h"
#include "stores/admin_prefs.h"
#include "stores/lock_files.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

// The folder of the application's answers; empty when there can be none.
std::string AnswerFolder(const std::string& appId) {
  std::string folder;
  if (!IsPathComponent(appId) || !GetDataSubfolder(folder)) return {};
  return JoinPath(JoinPath(folder, "UpdateAvailable"), appId);
}

// An answer without a number that can be read is still one: the updater has looked.
std::int32_t NumberIn(const esd::XMLNodePointer& document) {
  std::int32_t number = 0;
  if (const esd::XMLNodePointer result =
          esd::FindChild(esd::FindChild(document, "UpdateInfo"), "Result")) {
    esd::ParseInteger(result->GetText(), number);
  }
  return number;
}

enum class Answer { kNone, kRead, kUnavailable, kPending };

// Reads the answer, which is used up by that, whatever it holds and whoever may open it: a request
// must come to an end. Only what may be had in a moment is left for a later call.
Answer ReadAnswer(const std::string& folder, const std::string& path, std::int32_t* result) {
  // A link that leads nowhere is no answer.
  if (IsLink(folder) || !PathExists(path)) return Answer::kNone;
  esd::ExpatDOMBuilder builder;
  if (!builder.Init()) return Answer::kUnavailable;
  const bool parsed = builder.ParseFile(path, false, Links::kRefuse);
  if (builder.LastRead() == esd::ReadStatus::kMissing) return Answer::kNone;
  if (!parsed) {
    ReportFailure(path, builder.LastRead() == esd::ReadStatus::kDamaged ? EBADMSG : errno);
  }
  switch (builder.LastRead()) {
    case esd::ReadStatus::kUnavailable:
    case esd::ReadStatus::kUnreadable:
      return Answer::kUnavailable;
    default:
      break;
  }
  if (parsed && result != nullptr) *result = NumberIn(builder.Document());
  AfterSuccess([&] { RemoveFileSystemObject(folder); });
  return Answer::kRead;
}

// Reads the answer, or makes its folder anew when there is none, under the lock that an updater at
// work holds: of two callers at once only one may get the answer, and none may remove the folder
// under the request that the other has just made. Who holds the lock is such an updater, or will
// answer in a moment: nobody waits for it.
Answer TakeAnswer(const std::string& appId, const std::string& folder, const std::string& path,
                  std::int32_t* result) {
  esd::ResourceLocker lock(RequestLockName(appId), 0);
  if (!lock.Lock()) return Answer::kPending;
  const Answer answer = ReadAnswer(folder, path, result);
  if (answer == Answer::kNone) {
    RemoveFileSystemObject(folder);
    CreateFolderTree(folder);
  }
  return answer;
}

// The lock file comes first: from the updater's first moment on other processes must see that there
// is a request. One that could not be started takes it back, so that the next call tries again.
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
  // Asking is for every user, not only for administrators, so this is not the gate of the others.
  bool enabled = true;
  IsUpdateEnabledByAdmin(enabled);
  if (!enabled) return ESD_ERR_NOTENABLED;
  if (!IsValidApplication(appIdentifier, appDisplayName, appFolderPath)) {
    return ESD_ERR_INVALIDDATA;
  }
  if (bOverrideData) {
    const std::int32_t code = RefreshRegistration(appIdentifier, appDisplayName, appFolderPath);
    if (code != ESD_ERR_OK) return code;
  }
  const std::string folder = AnswerFolder(appIdentifier);
  std::string answerPath;  // empty, the updater is started all the same, and has nobody to answer
  if (!folder.empty()) {
    answerPath = JoinPath(folder, std::to_string(requestNumber) + ".xml");
    switch (TakeAnswer(appIdentifier, folder, answerPath, result)) {
      case Answer::kRead:
        return ESD_ERR_OK;
      case Answer::kUnavailable:
        return ESD_ERR_FAILURE;
      case Answer::kPending:
        return ESD_ERR_NOTIFY_PENDING;
      case Answer::kNone:
        break;  // the lock is free again, for the updater to take
    }
  }
  return ForkUpdater(appIdentifier, answerPath);
}

}  // namespace kxl
