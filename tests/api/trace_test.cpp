#include <kxl/kxl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <thread>

#include "esd/resource_locker.h"
#include "support/host.h"

namespace {

using namespace kxl_test;

std::string Log() { return ReadLog(LibraryLog()); }

// The lines of the trace with '|' between them, without what the handlers say and answer, which is
// their own tests' business.
std::string Frame() {
  std::istringstream lines(Log());
  std::string frame;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("return code = ")) line.resize(14);
    const bool isHandlers = line.starts_with("Has admin") || line.starts_with("Do not have") ||
                            line.starts_with("App ID") || line.starts_with("Specified");
    if (!isHandlers) frame += line + "|";
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
               {"GetVersion"}});
  EXPECT_TRUE(fs::exists(fs::path(PrefsPath()).parent_path() / "Install"));
  EXPECT_FALSE(fs::exists(PrefsPath())) << "reading writes nothing";
  EXPECT_EQ(Frame(),
            ">>> Kelda Updater Log Begin >>>|logFile: = " + LibraryLog() +
                "|logLevel: = 2|Vista IE Protected Mode: = No|"
                "In KXLRegisterApplication(...)|appIdentifier = = NULL|appFolderPath = = NULL|"
                "appDisplayName = name|return code = |"
                "In KXLUnRegisterApplication(...)|appIdentifier = = NULL|return code = |"
                "In KXIsUpdateCheckEnabled(...)|return code = |"
                "In KXLTriggerUpdateCheck(...)|appIdentifier = id\x80|appFolderPath = /f|"
                "KXLTriggerType = 1|appDisplayName = name|appDisplayLang = en_US|"
                "bOverrideData = = true|return code = |"
                "In KXLIsUpdateAvailable(...)|appIdentifier = = NULL|appFolderPath = = NULL|"
                "appDisplayName = = NULL|bOverrideData = = false|return code = |"
                "In KXLDownloadMissingComponents(...)|appIdentifier = = NULL|"
                "appFolderPath = = NULL|appDisplayName = = NULL|appDisplayLang = = NULL|"
                "bOverrideData = = false|return code = |"
                "In KXLDoPluginAction(...)|appIdentifier = = NULL|return code = |"
                "In KXLGetVersion(...)|Version =  = 6.2.0.1474|"
                "<<< Kelda Updater Log End <<<|||");
}

int CallAndWait(const Link& parent, const Arguments& /*arguments*/) {
  KXLUnRegisterApplication(nullptr);
  parent.Tell();
  parent.Await();
  KXLGetVersion();
  parent.Tell();
  parent.Await();
  return 0;
}

TEST(Trace, TheResultWaitsForTheNextCall) {
  ChildProcess host(CallAndWait, {}, WithAccounts());
  host.Await();
  EXPECT_TRUE(Log().ends_with("appIdentifier = = NULL\n")) << Log();
  host.Tell();
  host.Await();
  EXPECT_TRUE(Log().ends_with("return code = 3(ESD_ERR_INVALIDDATA)\nIn KXLGetVersion(...)\n"));
  host.Tell();
  EXPECT_EQ(host.Exit(), 0);
}

// Forks while another thread's first call waits for the preferences, and once more while a line of
// that call waits to be written. Each child makes a call of its own and exits.
int ForkDuringAndAfterTheFirstCall(const Link& /*parent*/, const Arguments& arguments) {
  std::thread first([] { KXLUnRegisterApplication(nullptr); });
  while (!fs::exists(arguments[0])) std::this_thread::yield();
  const auto callInAChild = [] {
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      exit(KXLGetVersion() == 0x62000000 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  };
  const int status = callInAChild();
  first.join();
  return status + callInAChild();
}

// Without the wrapped account database: at a fork that one locks mutexes of its own, which it never
// unlocks, and a lock of ours would count as waiting for them.
TEST(Trace, AForkHarmsNobodyAndEachWritesItsOwnLinesOnly) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a child may find the sanitizer's own locks held";
#endif
  esd::ResourceLocker holder(PrefsPath(), 0);
  ASSERT_TRUE(holder.Lock());
  const std::string folder = InTestFolder("home/.local/share/Kelda");
  EXPECT_EQ(ChildProcess(ForkDuringAndAfterTheFirstCall, {folder}, {}).Exit(), 0);
  const std::string log = Log();
  EXPECT_EQ(Count(log, "In KXLGetVersion(...)\n"), 2U);
  EXPECT_EQ(Count(log, "return code = "), 1U) << log;
  EXPECT_EQ(Count(log, "<<< Kelda"), Count(log, ">>> Kelda")) << "a child has ended the file";
}

TEST(Trace, AFailureOfTheSystemIsTracedAndAnsweredAsSuch) {
  WriteFile(InTestFolder("var"), "no folder");
  const Call registration = {"RegisterApplication", "a", "A", "/a"};
  EXPECT_EQ(CallsInHost({registration}), std::vector{ESD_ERR_FAILURE + 0});
  EXPECT_TRUE(
      Log().ends_with("\nCould not access the AllUserDataDirectory\nexception failure\n"
                      "<<< Kelda Updater Log End <<<\n\n\n"))
      << Log();
  fs::remove_all(InTestFolder("home"));
  WriteFile(InTestFolder("home"), "no folder, so no log");
  EXPECT_EQ(CallsInHost({{"GetVersion"}, registration}), (std::vector{6, ESD_ERR_FAILURE + 0}));
}

}  // namespace
