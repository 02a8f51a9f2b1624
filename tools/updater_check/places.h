// Where the files lie on a private machine.
#ifndef KXL_TOOLS_UPDATER_CHECK_PLACES_H
#define KXL_TOOLS_UPDATER_CHECK_PLACES_H

#include <string>

namespace conformance {

struct Places {
  explicit Places(const std::string& machine)
      : root(machine),
        shared(machine + "/var/lib/Kelda/Updater6"),
        home(machine + "/home/kelly"),
        data(home + "/.local/share/Kelda/Updater6"),
        applications(shared + "/KeldaESDGlobalApps.xml"),
        components(data + "/KeldaMissingComps.xml"),
        preferences(data + "/KeldaUpdaterPrefs.dat"),
        holds(data + "/suppress_all.dat"),
        answers(data + "/Data/UpdateAvailable"),
        downloads(data + "/Install"),
        log(data + "/kxl.log"),
        lockFiles(machine + "/run/kelly/Kelda/Updater6/Updater6/locked"),
        administratorsList(machine + "/etc/com.kelda.updater6.Admin.plist"),
        catalogue(shared + "/Catalogue"),
        identifiers(machine + "/identifiers") {}

  std::string root;
  std::string shared;  // the folder of the list of applications
  std::string home;
  std::string data;  // the user's
  std::string applications;
  std::string components;
  std::string preferences;
  std::string holds;
  std::string answers;    // the folder of the folders of answers
  std::string downloads;  // unless the preferences name another folder
  std::string log;        // likewise
  std::string lockFiles;  // their folder
  std::string administratorsList;
  std::string catalogue;
  std::string identifiers;  // the check's own: those that it has used, one behind the other, each
                            // with a zero byte
};

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_PLACES_H
