#include "kxl/policy.h"

#include <ctime>
#include <exception>

#include "kxl/places.h"
#include "kxl/settings.h"
#include "platform/file_system.h"
#include "stores/admin_prefs.h"
#include "stores/suppress_file.h"

namespace tool {

namespace {

void Reason(Output& output, const std::string& what, bool allows, const std::string& reason,
            const std::string& source) {
  output.Row({{"rule", what}, {"allows", allows}, {"reason", reason}, {"source", source}},
             {what, allows ? "yes" : "no", reason + ", from " + source},
             allows ? Colour::kNone : Colour::kBad);
}

bool ShowSwitch(Output& output) {
  const std::string path = kxl::AdminPrefsPath();
  bool enabled = true;
  std::string reason;
  if (kxl::IsUpdateEnabledByAdmin(enabled)) {
    reason = enabled ? "Disable.Update is false" : "Disable.Update is true";
  } else {
    reason = kxl::PathExists(path) ? "there is no boolean Disable.Update" : "there is no such file";
  }
  Reason(output, "administrator's switch", enabled, reason, path);
  return enabled;
}

// What a scheduled check asks besides.
void ShowSchedule(Output& output) {
  const std::string preferences = PreferencesPath();
  const bool isAutomatic = SettingValue("AutoCheck") != "0";
  Reason(output, "scheduled checks", isAutomatic,
         isAutomatic ? "AutoCheck is not off" : "AutoCheck is off", preferences);
  const std::string interval = SettingValue("AutoCheckFreq") == "1" ? "weekly" : "monthly";
  const std::string last = SettingValue("LastDateCheck");
  Reason(output, "interval", true,
         interval + ", last check " + (last.empty() ? "never" : "on " + last), preferences);
  bool isHeld = false;
  if (const std::string path = HoldsPath(); !path.empty()) {
    kxl::SuppressFile holds(path);
    try {
      isHeld = holds.Read(std::time(nullptr)) && !holds.Holds().empty();
    } catch (const std::exception&) {
      // Holds that cannot be read hold nothing back.
    }
    Reason(output, "holds", !isHeld, isHeld ? "a hold is running" : "no hold is running", path);
  }
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

void ShowPolicy(Output& output) {
  const bool isEnabled = ShowSwitch(output);
  const kxl::AdminRule rule = kxl::FindAdminRule();
  const bool isAdmin = rule != kxl::AdminRule::kNone;
  Reason(output, "administrator", isAdmin, RuleText(rule), "the account database");
  ShowSchedule(output);
  const bool allows = isEnabled && isAdmin;
  Reason(output, "update checks", allows,
         allows ? "this user may check for updates" : "this user may not check for updates",
         "the first two");
}

}  // namespace tool
