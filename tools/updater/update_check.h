// Checking for updates.
#ifndef KXL_TOOLS_UPDATER_UPDATE_CHECK_H
#define KXL_TOOLS_UPDATER_UPDATE_CHECK_H

#include <string>

#include "updater/misbehaviour.h"

namespace updater {

// Records in the preferences that there was a check. False when they cannot be read or written.
bool RecordCheck(const Misbehaviour& misbehaviour);

// Looks in the catalogue for the registered applications, or for the one with that identifier when
// it is not empty. False when the list cannot be read.
bool CheckForUpdates(const std::string& appId);

// Reads the holds that applications have put on update notices, and logs them. Answers whether
// there are any; none can be told from a file with a line that nobody can read.
bool AreNoticesHeld();

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_UPDATE_CHECK_H
