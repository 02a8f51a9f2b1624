#include "support/host.h"

#include <grp.h>
#include <kxl/kxl.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

namespace kxl_test {

namespace {

constexpr char kNull[] = "\x1E";
constexpr char kEndOfCall[] = "\x1F";

bool Prepare(const std::string& prepare) {
  if (prepare == "guest") {
    const gid_t group = 2000;
    return setgroups(1, &group) == 0 && setgid(group) == 0 && setuid(2000) == 0;
  }
  if (!prepare.empty()) LimitFileSize(prepare);
  return true;
}

int Host(const Link& parent, const Arguments& arguments) {
  if (!Prepare(arguments[0])) return 1;
  std::string answers;
  Call call;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    if (arguments[i] == kEndOfCall) {
      answers += std::to_string(MakeCall(call)) + " ";
      call.clear();
    } else {
      call.push_back(arguments[i] == kNull ? std::nullopt : std::optional(arguments[i]));
    }
  }
  parent.Write(answers);
  return 0;
}

}  // namespace

int MakeCall(const Call& call) {
  const auto text = [&](std::size_t index) {
    return index < call.size() && call[index] ? call[index]->c_str() : nullptr;
  };
  const std::string& name = *call[0];
  if (name == "RegisterApplication") return KXLRegisterApplication(text(1), text(2), text(3));
  if (name == "UnRegisterApplication") return KXLUnRegisterApplication(text(1));
  if (name == "IsUpdateCheckEnabled") return KXLIsUpdateCheckEnabled();
  if (name == "TriggerUpdateCheck") {
    const bool refresh = text(6) != nullptr && text(6) == std::string_view("refresh");
    return KXLTriggerUpdateCheck(text(1), text(2), text(3), text(4), atoi(text(5)), refresh);
  }
  if (name == "IsUpdateAvailable") {
    std::int32_t number = 77;
    const bool refresh = text(4) != nullptr;
    const int code = KXLIsUpdateAvailable(text(1), text(2), text(3), 7, &number, refresh);
    return code == ESD_ERR_OK ? 1000 + number : code;
  }
  if (name == "DownloadMissingComponents") {
    std::vector<KXLMissingComponent> components;
    for (std::size_t i = 5; i + 2 < call.size(); i += 3) {
      components.push_back({text(i), text(i + 1), text(i + 2)});
    }
    std::vector<const KXLMissingComponent*> pointers;
    for (const KXLMissingComponent& component : components) pointers.push_back(&component);
    const KXLMissingComponentList list = {static_cast<std::uint32_t>(pointers.size()),
                                          pointers.data()};
    return KXLDownloadMissingComponents(text(1), text(2), text(3), text(4),
                                        call.size() > 5 ? &list : nullptr, 4, false);
  }
  if (name == "DoPluginAction") return KXLDoPluginAction(text(1));
  if (name == "SuppressUpdates") {
    auto seconds = static_cast<std::uint32_t>(atoi(text(2)));
    return KXLSuppressUpdates(const_cast<char*>(text(1)), nullptr, &seconds, 0);
  }
  return static_cast<int>(KXLGetVersion() >> 28);
}

std::vector<int> CallsInHost(const std::vector<Call>& calls, const Environment& environment,
                             const std::string& prepare) {
  Arguments arguments = {prepare};
  for (const Call& call : calls) {
    for (const auto& argument : call) arguments.push_back(argument.value_or(kNull));
    arguments.push_back(kEndOfCall);
  }
  ChildProcess host(Host, arguments, environment);
  std::istringstream stream(host.ReadAll());
  std::vector<int> answers;
  if (host.Exit() != 0) return answers;
  for (int answer; stream >> answer;) answers.push_back(answer);
  return answers;
}

}  // namespace kxl_test
