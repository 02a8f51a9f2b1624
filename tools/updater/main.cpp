// The reference updater: the other side of every file that libkxl writes, small enough to read in
// one sitting. It does one task a start, which its environment names (see README.md), and ends.
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "esd/number_text.h"
#include "stores/updater_prefs.h"
#include "updater/availability_answer.h"
#include "updater/component_fetch.h"
#include "updater/misbehaviour.h"
#include "updater/notifications.h"
#include "updater/tidying.h"
#include "updater/update_check.h"
#include "util/log_paths.h"
#include "util/trace_log.h"

namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

void Log(const std::string& text) { kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, text); }

void OpenLog() {
  const kxl::KeldaUpdaterPrefs preferences;
  const std::string path = preferences.logFile.GetOr({});
  kxl::IsLogOpen(path.empty() ? kxl::UpdaterLogPath() : path,
                 preferences.logLevel.GetOr(kxl::kLogNormal));
}

// A query and an action are named for one start only. The launch mode stays in the environment of
// the application that has used it once, so it comes last; without one a user has started the
// updater by hand.
bool DoTask(const updater::Misbehaviour& misbehaviour) {
  const std::string query = Variable("notifyAppID");
  if (!query.empty()) {
    Log("Query of " + query);
    return updater::AnswerAvailability(query, Variable("notifyFile"), misbehaviour);
  }
  updater::DelayIfLate(misbehaviour);
  const std::string action = Variable("doActionAppID");
  const std::string mode = Variable("KX_LAUNCH_MODE");
  if (!action.empty()) {
    Log("Plug-in action for " + action);
  } else if (mode == "3") {
    Log("Missing components");
    updater::FetchMissingComponents();
  } else if (mode == "5") {
    Log("Nothing left to look after");
    updater::TidyUp();
  } else {
    Log(mode == "1" ? "Scheduled check" : "Manual check");
    updater::CheckForUpdates(Variable("KX_LAUNCH_APPID"));
  }
  return true;
}

// Must not throw: the bus library is on the stack.
void HandleNotification(std::string_view object) noexcept {
  try {
    Log("Notified: " + std::string(object));
    if (object == "Signal Express Download") updater::FetchMissingComponents();
    if (object == "Signal KXL Suppression") updater::AreNoticesHeld();
  } catch (const std::exception& error) {
    Log(error.what());
  }
}

int Run() {
  OpenLog();
  const updater::Misbehaviour misbehaviour = updater::ReadMisbehaviour();
  if (misbehaviour.kind == updater::Misbehaviour::Kind::kExit) return misbehaviour.number;
  std::int32_t quietSeconds = 0;
  const bool stays = esd::ParseInteger(Variable("KXL_UPDATER_STAY"), quietSeconds);
  // Before the task, so that nothing posted during it is lost.
  std::optional<updater::Notifications> notifications;
  if (stays) notifications.emplace(HandleNotification);
  const bool done = DoTask(misbehaviour);
  if (stays) notifications->Serve(std::chrono::seconds(quietSeconds));
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main() {
  try {
    return Run();
  } catch (const std::exception& error) {
    Log(error.what());
    return EXIT_FAILURE;
  }
}
