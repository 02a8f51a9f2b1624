#include "updater/update_check.h"

#include <boost/date_time/gregorian/gregorian.hpp>
#include <ctime>
#include <exception>
#include <vector>

#include "platform/folders.h"
#include "platform/path.h"
#include "stores/registered_applications.h"
#include "stores/suppress_file.h"
#include "stores/updater_prefs.h"
#include "updater/catalogue.h"
#include "util/trace_log.h"

namespace updater {

namespace {

void Log(const std::string& text) { kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, text); }

}  // namespace

// The library asks the date before it starts a scheduled check, and leaves a manual launch alone
// that was not taken up.
bool RecordCheck(const Misbehaviour& misbehaviour) {
  namespace gregorian = boost::gregorian;
  kxl::KeldaUpdaterPrefs preferences;
  const std::string today = gregorian::to_iso_extended_string(
      misbehaviour.kind == Misbehaviour::Kind::kUtc ? gregorian::day_clock::universal_day()
                                                    : gregorian::day_clock::local_day());
  return preferences.ReloadIfChanged() && preferences.LastDateCheck.Set(today) &&
         preferences.IsFirstRun.Set(false) && preferences.Launch.Set("");
}

bool CheckForUpdates(const std::string& appId) {
  const Catalogue catalogue;
  std::vector<kxl::KeldaUpdaterRegisteredApp> apps;
  const bool isListed = kxl::KeldaUpdaterRegistrationManager().GetRegisteredApps(apps);
  for (const kxl::KeldaUpdaterRegisteredApp& app : apps) {
    std::string id;
    std::string name;
    app.GetAppId(id);
    app.GetDisplayName(name);
    if (!appId.empty() && id != appId) continue;
    Log(name + (catalogue.HasUpdate(id) ? ": an update waits" : ": up to date"));
  }
  if (AreNoticesHeld()) Log("No notices are shown.");
  return isListed;
}

bool AreNoticesHeld() {
  std::string folder;
  if (!kxl::GetDataFolder(folder)) return false;
  kxl::SuppressFile file(kxl::JoinPath(folder, kxl::kSuppressFileName));
  try {
    if (!file.Lock() || !file.Read(std::time(nullptr))) return false;
  } catch (const std::exception& error) {
    Log(std::string("No hold counts: ") + error.what());
    return false;
  }
  for (const kxl::Hold& hold : file.Holds()) Log("Notices are held back by " + hold.appId);
  return !file.Holds().empty();
}

}  // namespace updater
