// What the host does, and with which files, while its system calls are tampered with.
#ifndef KXL_TESTS_SWEEPS_OPERATIONS_H
#define KXL_TESTS_SWEEPS_OPERATIONS_H

#include <unistd.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace sweep {

using Files = std::map<std::string, std::string>;  // by path below the machine's folder

inline const std::string kData = "home/.local/share/Kelda/Updater6/";
inline const std::string kList = "var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml";
inline const std::string kComponents = kData + "KeldaMissingComps.xml";
inline const std::string kPreferences = kData + "KeldaUpdaterPrefs.dat";
inline const std::string kHolds = kData + "suppress_all.dat";
// The lock on a question is named after the application alone: each run of the sweep asks as
// another.
inline const std::string kAsker = "editor" + std::to_string(getpid());
inline const std::string kAnswerFile = kData + "Data/UpdateAvailable/" + kAsker + "/7.xml";
inline const std::string kLog = kData + "kxlLib.log";
inline const std::string kLockFile = "run/Kelda/Updater6/Updater6/locked/lock." + kAsker;
inline const std::string kSecondChoice = "tmp";  // where user data go that have no other place

struct Operation {
  std::string name;     // as the host knows it
  Files before;         // the machine's files
  std::string reader;   // the tool's verb that reads what the operation writes
  int code;             // what the call answers when nothing happens to it
  std::set<int> codes;  // what it may answer when something fails
  std::set<int> again;  // what it may answer after a killed or failed one
};

std::vector<Operation> Operations();

}  // namespace sweep

#endif  // KXL_TESTS_SWEEPS_OPERATIONS_H
