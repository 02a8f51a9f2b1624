#include "updater/settings.h"

#include "stores/updater_prefs.h"
#include "util/trace_log.h"

namespace updater {

std::optional<Settings> ReadSettings() {
  kxl::KeldaUpdaterPrefs preferences;
  if (!preferences.ReloadIfChanged()) return std::nullopt;
  return Settings{preferences.logFile.GetOr({}), preferences.logLevel.GetOr(kxl::kLogNormal),
                  preferences.DownloadDir.GetOr({})};
}

}  // namespace updater
