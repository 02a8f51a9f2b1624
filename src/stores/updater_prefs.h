// The settings that the updater and the library share: KeldaUpdaterPrefs.dat in the user's data
// folder, with the root element KeldaUpdater.
#ifndef KXL_STORES_UPDATER_PREFS_H
#define KXL_STORES_UPDATER_PREFS_H

#include <string>

#include "stores/preference_engine.h"

namespace kxl {

// Made for one request. Its first reading takes no lock; everything after it waits for the file's
// lock for 3 seconds at most. Throws std::runtime_error "Unable to create file!" when there is no
// folder for the file.
class KeldaUpdaterPrefs : public esd::PrefsWriter {
 private:
  // Made before the file is looked for, and with them the folder that is downloaded to by default.
  const std::string dataFolder_;
  const std::string installFolder_;

 public:
  KeldaUpdaterPrefs();

  esd::BasicPref<bool> AutoCheck{*this, "AutoCheck", true};
  esd::BasicPref<std::int32_t> AutoCheckType{*this, "AutoCheckType", 0};
  esd::BasicPref<std::string> DownloadDir;  // by default Install in the data folder
  esd::BasicPref<std::string> DisplayLang{*this, "DisplayLang", ""};
  esd::BasicPref<bool> IsFirstRun{*this, "IsFirstRun", true};
  esd::BasicPref<bool> InBackground{*this, "InBackground", false};
  esd::BasicPref<bool> InTrayIcon{*this, "InTrayIcon", false};
  esd::BasicPref<std::int32_t> AutoCheckFreq{*this, "AutoCheckFreq", 1};  // 1: weekly, else monthly
  esd::BasicPref<std::string> LastDateCheck{*this, "LastDateCheck", ""};  // a date, year first
  esd::BasicPref<bool> ShowNewProducts{*this, "ShowNewProducts", false};
  esd::BasicPref<bool> SilentCheck{*this, "SilentCheck", false};
  esd::MapPref<bool> ApplicationsEnabled{*this,
                                         "ApplicationsEnabled"};  // by application identifier
  esd::MapPref<std::string> NotificationMessage{*this, "NotificationMessage"};
  esd::BasicPref<std::string> Launch{*this, "Launch", ""};  // "Manual" or "Scheduled"
  esd::BasicPref<std::string> ProxyServer{*this, "ProxyServer", ""};
  esd::BasicPref<std::string> ProxyPort{*this, "ProxyPort", ""};
  esd::BasicPref<std::int32_t> ConnectionType{*this, "ConnectionType", 0};
  esd::BasicPref<std::string> logFile;     // the updater's log
  esd::BasicPref<std::string> logFileLib;  // the library's
  esd::BasicPref<std::int32_t> logLevel;   // by default the level that is in force

 private:
  const std::string path_;  // known only after the install folder has made the folders above it
  esd::ResourceLocker lock_;
};

}  // namespace kxl

#endif  // KXL_STORES_UPDATER_PREFS_H
