// The reference updater: the other side of every file that libkxl writes, small enough to read in
// one sitting. It does one task a start, which its environment names (see README.md), and ends.
#include <sys/prctl.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "esd/number_text.h"
#include "stores/admin_prefs.h"
#include "updater/availability_answer.h"
#include "updater/component_fetch.h"
#include "updater/misbehaviour.h"
#include "updater/notifications.h"
#include "updater/settings.h"
#include "updater/tidying.h"
#include "updater/update_check.h"
#include "util/log_paths.h"
#include "util/trace_log.h"

namespace {

using Kind = updater::Misbehaviour::Kind;

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

void Log(const std::string& text) { kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, text); }

void OpenLog(const std::optional<updater::Settings>& settings) {
  const std::string path = settings ? settings->logFile : "";
  kxl::IsLogOpen(path.empty() ? kxl::UpdaterLogPath() : path,
                 settings ? settings->logLevel : kxl::kLogNormal);
}

// From now on applications find no updater here, and start another one. The name is one that a
// search for "Kelda Updater" does not meet.
void StopBeingFound() { prctl(PR_SET_NAME, "Kelda ending"); }

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

// An exception is logged, and counts as false.
template <typename Step>
bool Attempt(Step step) noexcept {
  try {
    return step();
  } catch (const std::exception& error) {
    Log(error.what());
    return false;
  }
}

// One start.
class Updater {
 public:
  // Answers the exit status.
  int Run();

 private:
  bool Work();
  bool DoTask();
  bool Fetch() const;
  bool Handle(std::string_view object);

  std::optional<updater::AvailabilityQuery> query_;
  std::optional<updater::Settings> settings_;  // nothing: the preferences were not to be had
  updater::Misbehaviour misbehaviour_;
};

int Updater::Run() {
  // Its lock comes first: what follows may wait, and the application goes on asking.
  const std::string query = Variable("notifyAppID");
  if (!query.empty()) query_.emplace(query, Variable("notifyFile"));
  settings_ = updater::ReadSettings();
  OpenLog(settings_);
  bool done = Attempt([this] { return Work(); });
  query_.reset();
  if (misbehaviour_.kind == Kind::kExit) return misbehaviour_.number;
  // An application that finds an updater starts no other one, and what it posts may come too early
  // or too late. Whoever found this one has listed his components by now; whoever looks from now on
  // finds none.
  StopBeingFound();
  if (misbehaviour_.kind != Kind::kDeaf) done = Attempt([this] { return Fetch(); }) && done;
  updater::SpoilFiles(misbehaviour_);
  Log(done ? "Done." : "Not done.");
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}

bool Updater::Work() {
  misbehaviour_ = updater::ReadMisbehaviour();
  const std::optional<std::chrono::seconds> quiet = ReadStay();
  if (misbehaviour_.kind == Kind::kExit) return false;
  if (misbehaviour_.kind == Kind::kMortal && !quiet) updater::AdmitEndRequests();
  if (!quiet) return DoTask();
  // Before the task, so that nothing posted during it is lost.
  updater::Notifications notifications(
      [this](std::string_view object) { Attempt([&] { return Handle(object); }); });
  bool done = DoTask();
  query_.reset();
  done = Fetch() && done;  // what was posted before the notifications were there
  Log("Listening.");
  notifications.Serve(*quiet);
  settings_ = updater::ReadSettings();
  return done;
}

// A query and an action are named for one start only. The launch mode stays in the environment of
// the application that has used it once, so it comes last; without one a user has started the
// updater by hand.
bool Updater::DoTask() {
  const std::string mode = Variable("KX_LAUNCH_MODE");
  if (query_ && (misbehaviour_.kind != Kind::kStale || mode.empty())) {
    Log("Query of " + query_->AppId());
    return query_->Answer(misbehaviour_);
  }
  updater::DelayIfLate(misbehaviour_);
  const std::string action = Variable("doActionAppID");
  if (!action.empty()) {
    Log("Plug-in action for " + action);
    return true;
  }
  if (mode == "3") {
    Log("Missing components");
    return Fetch();
  }
  if (mode == "5") {
    Log("Nothing left to look after");
    bool isEnabled = true;
    if (misbehaviour_.kind == Kind::kObey) kxl::IsUpdateEnabledByAdmin(isEnabled);
    if (!isEnabled) return true;
    return updater::TidyUp();
  }
  Log(mode == "1" ? "Scheduled check" : "Manual check");
  // Preferences that were not to be had are not waited for once more.
  const bool isRecorded = settings_ && updater::RecordCheck(misbehaviour_);
  return updater::CheckForUpdates(Variable("KX_LAUNCH_APPID")) && isRecorded;
}

bool Updater::Fetch() const {
  return updater::FetchMissingComponents(settings_ ? settings_->downloadFolder : "", misbehaviour_);
}

bool Updater::Handle(std::string_view object) {
  Log("Notified: " + std::string(object));
  if (misbehaviour_.kind == Kind::kSilent) return true;
  if (object == "Signal KXL Suppression") return updater::AreNoticesHeld();
  if (object != "Signal Express Download") return true;
  settings_ = updater::ReadSettings();
  return Fetch();
}

}  // namespace

int main() {
  updater::HoldEndRequests();
  try {
    return Updater().Run();
  } catch (const std::exception& error) {
    Log(error.what());
    return EXIT_FAILURE;
  }
}
