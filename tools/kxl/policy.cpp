#include "kxl/policy.h"

#include <kxl/kxl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <exception>
#include <optional>

#include "kxl/places.h"
#include "kxl/settings.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/local_date.h"
#include "platform/processes.h"
#include "stores/admin_prefs.h"
#include "stores/preference_engine.h"
#include "stores/suppress_file.h"
#include "util/check_interval.h"
#include "util/date_text.h"

namespace tool {

namespace {

using Day = std::chrono::year_month_day;

// Answers allows.
bool Rule(Output& output, const std::string& what, bool allows, const std::string& reason,
          const std::string& source) {
  output.Row({{"rule", what}, {"allows", allows}, {"reason", reason}, {"source", source}},
             {what, allows ? "allows" : "blocks", reason + ", from " + source},
             allows ? Colour::kGood : Colour::kBad);
  return allows;
}

bool ShowSwitch(Output& output) {
  const std::string path = kxl::AdminPrefsPath();
  bool enabled = true;
  std::string reason;
  if (kxl::IsUpdateEnabledByAdmin(enabled)) {
    reason = enabled ? "Disable.Update is false" : "Disable.Update is true";
  } else {
    reason = kxl::PathExists(path) ? "there is no boolean Disable.Update that can be read"
                                   : "there is no such file";
  }
  return Rule(output, "administrator's switch", enabled, reason, path);
}

// What root sees of himself says little about those who ask him for help.
void ShowOrdinaryUsers(Output& output, bool isSwitchedOn) {
  const std::string path = kxl::AdminPrefsPath();
  mode_t mode = S_IROTH;
  if (!isSwitchedOn && kxl::GetMode(path, mode)) {
    const bool isReadable = (mode & S_IROTH) != 0;
    Rule(output, "the switch, for ordinary users", !isReadable,
         isReadable ? "they can read it" : "they cannot read it, and it counts as none for them",
         path);
  }
  Rule(output, "ordinary users", false,
       "checks are for members of the administrators' group; asking whether an update waits is not",
       "the account database");
}

std::string Text(Day day) {
  std::array<char, 40> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(day.year()),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
  return text.data();
}

// The setting's value; what to take for one that cannot be read, and where there are none.
template <typename T>
T ValueOf(const std::vector<Setting>& settings, const char* key, T unread) {
  for (const Setting& setting : settings) {
    if (setting.key == key) esd::ParseValue(setting.value, unread);
  }
  return unread;
}

struct Schedule {
  bool isDue;
  std::string text;
};

Schedule FindSchedule(const std::vector<Setting>& settings) {
  constexpr std::int32_t kUnread = -1;
  const bool isReadable = std::none_of(settings.begin(), settings.end(), [](const auto& setting) {
    return setting.key == std::string_view("AutoCheckFreq") && !setting.isValid;
  });
  if (!isReadable) return {false, "never due: AutoCheckFreq cannot be read"};
  const auto frequency =
      ValueOf(settings, "AutoCheckFreq", settings.empty() ? kxl::kWeekly : kUnread);
  const std::string text = ValueOf(settings, "LastDateCheck", std::string());
  const std::string begin = frequency == kxl::kWeekly ? "weekly, " : "monthly, ";
  const std::optional<Day> last = kxl::ParseDate(text);
  if (!last) {
    return {true, begin + (text.empty() ? "no check so far" : "last check on no date: " + text) +
                      ": due now"};
  }
  const std::string since = begin + "last check on " + Text(*last) + ": ";
  const Day today = kxl::LocalDate(std::time(nullptr));
  if (kxl::HasIntervalPassed(*last, today, frequency)) return {true, since + "due now"};
  std::chrono::sys_days next = std::max(std::chrono::sys_days(*last), std::chrono::sys_days(today));
  while (!kxl::HasIntervalPassed(*last, next, frequency)) next += std::chrono::days(1);
  return {false, since + "next scheduled check on " + Text(next)};
}

bool ShowHolds(Output& output) {
  const std::string path = HoldsPath();
  bool isHeld = false;
  kxl::SuppressFile holds(path);
  try {
    isHeld = !path.empty() && holds.Read(std::time(nullptr)) && !holds.Holds().empty();
  } catch (const std::exception&) {
    // Holds that cannot be read hold nothing back.
  }
  return Rule(output, "holds", !isHeld, isHeld ? "a hold is running" : "no hold is running", path);
}

enum class Updater { kReady, kBroken, kMissing };

Updater ShowUpdater(Output& output) {
  std::string bundle;
  const bool isKnown = kxl::GetUpdaterBundlePath(bundle);
  const std::string executable = isKnown ? kxl::ExecutableInBundle(bundle) : bundle;
  const bool isReady = access(executable.c_str(), X_OK) == 0 && !kxl::IsFolder(executable);
  const bool isRunning = kxl::FindUpdaterProcess(kxl::BringToFront::kNo);
  Rule(output, "updater", isReady,
       std::string(isReady ? "it is installed" : "it is not installed, or may not be executed") +
           (isRunning ? ", and one runs" : ", and none runs"),
       isKnown ? executable : "the machine's folders");
  if (isReady) return Updater::kReady;
  return isKnown && kxl::PathExists(bundle) ? Updater::kBroken : Updater::kMissing;
}

void Answer(Output& output, const char* what, const char* call, int code,
            const std::string& reason) {
  output.Row({{"call", call}, {"answers", code}, {"reason", reason}},
             {what, "answers " + std::to_string(code), reason});
}

}  // namespace

std::string RuleText(kxl::AdminRule rule) {
  switch (rule) {
    case kxl::AdminRule::kAccountDatabase:
      return "a member of the administrators' group by the account database";
    case kxl::AdminRule::kProcessGroups:
      return "the administrators' group is among this process's groups";
    case kxl::AdminRule::kUnknownGroup:
      return "this process has a group that the account database does not know";
    case kxl::AdminRule::kNone:
      break;
  }
  return "not in the administrators' group";
}

// In the order in which a scheduled check asks.
void ShowPolicy(Output& output) {
  esd::ReadStatus status;
  const std::vector<Setting> settings = ReadSettings(status);
  const std::string preferences = PreferencesPath();
  const bool isFree = ShowHolds(output);
  const bool isSwitchedOn = ShowSwitch(output);
  const kxl::AdminRule rule = kxl::FindAdminRule();
  const bool isAdmin = Rule(output, "administrator", rule != kxl::AdminRule::kNone, RuleText(rule),
                            "the account database");
  if (geteuid() == 0) ShowOrdinaryUsers(output, isSwitchedOn);
  const bool isAutomatic = ValueOf(settings, "AutoCheck", true);
  Rule(output, "scheduled checks", isAutomatic,
       isAutomatic ? "AutoCheck is not off" : "AutoCheck is off", preferences);
  const Schedule schedule = FindSchedule(settings);
  Rule(output, "interval", schedule.isDue, schedule.text, preferences);
  const Updater updater = ShowUpdater(output);

  const bool isEnabled = isSwitchedOn && isAdmin;
  Answer(output, "is a check enabled", "KXLIsUpdateCheckEnabled", isEnabled ? 1 : 0,
         isEnabled ? "this user may check for updates" : "this user may not check for updates");
  const auto scheduled = [&](int code, const char* reason) {
    Answer(output, "a scheduled check", "KXLTriggerUpdateCheck", code, reason);
  };
  if (!isFree) return scheduled(KXL_CHECK_SUPPRESSED, "a hold is running");
  if (!isEnabled) return scheduled(ESD_ERR_NOTENABLED, "this user may not check for updates");
  if (!isAutomatic) return scheduled(ESD_ERR_OK, "and starts nothing: AutoCheck is off");
  if (!schedule.isDue) return scheduled(ESD_ERR_OK, "and starts nothing: none is due");
  switch (updater) {
    case Updater::kReady:
      return scheduled(ESD_ERR_OK, "and starts the updater");
    case Updater::kBroken:
      return scheduled(ESD_ERR_OK, "and starts nothing: the updater may not be executed");
    case Updater::kMissing:
      return scheduled(ESD_ERR_KX, "the updater is not installed");
  }
}

}  // namespace tool
