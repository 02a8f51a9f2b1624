// Starting the updater. Its task travels in environment variables.
#ifndef KXL_PLATFORM_LAUNCHER_H
#define KXL_PLATFORM_LAUNCHER_H

#include <string>
#include <utility>
#include <vector>

namespace kxl {

// Names and values, in order.
using EnvironmentList = std::vector<std::pair<std::string, std::string>>;

// Starts the updater's bundle. False, with nothing set, when the bundle's path cannot be computed;
// otherwise as LaunchApplication.
bool OpenUpdaterApplication(const EnvironmentList& environment);

// Sets the variables in this process, where they stay, and starts path detached: a session of its
// own, standard streams on /dev/null, no descriptor inherited, nothing left for the host to wait
// for. A folder stands for the updater's executable inside it. True when the program is running
// (its exec succeeded); waits for no longer than that takes.
//
// A path that does not exist is run as it is, unquoted, through the shell, and so is one that
// cannot be started, quoted and in the background; then the shell's status decides.
bool LaunchApplication(const std::string& path, const EnvironmentList& environment);

// path in single quotes for the shell, as LaunchApplication passes it: each single quote becomes
// '\'' as long as it stands within as many characters as path has before quoting; the characters
// that earlier quotes pushed out beyond that stay as they are.
std::string QuoteLaunchPath(const std::string& path);

}  // namespace kxl

#endif  // KXL_PLATFORM_LAUNCHER_H
