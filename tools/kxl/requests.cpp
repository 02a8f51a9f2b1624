#include "kxl/requests.h"

#include <kxl/kxl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <iostream>
#include <limits>
#include <thread>

#include "esd/xml_writer.h"
#include "kxl/explanation.h"
#include "kxl/places.h"
#include "kxl/screen_text.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "stores/registered_applications.h"

namespace tool {

namespace {

const char* CodeName(std::int32_t code) {
  switch (code) {
    case ESD_ERR_OK:
      return "ESD_ERR_OK";
    case ESD_ERR_FAILURE:
      return "ESD_ERR_FAILURE";
    case ESD_ERR_KX:
      return "ESD_ERR_KX";
    case ESD_ERR_INVALIDDATA:
      return "ESD_ERR_INVALIDDATA";
    case ESD_ERR_REGISTRATIONFAILED:
      return "ESD_ERR_REGISTRATIONFAILED";
    case ESD_ERR_ALREADYREGISTERED:
      return "ESD_ERR_ALREADYREGISTERED";
    case ESD_ERR_NOTREGISTERED:
      return "ESD_ERR_NOTREGISTERED";
    case ESD_ERR_NOTENABLED:
      return "ESD_ERR_NOTENABLED";
    case ESD_ERR_NOTIFY_PENDING:
      return "ESD_ERR_NOTIFY_PENDING";
    case KXL_ALL_LISTED:
      return "KXL_ALL_LISTED";
    case KXL_UPDATER_RUNNING:
      return "KXL_UPDATER_RUNNING";
    case KXL_CHECK_SUPPRESSED:
      return "KXL_CHECK_SUPPRESSED";
    case KXL_SUPPRESS_FILE_BUSY:
      return "KXL_SUPPRESS_FILE_BUSY";
    default:
      return "an unknown code";
  }
}

int Print(Output& output, std::int32_t code, const std::string& text, const Json& answer) {
  Json object = {{"code", code}, {"name", CodeName(code)}};
  object.update(answer);
  const std::string line = std::to_string(code) + " " + CodeName(code);
  output.Row(object, {text.empty() ? line : line + ": " + text},
             code == ESD_ERR_OK ? Colour::kGood : Colour::kNone);
  return code;
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : "; ") + Visible(text, LineEnds::kEscape);
  }
  return joined;
}

// Prints the code, and why it is none of success: from the state of these files and locks.
int Answer(Output& output, std::int32_t code, const std::vector<std::string>& subjects) {
  const std::vector<std::string> reasons = Explain(code, subjects);
  return Print(output, code, Joined(reasons),
               reasons.empty() ? Json::object() : Json{{"why", reasons}});
}

std::string UpdaterBundle() {
  std::string bundle = "the updater";  // as the doctor calls one whose place is not known
  kxl::GetUpdaterBundlePath(bundle);
  return bundle;
}

// A line on a terminal that is overwritten and goes at the end; nothing in a pipe.
void ShowProgress(const char* text) {
  if (isatty(STDERR_FILENO) == 1) std::cerr << "\r\033[K" << text << std::flush;
}

}  // namespace

int Register(Output& output, const Application& application) {
  const std::int32_t code = KXLRegisterApplication(application.id.c_str(), application.name.c_str(),
                                                   application.folder.c_str());
  kxl::KeldaUpdaterRegisteredApp entry(application.id);
  entry.SetDisplayName(application.name);
  entry.SetInstallPath(application.folder);
  if (code == ESD_ERR_REGISTRATIONFAILED && !esd::ReadsBackUnchanged(*entry.Node())) {
    const std::string reason = "a text has a character that the list cannot hold";
    return Print(output, code, reason, {{"why", {reason}}});
  }
  return Answer(output, code, {ApplicationsPath()});
}

int Unregister(Output& output, const std::string& id) {
  const std::int32_t code = KXLUnRegisterApplication(id.c_str());
  const std::string list = ApplicationsPath();
  if (code == ESD_ERR_REGISTRATIONFAILED && !kxl::PathExists(list)) {
    const std::string reason = list + ": there is no list, so nothing is registered";
    return Print(output, code, reason, {{"why", {reason}}});
  }
  return Answer(output, code, {list});
}

int IsEnabled(Output& output) {
  const bool isEnabled = KXLIsUpdateCheckEnabled() != 0;
  Json object = {{"enabled", isEnabled}};
  std::string text = isEnabled ? "enabled" : "not enabled";
  if (!isEnabled) {
    const std::vector<std::string> reasons = Explain(ESD_ERR_NOTENABLED, {});
    object["why"] = reasons;
    text += ": " + Joined(reasons);
  }
  output.Row(object, {text}, isEnabled ? Colour::kGood : Colour::kBad);
  return isEnabled ? ESD_ERR_OK : ESD_ERR_NOTENABLED;
}

int Check(Output& output, const Application& application, const CheckOptions& options) {
  const KXLTriggerType type = options.isScheduled ? KXL_TRIGGER_SCHEDULED : KXL_TRIGGER_MANUAL;
  const char* id = application.id.empty() ? nullptr : application.id.c_str();
  const std::int32_t code =
      KXLTriggerUpdateCheck(id, application.name.c_str(), application.folder.c_str(),
                            options.language.c_str(), type, options.refresh);
  return Answer(output, code,
                {UpdaterBundle(), PreferencesPath(), options.refresh ? ApplicationsPath() : ""});
}

int IsAvailable(Output& output, const Application& application, const AvailableOptions& options) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + std::chrono::seconds(options.waitSeconds);
  // No answer of an updater: what stays is one that could not be read.
  constexpr std::int32_t kUnread = std::numeric_limits<std::int32_t>::min();
  for (;;) {
    std::int32_t number = kUnread;
    const std::int32_t code =
        KXLIsUpdateAvailable(application.id.c_str(), application.name.c_str(),
                             application.folder.c_str(), options.request, &number, options.refresh);
    if (code == ESD_ERR_NOTIFY_PENDING && Clock::now() < end) {
      ShowProgress("waiting for the updater...");
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      continue;
    }
    ShowProgress("");
    if (code == ESD_ERR_OK && number == kUnread) {
      return Print(output, code, "the updater's answer could not be read", {{"answer", nullptr}});
    }
    if (code == ESD_ERR_OK) {
      return Print(output, code, number == 0 ? "up to date" : "an update waits",
                   {{"answer", number}});
    }
    return Answer(output, code,
                  {UpdaterBundle(), "request:" + application.id, LockFolder(),
                   Below(DataFolder(), "Data/UpdateAvailable/" + application.id),
                   options.refresh ? ApplicationsPath() : ""});
  }
}

int ReportMissing(Output& output, const Application& application, const MissingOptions& options) {
  std::vector<KXLMissingComponent> components;
  for (std::size_t i = 0; i + 2 < options.components.size(); i += 3) {
    components.push_back({options.components[i].c_str(), options.components[i + 1].c_str(),
                          options.components[i + 2].c_str()});
  }
  std::vector<const KXLMissingComponent*> pointers;
  pointers.reserve(components.size());
  for (const KXLMissingComponent& component : components) pointers.push_back(&component);
  const KXLMissingComponentList list = {static_cast<std::uint32_t>(pointers.size()),
                                        pointers.data()};
  const std::int32_t code = KXLDownloadMissingComponents(
      application.id.c_str(), application.name.c_str(), application.folder.c_str(),
      options.language.c_str(), &list, options.type, options.refresh);
  return Answer(output, code,
                {code == ESD_ERR_KX ? UpdaterBundle() : ComponentsPath(),
                 options.refresh ? ApplicationsPath() : ""});
}

int Act(Output& output, const std::string& id) {
  const std::int32_t code = KXLDoPluginAction(id.c_str());
  return Answer(output, code, {code == ESD_ERR_KX ? UpdaterBundle() : ApplicationsPath()});
}

int Hold(Output& output, const std::string& id, std::uint32_t seconds) {
  std::string buffer = id;
  const std::uint32_t wanted = seconds;
  const std::int32_t code = KXLSuppressUpdates(buffer.data(), nullptr, &seconds, 0);
  if (code != ESD_ERR_OK) return Answer(output, code, {HoldsPath()});
  const std::string text = std::to_string(seconds) + " seconds";
  if (wanted == seconds) return Print(output, code, text, {{"seconds", seconds}});
  return Print(output, code,
               text + ", lowered from " + std::to_string(wanted) +
                   " seconds: a hold is twelve hours at most",
               {{"seconds", seconds}, {"lowered_from", wanted}});
}

int QueryHold(Output& output, const std::string& id) {
  std::array<char, 4096> buffer{};
  auto size = static_cast<std::uint32_t>(buffer.size());
  std::uint32_t seconds = 0;
  id.copy(buffer.data(), buffer.size() - 1);
  const std::int32_t code = KXLSuppressUpdates(buffer.data(), &size, &seconds, 1);
  if (code != ESD_ERR_OK) return Answer(output, code, {HoldsPath()});
  const std::string owner = buffer.data();
  return Print(output, code,
               seconds == 0 ? "no hold" : std::to_string(seconds) + " seconds left for " + owner,
               {{"id", owner}, {"seconds", seconds}});
}

int ShowVersion(Output& output) {
  const std::uint32_t version = KXLGetVersion();
  const std::string text = std::to_string(version >> 28U) + "." +
                           std::to_string(version >> 24U & 15U) + "." +
                           std::to_string(version >> 20U & 15U);
  output.Row({{"library", text}, {"tool", KXL_TOOL_VERSION}},
             {"library " + text + ", tool " + KXL_TOOL_VERSION});
  return ESD_ERR_OK;
}

}  // namespace tool
