#include "api/entry_frame.h"

#include <atomic>
#include <string>

#include "api/result_code.h"
#include "util/log_paths.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

void ConfigureLog(RequestPreferences& preferences) {
  // What counts when the preferences are locked or cannot be read: a trace that is missing when
  // something is wrong would be missing when it is needed.
  std::string path;
  std::int32_t level = kLogNormal;
  preferences.Use([&](KeldaUpdaterPrefs& settings) {
    settings.logFileLib.Get(path);
    settings.logLevel.Get(level);
  });
  if (level <= 0) return;
  if (path.empty()) path = LibraryLogPath();
  IsLogOpen(path, level);
  // All three in one write.
  LogValue(kLogNormal, Flush::kNo, "logFile:", path);
  LogNumber(kLogNormal, Flush::kNo, "logLevel:", static_cast<std::uint32_t>(level));
  // A restriction of another system that processes can run under, and never do here.
  LogValue(kLogNormal, Flush::kYes, "Vista IE Protected Mode:", "No");
}

// Later calls ask the flag alone. The first ones of several threads wait for the one that is at it:
// a message of theirs that came before would find the log closed and turn it off for good.
ForkMutex configuring;
std::atomic<bool> isConfigured = false;
RequestPreferences::State stateThen = RequestPreferences::State::kUsable;  // what it met then

// A child forked while another thread was configuring begins anew: that thread is not in it.
[[maybe_unused]] const bool resetsInChild =
    CallAroundFork(nullptr, nullptr, [] { configuring.ForgetOthers(); });

}  // namespace

void EnsureLogConfigured(RequestPreferences& preferences) {
  if (isConfigured) return;
  const ForkLock lock(configuring);
  if (!lock.IsHeld()) return;
  if (!isConfigured) {
    try {
      ConfigureLog(preferences);
    } catch (...) {
      // The process goes on without a log.
    }
    stateThen = preferences.LastState();
    isConfigured = true;
  } else {
    preferences.SetState(stateThen);  // this request has waited already, by another one's hand
  }
}

void TraceCall(std::string_view function) {
  if (!TraceLog::Wants(kLogNormal)) return;
  std::string text = "In ";
  text += function;
  text += "(...)";
  LogMessage(kLogNormal, Flush::kYes, text);
}

void TraceText(std::string_view name, const char* value) {
  LogValue(kLogNormal, Flush::kYes, name, value == nullptr ? "= NULL" : value);
}

void TraceBoolean(std::string_view name, bool value) {
  LogValue(kLogNormal, Flush::kYes, name, value ? "= true" : "= false");
}

// The last line of a call is not worth a write of its own; the next call's first line takes it
// along.
void TraceResult(std::int32_t code) {
  if (!TraceLog::Wants(kLogNormal)) return;
  LogValue(kLogNormal, Flush::kNo, "return code", ResultCodeText(code, "%0(%1)"));
}

void TraceException() noexcept {
  try {
    LogMessage(kLogNormal, Flush::kYes, "exception failure");
  } catch (...) {
    // Without memory for this line there is nothing left to say it with.
  }
}

}  // namespace kxl
