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

// The list of missing components, as far as a change of it shows.
kxl::ModificationStamp ListStamp() {
  std::string folder;
  kxl::ModificationStamp stamp;
  if (kxl::FindDataFolder(folder)) {
    kxl::GetModificationStamp(kxl::JoinPath(folder, kxl::kMissingComponentsFileName), stamp);
  }
  return stamp;
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
  const kxl::ModificationStamp before = ListStamp();
  bool done = Attempt([this] { return Work(); });
  query_.reset();
  if (misbehaviour_.kind == Kind::kExit) return misbehaviour_.number;
  // An application that found this process running has not started another one.
  if (ListStamp() != before) done = Attempt([this] { return Fetch(); }) && done;
  Log(done ? "Done." : "Not done.");
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}

bool Updater::Work() {
  misbehaviour_ = updater::ReadMisbehaviour();
  const std::optional<std::chrono::seconds> quiet = ReadStay();
  if (misbehaviour_.kind == Kind::kExit) return false;
  if (!quiet) return DoTask();
  // Before the task, so that nothing posted during it is lost.
  updater::Notifications notifications(
      [this](std::string_view object) { Attempt([&] { return Handle(object); }); });
  const bool done = DoTask();
  query_.reset();
  notifications.Serve(*quiet);
  settings_ = updater::ReadSettings();
  return done;
}

// A query and an action are named for one start only. The launch mode stays in the environment of
// the application that has used it once, so it comes last; without one a user has started the
// updater by hand.
bool Updater::DoTask() {
  if (query_) {
    Log("Query of " + query_->AppId());
    return query_->Answer(misbehaviour_);
  }
  updater::DelayIfLate(misbehaviour_);
  const std::string action = Variable("doActionAppID");
  const std::string mode = Variable("KX_LAUNCH_MODE");
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
    return updater::TidyUp();
  }
  Log(mode == "1" ? "Scheduled check" : "Manual check");
  // Preferences that were not to be had are not waited for once more.
  const bool isRecorded = settings_ && updater::RecordCheck();
  return updater::CheckForUpdates(Variable("KX_LAUNCH_APPID")) && isRecorded;
}

bool Updater::Fetch() const {
  return updater::FetchMissingComponents(settings_ ? settings_->downloadFolder : "");
}

bool Updater::Handle(std::string_view object) {
  Log("Notified: " + std::string(object));
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
