#include "kxl/requests.h"

#include <kxl/kxl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <iostream>
#include <thread>

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

// Prints the code, and what was answered besides.
int Answer(Output& output, std::int32_t code, const std::string& text = {},
           const Json& answer = Json::object()) {
  Json object = {{"code", code}, {"name", CodeName(code)}};
  object.update(answer);
  const std::string line = std::to_string(code) + " " + CodeName(code);
  output.Row(object, {text.empty() ? line : line + ": " + text},
             code == ESD_ERR_OK ? Colour::kGood : Colour::kNone);
  return code;
}

// A line on a terminal that is overwritten and goes at the end; nothing in a pipe.
void ShowProgress(const char* text) {
  if (isatty(STDERR_FILENO) == 1) std::cerr << "\r\033[K" << text << std::flush;
}

}  // namespace

int Register(Output& output, const Application& application) {
  return Answer(output, KXLRegisterApplication(application.id.c_str(), application.name.c_str(),
                                               application.folder.c_str()));
}

int Unregister(Output& output, const std::string& id) {
  return Answer(output, KXLUnRegisterApplication(id.c_str()));
}

int IsEnabled(Output& output) {
  const bool isEnabled = KXLIsUpdateCheckEnabled() != 0;
  output.Row({{"enabled", isEnabled}}, {isEnabled ? "enabled" : "not enabled"},
             isEnabled ? Colour::kGood : Colour::kBad);
  return isEnabled ? ESD_ERR_OK : ESD_ERR_NOTENABLED;
}

int Check(Output& output, const Application& application, const CheckOptions& options) {
  const KXLTriggerType type = options.isScheduled ? KXL_TRIGGER_SCHEDULED : KXL_TRIGGER_MANUAL;
  const char* id = application.id.empty() ? nullptr : application.id.c_str();
  return Answer(output,
                KXLTriggerUpdateCheck(id, application.name.c_str(), application.folder.c_str(),
                                      options.language.c_str(), type, options.refresh));
}

int IsAvailable(Output& output, const Application& application, const AvailableOptions& options) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + std::chrono::seconds(options.waitSeconds);
  std::int32_t number = 0;
  for (;;) {
    const std::int32_t code =
        KXLIsUpdateAvailable(application.id.c_str(), application.name.c_str(),
                             application.folder.c_str(), options.request, &number, options.refresh);
    if (code == ESD_ERR_NOTIFY_PENDING && Clock::now() < end) {
      ShowProgress("waiting for the updater...");
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      continue;
    }
    ShowProgress("");
    if (code != ESD_ERR_OK) return Answer(output, code);
    return Answer(output, code, number == 0 ? "up to date" : "an update waits",
                  {{"answer", number}});
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
  return Answer(output,
                KXLDownloadMissingComponents(application.id.c_str(), application.name.c_str(),
                                             application.folder.c_str(), options.language.c_str(),
                                             &list, options.type, options.refresh));
}

int Act(Output& output, const std::string& id) {
  return Answer(output, KXLDoPluginAction(id.c_str()));
}

int Hold(Output& output, const std::string& id, std::uint32_t seconds) {
  std::string buffer = id;
  const std::int32_t code = KXLSuppressUpdates(buffer.data(), nullptr, &seconds, 0);
  if (code != ESD_ERR_OK) return Answer(output, code);
  return Answer(output, code, std::to_string(seconds) + " seconds", {{"seconds", seconds}});
}

int QueryHold(Output& output, const std::string& id) {
  std::array<char, 4096> buffer{};
  auto size = static_cast<std::uint32_t>(buffer.size());
  std::uint32_t seconds = 0;
  id.copy(buffer.data(), buffer.size() - 1);
  const std::int32_t code = KXLSuppressUpdates(buffer.data(), &size, &seconds, 1);
  if (code != ESD_ERR_OK) return Answer(output, code);
  const std::string owner = buffer.data();
  return Answer(output, code,
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
