#include "api/request_preferences.h"

namespace kxl {

bool RequestPreferences::Use(const std::function<void(KeldaUpdaterPrefs&)>& use) {
  if (state_ != State::kUsable) return false;
  KeldaUpdaterPrefs preferences;
  if (!preferences.ReloadIfChanged()) {
    state_ = preferences.IsUnreadable() ? State::kUnreadable : State::kBusy;
    return false;
  }
  use(preferences);
  preferences.Release();
  return true;
}

}  // namespace kxl
