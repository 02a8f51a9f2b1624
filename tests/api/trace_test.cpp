#include <kxl/kxl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "esd/resource_locker.h"
#include "support/host.h"

namespace {

using namespace kxl_test;

std::string Log() { return ReadLog(LibraryLog()); }

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
  const std::string invalid = "return code = 3(ESD_ERR_INVALIDDATA)\n";
  EXPECT_EQ(Log(),
            ">>> Kelda Updater Log Begin >>>\nlogFile: = " + LibraryLog() +
                "\nlogLevel: = 2\nVista IE Protected Mode: = No\n"
                "In KXLRegisterApplication(...)\nappIdentifier = = NULL\n"
                "appFolderPath = = NULL\nappDisplayName = name\n" +
                invalid + "In KXLUnRegisterApplication(...)\nappIdentifier = = NULL\n" + invalid +
                "In KXIsUpdateCheckEnabled(...)\nHas admin priv.\nreturn code = 1\n"
                "In KXLTriggerUpdateCheck(...)\nappIdentifier = id\x80\nappFolderPath = /f\n"
                "KXLTriggerType = 1\nappDisplayName = name\nappDisplayLang = en_US\n"
                "bOverrideData = = true\nHas admin priv.\nApp ID must only contain ANSI character "
                "values 0-127. Will reject processing request.\n" +
                invalid +
                "In KXLIsUpdateAvailable(...)\nappIdentifier = = NULL\nappFolderPath = = NULL\n"
                "appDisplayName = = NULL\nbOverrideData = = false\n" +
                invalid +
                "In KXLDownloadMissingComponents(...)\nappIdentifier = = NULL\n"
                "appFolderPath = = NULL\nappDisplayName = = NULL\nappDisplayLang = = NULL\n"
                "bOverrideData = = false\nHas admin priv.\n" +
                invalid + "In KXLDoPluginAction(...)\nappIdentifier = = NULL\nHas admin priv.\n" +
                invalid +
                "In KXLGetVersion(...)\nVersion =  = 6.2.0.1474\n"
                "<<< Kelda Updater Log End <<<\n\n\n");
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
  if (Count(ReadLog(arguments[1]), "return code = ") != 0)
    return -1;  // the result waits for the next call
  const int second = callInAChild();
  KXLGetVersion();
  return Count(ReadLog(arguments[1]), "return code = ") == 1 ? status + second : -2;
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
  EXPECT_EQ(ChildProcess(ForkDuringAndAfterTheFirstCall, {folder, LibraryLog()}, {}).Exit(), 0);
  const std::string log = Log();
  EXPECT_EQ(Count(log, "In KXLGetVersion(...)\n"), 3U);
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

TEST(Trace, TheDetailedOneNamesTheFileThatHasDecided) {
  const std::string data = fs::path(PrefsPath()).parent_path();
  const std::string list = ApplicationList(ApplicationEntry("b", "B", std::string(3000, 'b')));
  const std::string answer = data + "/Data/UpdateAvailable/a/7.xml";
  const Call registration = {"RegisterApplication", "a", "A", "/a"};
  const Call query = {"IsUpdateAvailable", "a", "A", "/a"};
  const Call check = {"TriggerUpdateCheck", "a", "A", "/a", "", "0"};
  const Call hold = {"SuppressUpdates", "a", "9"};
  std::optional<esd::ResourceLocker> holder;
  const std::tuple<std::function<void()>, Call, int, std::string> cases[] = {
      {[] { WriteFile(ListPath() + "/f", ""); }, registration, 4, "EISDIR " + ListPath()},
      {[&] { WriteFile(ListPath(), list); }, registration, 4, "EFBIG " + ListPath() + "_"},
      {[] { WriteFile(InTestFolder("var"), ""); }, registration, 1,
       "EEXIST " + InTestFolder("var")},
      {[] {}, {"UnRegisterApplication", "a"}, 4, "ENOENT " + ListPath()},
      {[&] { WriteFile(answer, "<"); }, query, 1077, "EBADMSG " + answer},
      {[&] { holder.emplace("KeldaUpdater6a", 0).Lock(); }, query, 8,
       "EEXIST " + esd::SemaphorePath("KeldaUpdater6a")},
      {[] { WriteFile(AdminListPath() + "/f", ""); },
       {"IsUpdateCheckEnabled"},
       1,
       "EISDIR " + AdminListPath()},
      {[] {}, check, 2, "ENOENT " + InTestFolder("opt")},
      {[] { WriteFile(UpdaterExecutable(), ""); }, check, 0, "EACCES " + UpdaterExecutable()},
      {[] { WriteFile(SuppressPath() + "/f", ""); }, hold, 1, "EISDIR " + SuppressPath()}};
  for (const auto& [prepare, call, code, line] : cases) {
    for (const char* level : {"2", "3"}) {
      for (const auto& entry : fs::directory_iterator(TestFolder())) fs::remove_all(entry);
      fs::create_directories(InTestFolder("run"));
      WriteSettings("<logLevel>" + std::string(level) + "</logLevel>");
      prepare();
      const auto codes = CallsInHost({{"GetVersion"}, call}, WithAccounts(), "2500");
      holder.reset();
      EXPECT_EQ(codes, (std::vector{6, code})) << line;
      EXPECT_EQ(Log().find("\n" + line + "\n") != std::string::npos, *level == '3')
          << line << Log();
    }
  }
}

}  // namespace
