#include "api/request_preferences.h"

namespace kxl {

bool RequestPreferences::Use(const std::function<void(KeldaUpdaterPrefs&)>& use) {
  if (isGivenUp_) return false;
  KeldaUpdaterPrefs preferences;
  isGivenUp_ = !preferences.ReloadIfChanged();
  if (isGivenUp_) return false;
  use(preferences);
  preferences.Release();
  return true;
}

}  // namespace kxl
