// Starting the updater. Its task travels in environment variables. Of several threads that launch,
// one does and the others wait, so that each task travels alone and the environment is put back as
// it was.
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

// Runs the executable in the updater's bundle through the shell, with the variables set in this
// process for the length of the call; afterwards each is as it was, or unset. Waits until the
// updater ends, or with kYes only until the shell has started it. True when the shell answered 0.
// False, with nothing set or run, when the bundle's path cannot be computed; nothing is run either
// when there is no executable. Other threads see the variables meanwhile.
enum class Background : bool { kNo, kYes };
bool RunUpdaterExecutable(const EnvironmentList& environment, Background background);

// path in single quotes for the shell; each single quote becomes '\''.
std::string QuoteForShell(const std::string& path);

// path in single quotes for the shell, as LaunchApplication passes it: each single quote becomes
// '\'' as long as it stands within as many characters as path has before quoting; the characters
// that earlier quotes pushed out beyond that stay as they are.
std::string QuoteLaunchPath(const std::string& path);

}  // namespace kxl

#endif  // KXL_PLATFORM_LAUNCHER_H
