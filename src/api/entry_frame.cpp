#include "api/entry_frame.h"

#include <string>

#include "api/result_code.h"
#include "util/log_paths.h"
#include "util/trace_log.h"

namespace kxl {

namespace {

void ConfigureLog(RequestPreferences& preferences) {
  std::string path;
  std::int32_t level = kLogNormal;
  preferences.Use([&](KeldaUpdaterPrefs& settings) {
    settings.logFileLib.Get(path);
    settings.logLevel.Get(level);
  });
  if (level <= 0) return;
  if (path.empty()) path = LibraryLogPath();
  IsLogOpen(path, level);
  LogValue(kLogNormal, Flush::kYes, "logFile:", path);
  LogNumber(kLogNormal, Flush::kYes, "logLevel:", static_cast<std::uint32_t>(level));
  // A restriction of another system that processes can run under, and never do here.
  LogValue(kLogNormal, Flush::kYes, "Vista IE Protected Mode:", "No");
}

bool TryToConfigureLog(RequestPreferences& preferences) noexcept {
  try {
    ConfigureLog(preferences);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

void EnsureLogConfigured(RequestPreferences& preferences) {
  [[maybe_unused]] static const bool once = TryToConfigureLog(preferences);
}

void TraceCall(std::string_view function) {
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

void TraceResult(std::int32_t code) {
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
