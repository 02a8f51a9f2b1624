#include "api/request_preferences.h"

namespace kxl {

namespace {

// The request goes on without the lock, also when a use has failed for want of memory.
class Release {
 public:
  explicit Release(KeldaUpdaterPrefs& preferences) : preferences_(preferences) {}
  ~Release() { preferences_.Release(); }
  Release(const Release&) = delete;
  Release& operator=(const Release&) = delete;

 private:
  KeldaUpdaterPrefs& preferences_;
};

}  // namespace

bool RequestPreferences::Use(const std::function<void(KeldaUpdaterPrefs&)>& use) {
  if (state_ != State::kUsable) return false;
  // A second use finds in the file's stamp that there is nothing to read again.
  if (!preferences_) preferences_.emplace();
  if (!preferences_->ReloadIfChanged()) {
    state_ = preferences_->IsUnreadable() ? State::kUnreadable : State::kBusy;
    return false;
  }
  const Release release(*preferences_);
  preferences_->BeginChanges();
  use(*preferences_);
  preferences_->EndChanges();
  return true;
}

}  // namespace kxl
