#include "api/suppression.h"

#include <kxl/kxl.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <exception>
#include <string>

#include "api/entry_frame.h"
#include "api/validation.h"
#include "platform/folders.h"
#include "platform/path.h"
#include "platform/processes.h"
#include "platform/session_bus.h"
#include "stores/suppress_file.h"

namespace kxl {

namespace {

std::uint32_t SecondsLeft(const Hold* hold, std::time_t now) {
  return hold == nullptr ? 0 : static_cast<std::uint32_t>(hold->end - now);
}

std::int32_t SetHold(SuppressFile& file, std::time_t now, const char* appIdentifier,
                     std::uint32_t* seconds) {
  // One that holds a separator of the file would not read back.
  if (IsNullOrEmpty(appIdentifier) || !IsValidAppId(appIdentifier) ||
      std::strpbrk(appIdentifier, "\t\r\n") != nullptr) {
    return ESD_ERR_INVALIDDATA;
  }
  // A new hold takes the place of the old one, and stands behind those of other applications then.
  file.Clear(appIdentifier);
  if (seconds == nullptr || *seconds == 0) return ESD_ERR_OK;
  *seconds = std::min(*seconds, kLongestHold);
  file.Add(appIdentifier, now + *seconds);
  return ESD_ERR_OK;
}

void AnswerLongest(const Hold* longest, std::time_t now, char* appIdentifier,
                   std::uint32_t* bufferSize, std::uint32_t* seconds) {
  if (seconds != nullptr) *seconds = SecondsLeft(longest, now);
  if (bufferSize == nullptr) return;
  if (longest == nullptr) {
    if (appIdentifier != nullptr && *bufferSize > 0) *appIdentifier = '\0';
    *bufferSize = 0;
    return;
  }
  // Asked with too small a buffer, the host learns the size and asks again.
  const auto needed = static_cast<std::uint32_t>(longest->appId.size() + 1);
  if (appIdentifier != nullptr && needed <= *bufferSize) {
    std::strncpy(appIdentifier, longest->appId.c_str(), *bufferSize);
  }
  *bufferSize = needed;
}

std::int32_t QueryHold(const SuppressFile& file, std::time_t now, char* appIdentifier,
                       std::uint32_t* bufferSize, std::uint32_t* seconds) {
  if (!IsNullOrEmpty(appIdentifier)) {
    if (seconds == nullptr) return ESD_ERR_INVALIDDATA;
    *seconds = SecondsLeft(file.Find(appIdentifier), now);
    return ESD_ERR_OK;
  }
  if (appIdentifier == nullptr && bufferSize == nullptr && seconds == nullptr) {
    return ESD_ERR_INVALIDDATA;
  }
  AnswerLongest(file.Longest(), now, appIdentifier, bufferSize, seconds);
  return ESD_ERR_OK;
}

// Runs use with the holds and the time they were swept at, under their lock, and writes back what
// the sweep and use have changed. Answers use's code: a write-back that fails takes a success away,
// and never hides another answer.
template <typename Use>
std::int32_t WithHolds(Use use) {
  std::string folder;
  if (!GetDataFolder(folder)) return ESD_ERR_FAILURE;
  SuppressFile file(JoinPath(folder, kSuppressFileName));
  if (!file.Lock()) return KXL_SUPPRESS_FILE_BUSY;
  const std::time_t now = std::time(nullptr);
  if (!file.Read(now)) return ESD_ERR_FAILURE;
  const std::int32_t code = use(file, now);
  return file.WriteBack() || code != ESD_ERR_OK ? code : ESD_ERR_FAILURE;
}

}  // namespace

std::int32_t SuppressUpdates(char* appIdentifier, std::uint32_t* bufferSize, std::uint32_t* seconds,
                             std::int32_t query) {
  const std::int32_t code = WithHolds([&](SuppressFile& file, std::time_t now) {
    return query == 0 ? SetHold(file, now, appIdentifier, seconds)
                      : QueryHold(file, now, appIdentifier, bufferSize, seconds);
  });
  // A hold that is taken off needs no word: the updater looks before it shows its next notice.
  const bool hasSetHold = code == ESD_ERR_OK && query == 0 && seconds != nullptr && *seconds != 0;
  AfterSuccess([hasSetHold] {
    if (hasSetHold && FindUpdaterProcess(BringToFront::kNo)) PostSuppressionSignal();
  });
  return code;
}

bool AreUpdatesSuppressed(bool& suppressed) {
  bool isRead = false;
  try {
    WithHolds([&](const SuppressFile& file, std::time_t /*now*/) -> std::int32_t {
      suppressed = !file.Holds().empty();
      isRead = true;
      return ESD_ERR_OK;
    });
  } catch (const std::exception&) {
    // A time that does not exist; or the writing back, which what was read does not depend on.
  }
  return isRead;
}

}  // namespace kxl
