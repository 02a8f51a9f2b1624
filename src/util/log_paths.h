// Where the logs lie, and the folder that downloads go to unless the user has chosen another one,
// in the given data folder. Each answers an empty path without one.
#ifndef KXL_UTIL_LOG_PATHS_H
#define KXL_UTIL_LOG_PATHS_H

#include <string>

namespace kxl {

// The user's; empty when it can be neither found nor made.
std::string DataFolder();

std::string LibraryLogPath(const std::string& dataFolder = DataFolder());  // kxlLib.log
std::string UpdaterLogPath(const std::string& dataFolder = DataFolder());  // kxl.log, the updater's
std::string InstallFolder(const std::string& dataFolder);  // Install; made if missing

}  // namespace kxl

#endif  // KXL_UTIL_LOG_PATHS_H
