#include "api/request_preferences.h"

namespace kxl {

bool RequestPreferences::Use(const std::function<void(KeldaUpdaterPrefs&)>& use) {
  if (isBusy_) return false;
  KeldaUpdaterPrefs preferences;
  isBusy_ = !preferences.ReloadIfChanged();
  if (isBusy_) return false;
  use(preferences);
  preferences.Release();
  return true;
}

}  // namespace kxl
