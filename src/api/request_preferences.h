// The updater's preferences for the length of one request.
#ifndef KXL_API_REQUEST_PREFERENCES_H
#define KXL_API_REQUEST_PREFERENCES_H

#include <functional>
#include <optional>

#include "stores/updater_prefs.h"

namespace kxl {

// A request waits once for the preference file's lock, 3 seconds at most, however often it needs
// settings: a file that another process keeps locked must not cost more.
class RequestPreferences {
 public:
  // What the last use has met. After the latter two there is no further one in this request.
  enum class State {
    kUsable,
    kBusy,        // the lock was not to be had
    kUnreadable,  // the file was opened, and could not be read
  };

  // Calls use with the preferences up to date and locked, and writes what it has set. False,
  // without calling it, when they are not usable. Throws std::exception when there is no folder for
  // them.
  bool Use(const std::function<void(KeldaUpdaterPrefs&)>& use);

  State LastState() const { return state_; }
  // Takes over what another request has met just now.
  void SetState(State state) { state_ = state; }

 private:
  std::optional<KeldaUpdaterPrefs> preferences_;  // since the first use
  State state_ = State::kUsable;
};

}  // namespace kxl

#endif  // KXL_API_REQUEST_PREFERENCES_H
