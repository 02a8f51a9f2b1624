// The request that asks whether an update waits for an application.
//
// The updater is started with the application's identifier (notifyAppID) and the name of an answer
// file (notifyFile): <data folder>/Data/UpdateAvailable/<identifier>/<request number>.xml. It holds
// the lock of the identifier's lock file while it works, and so does a caller while it looks for
// the answer. The updater writes
//   <UpdateInfo><Result>1</Result></UpdateInfo>
#ifndef KXL_API_AVAILABILITY_H
#define KXL_API_AVAILABILITY_H

#include <cstdint>

namespace kxl {

// Answers a result code; ESD_ERR_NOTIFY_PENDING until the updater has answered. *result receives
// the answer's number, 0 when it holds none; a null result is allowed.
std::int32_t IsUpdateAvailable(const char* appIdentifier, const char* appDisplayName,
                               const char* appFolderPath, std::uint32_t requestNumber,
                               std::int32_t* result, bool bOverrideData);

}  // namespace kxl

#endif  // KXL_API_AVAILABILITY_H
