// Where the logs lie, and the folder that downloads go to unless the user has chosen another one.
// Each answers an empty path when the user's data folder can be neither found nor made.
#ifndef KXL_UTIL_LOG_PATHS_H
#define KXL_UTIL_LOG_PATHS_H

#include <string>

namespace kxl {

std::string LibraryLogPath();  // kxlLib.log
std::string UpdaterLogPath();  // kxl.log, which the updater writes
std::string InstallFolder();   // Install; made if missing

}  // namespace kxl

#endif  // KXL_UTIL_LOG_PATHS_H
