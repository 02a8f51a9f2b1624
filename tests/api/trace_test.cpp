#include <gtest/gtest.h>
#include <kxl/kxl.h>

#include <filesystem>
#include <sstream>
#include <thread>

#include "support/host.h"
#include "support/test_folder.h"

namespace {

using kxl_test::CallsInHost;
using kxl_test::InTestFolder;

std::string Log() { return kxl_test::ReadLog(kxl_test::LibraryLog()); }

// A trace without what the handlers say and answer, which is their own tests' business.
std::string Frame(const std::string& log) {
  std::istringstream lines(log);
  std::string frame;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("return code = ")) line.resize(14);
    const bool isHandlers = line.starts_with("Has admin") || line.starts_with("Do not have") ||
                            line.starts_with("App ID") || line.starts_with("Specified");
    if (!isHandlers) frame += line + "\n";
  }
  return frame;
}

TEST(Trace, TellsEveryCallWithItsArgumentsAndResult) {
  const auto none = std::nullopt;
  CallsInHost({{"RegisterApplication", none, "name", none},
               {"UnRegisterApplication", none},
               {"IsUpdateCheckEnabled"},
               {"TriggerUpdateCheck", "id\x80", "name", "/f", "en_US", "1", "refresh"},
               {"IsUpdateAvailable", none, none, none},
               {"DownloadMissingComponents", none, none, none, none},
               {"DoPluginAction", none},
               {"SuppressUpdates", "", "0"},
               {"GetVersion"}},
              kxl_test::WithAccounts());
  EXPECT_EQ(Frame(Log()),
            ">>> Kelda Updater Log Begin >>>\n"
            "logFile: = " +
                kxl_test::LibraryLog() +
                "\n"
                "logLevel: = 2\n"
                "Vista IE Protected Mode: = No\n"
                "In KXLRegisterApplication(...)\n"
                "appIdentifier = = NULL\n"
                "appFolderPath = = NULL\n"
                "appDisplayName = name\n"
                "return code = \n"
                "In KXLUnRegisterApplication(...)\n"
                "appIdentifier = = NULL\n"
                "return code = \n"
                "In KXIsUpdateCheckEnabled(...)\n"
                "return code = \n"
                "In KXLTriggerUpdateCheck(...)\n"
                "appIdentifier = id\x80\n"
                "appFolderPath = /f\n"
                "KXLTriggerType = 1\n"
                "appDisplayName = name\n"
                "appDisplayLang = en_US\n"
                "bOverrideData = = true\n"
                "return code = \n"
                "In KXLIsUpdateAvailable(...)\n"
                "appIdentifier = = NULL\n"
                "appFolderPath = = NULL\n"
                "appDisplayName = = NULL\n"
                "bOverrideData = = false\n"
                "return code = \n"
                "In KXLDownloadMissingComponents(...)\n"
                "appIdentifier = = NULL\n"
                "appFolderPath = = NULL\n"
                "appDisplayName = = NULL\n"
                "appDisplayLang = = NULL\n"
                "bOverrideData = = false\n"
                "return code = \n"
                "In KXLDoPluginAction(...)\n"
                "appIdentifier = = NULL\n"
                "return code = \n"
                "In KXLGetVersion(...)\n"
                "Version =  = 6.2.0.1474\n"
                "<<< Kelda Updater Log End <<<\n\n\n");
}

TEST(Trace, TheResultWaitsForTheNextCall) {
  const std::string log = kxl_test::LibraryLog();
  kxl_test::ChildProcess host("CallAndWait", {}, kxl_test::WithAccounts());
  host.Await();
  EXPECT_TRUE(Log().ends_with("appIdentifier = = NULL\n")) << Log();
  host.Tell();
  host.Await();
  EXPECT_TRUE(Log().ends_with("return code = 3(ESD_ERR_INVALIDDATA)\nIn KXLGetVersion(...)\n"));
  host.Tell();
  EXPECT_EQ(host.Exit(), 0);
}

CHILD_BODY(CallAndWait) {
  KXLUnRegisterApplication(nullptr);
  parent.Tell();
  parent.Await();
  KXLGetVersion();
  parent.Tell();
  parent.Await();
  return 0;
}

// Of several first calls at once none may find the log closed, which would turn it off.
CHILD_BODY(FirstCallsFromManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([] { KXLGetVersion(); });
  for (std::thread& thread : threads) thread.join();
  return 0;
}

TEST(Trace, ManyFirstCallsMakeOneLog) {
  kxl_test::ChildProcess host("FirstCallsFromManyThreads", {}, kxl_test::WithAccounts());
  EXPECT_EQ(host.Exit(), 0);
  const std::string log = Log();
  std::size_t calls = 0;
  for (std::size_t at = 0; (at = log.find("In KXLGetVersion", at)) != std::string::npos; ++at) {
    ++calls;
  }
  EXPECT_EQ(calls, 8U);
  EXPECT_EQ(log.find(">>> Kelda", 1), std::string::npos) << "opened twice";
}

TEST(Trace, CallsGoOnWithoutALog) {
  kxl_test::WriteFile(InTestFolder("home"), "no folder");
  EXPECT_EQ(CallsInHost({{"GetVersion"}, {"UnRegisterApplication", ""}}, kxl_test::WithAccounts()),
            (std::vector{6, ESD_ERR_INVALIDDATA + 0}));
}

TEST(Trace, AnExceptionIsTracedAndAnsweredAsFailure) {
  kxl_test::WriteFile(InTestFolder("var"), "no folder");
  EXPECT_EQ(CallsInHost({{"RegisterApplication", "a", "A", "/a"}}, kxl_test::WithAccounts()),
            std::vector{ESD_ERR_FAILURE + 0});
  EXPECT_NE(Log().find("\nCould not access the AllUserDataDirectory\nexception failure\n<<<"),
            std::string::npos)
      << Log();
}

}  // namespace
