// Where the shared files lie on this machine, for this user. Nothing here makes a folder, so that
// looking changes nothing: a path is where the file would be made. Empty when that is nowhere.
#ifndef KXL_TOOLS_KXL_PLACES_H
#define KXL_TOOLS_KXL_PLACES_H

#include <string>

namespace tool {

std::string SharedFolder();  // <root>/var/lib/Kelda/Updater6
std::string DataFolder();    // the user's
std::string LockFolder();    // the lock files of requests

std::string ApplicationsPath();
std::string ComponentsPath();
std::string PreferencesPath();
std::string HoldsPath();

// The logs, unless the preferences name others.
std::string DefaultLibraryLog();
std::string DefaultUpdaterLog();

// Joins, but leaves an empty base empty.
std::string Below(const std::string& base, const std::string& name);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_PLACES_H
