// The reference updater: the other side of every file that libkxl writes, small enough to read in
// one sitting. It does one task a start, which its environment names (see README.md), and ends.
#include <chrono>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "esd/number_text.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/path.h"
#include "stores/missing_components.h"
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
  kxl::KeldaUpdaterPrefs preferences;
  preferences.ReloadIfChanged();
  const std::string path = preferences.logFile.GetOr({});
  kxl::IsLogOpen(path.empty() ? kxl::UpdaterLogPath() : path,
                 preferences.logLevel.GetOr(kxl::kLogNormal));
}

// The list of missing components, as far as a change of it shows.
kxl::ModificationStamp ListStamp() {
  std::string folder;
  kxl::ModificationStamp stamp;
  if (kxl::FindDataFolder(folder)) {
    kxl::GetModificationStamp(kxl::JoinPath(folder, kxl::kMissingComponentsFileName), stamp);
  }
  return stamp;
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
    return true;
  }
  if (mode == "3") {
    Log("Missing components");
    return updater::FetchMissingComponents();
  }
  if (mode == "5") {
    Log("Nothing left to look after");
    return updater::TidyUp();
  }
  Log(mode == "1" ? "Scheduled check" : "Manual check");
  return updater::CheckForUpdates(Variable("KX_LAUNCH_APPID"));
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

// How long to go on after the task; nothing: not at all.
std::optional<std::chrono::seconds> ReadStay() {
  const std::string text = Variable("KXL_UPDATER_STAY");
  if (text.empty()) return std::nullopt;
  std::int32_t quietSeconds = 0;
  if (!esd::ParseInteger(text, quietSeconds) || quietSeconds < 0) {
    throw std::runtime_error("Cannot stay as asked: " + text);
  }
  return std::chrono::seconds(quietSeconds);
}

int Run() {
  OpenLog();
  const updater::Misbehaviour misbehaviour = updater::ReadMisbehaviour();
  if (misbehaviour.kind == updater::Misbehaviour::Kind::kExit) return misbehaviour.number;
  const std::optional<std::chrono::seconds> quiet = ReadStay();
  // Before the task, so that nothing posted during it is lost.
  std::optional<updater::Notifications> notifications;
  if (quiet) notifications.emplace(HandleNotification);
  const kxl::ModificationStamp before = ListStamp();
  bool done = DoTask(misbehaviour);
  if (quiet) notifications->Serve(*quiet);
  notifications.reset();
  // An application that found this process running has not started another one.
  if (ListStamp() != before) done = updater::FetchMissingComponents() && done;
  Log(done ? "Done." : "Not done.");
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main() {
  updater::HoldEndRequests();
  try {
    return Run();
  } catch (const std::exception& error) {
    Log(error.what());
    return EXIT_FAILURE;
  }
}
