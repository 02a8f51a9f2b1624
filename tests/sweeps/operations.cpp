#include "sweeps/operations.h"

#include <array>
#include <ctime>

namespace sweep {

namespace {

std::string Document(const std::string& text) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n" + text;
}

std::string Entry(const std::string& id, const std::string& folder) {
  return "<Application appID=\"" + id + "\">\n<DisplayName>Editor</DisplayName>\n<InstallPath>" +
         folder + "</InstallPath>\n</Application>\n";
}

std::string List(const std::string& entries) {
  return Document("<KeldaUpdaterRegistrationManager>\n" + entries +
                  "</KeldaUpdaterRegistrationManager>\n");
}

std::string Hold(const std::string& id) {
  const std::time_t end = std::time(nullptr) + 3600;
  std::tm utc;
  gmtime_r(&end, &utc);
  std::array<char, 32> text;
  const std::size_t size = std::strftime(text.data(), text.size(), "\t%Y-%m-%d %T\r\n", &utc);
  return id + std::string(text.data(), size);
}

}  // namespace

std::vector<Operation> Operations() {
  const std::string others = Entry("a", "/a") + Entry("b", "/b");
  const std::string ours = Entry("com.example.editor", "/opt/editor");
  const std::string moved = Entry("com.example.editor", "/old");
  const std::string component =
      "<AMissingComponent category=\"c\" name=\"n\" version=\"1.2.0.0\"></AMissingComponent>\n";
  const std::string components = Document(
      "<KeldaUpdaterMissingCompsManager>\n"
      "<KeldaUpdaterMissingCompsApp AppID=\"a\" OperationType=\"2\" RedoCFU=\"1\">\n"
      "<DisplayName>A</DisplayName>\n<InstallPath>/a</InstallPath>\n" +
      component + "</KeldaUpdaterMissingCompsApp>\n</KeldaUpdaterMissingCompsManager>\n");
  const std::string preferences =
      Document("<KeldaUpdater>\n<AutoCheck>0</AutoCheck>\n</KeldaUpdater>\n");
  const std::string answer = "<UpdateInfo><Result>5</Result></UpdateInfo>";
  std::string log;
  while (log.size() <= 60000) log += "2008-03-17T09:05:41: " + std::to_string(log.size()) + "\n";
  // Without an updater, asking for one is answered 2.
  return {
      {"register-first", {}, "list", 0, {1, 4}, {5}},
      {"register", {{kList, List(others)}}, "list", 0, {1, 4}, {5}},
      {"register-moved", {{kList, List(moved + others)}}, "list", 0, {1, 4}, {5}},
      {"unregister", {{kList, List(others + ours)}}, "list", 0, {1, 4}, {6}},
      {"unregister-last", {{kList, List(ours)}}, "list", 0, {1, 4}, {4}},
      {"missing-first", {}, "components", 2, {1, 7}, {}},
      {"missing", {{kComponents, components}}, "components", 2, {1, 7}, {}},
      {"prefer-first", {}, "prefs", 2, {1, 7}, {}},
      {"prefer", {{kPreferences, preferences}}, "prefs", 2, {1, 7}, {}},
      {"hold-first", {}, "holds", 0, {1, 14}, {}},
      {"hold", {{kHolds, Hold("other")}}, "holds", 0, {1, 14}, {}},
      {"unhold", {{kHolds, Hold("com.example.editor") + Hold("other")}}, "holds", 0, {1, 14}, {}},
      {"unhold-last", {{kHolds, Hold("com.example.editor")}}, "holds", 0, {1, 14}, {}},
      {"answer", {{kAnswerFile, answer}, {kLockFile, "lock"}}, "status", 25, {1, 2, 8, 20}, {2}},
      {"log", {{kLog, log}}, "log", 0, {1}, {}},
      {"enabled", {}, "status", 0, {1}, {}},
      {"plugin", {{kList, List(others + ours)}}, "list", 2, {0, 1, 6, 7}, {}},
  };
}

}  // namespace sweep
