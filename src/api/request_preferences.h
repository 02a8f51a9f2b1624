// The updater's preferences for the length of one request.
#ifndef KXL_API_REQUEST_PREFERENCES_H
#define KXL_API_REQUEST_PREFERENCES_H

#include <functional>

#include "stores/updater_prefs.h"

namespace kxl {

// A request waits once for the preference file's lock, 3 seconds at most, however often it needs
// settings: a file that another process keeps locked must not cost more.
class RequestPreferences {
 public:
  // Calls use with the preferences up to date and locked. False, without calling it, when the lock
  // was not to be had or the file cannot be read, now or before in this request.
  bool Use(const std::function<void(KeldaUpdaterPrefs&)>& use);

  // Lets the request go on without preferences.
  void GiveUp() { isGivenUp_ = true; }
  bool IsGivenUp() const { return isGivenUp_; }

 private:
  bool isGivenUp_ = false;
};

}  // namespace kxl

#endif  // KXL_API_REQUEST_PREFERENCES_H
