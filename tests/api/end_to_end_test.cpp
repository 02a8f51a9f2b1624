// The real library in hosts of its own, against the real reference updater.
#include <kxl/kxl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/date_time/gregorian/gregorian.hpp>
#include <csignal>
#include <regex>
#include <thread>

#include "esd/resource_locker.h"
#include "support/host.h"
#include "support/updater.h"

namespace {

using namespace kxl_test;

const Call kAsk = {"IsUpdateAvailable", "a", "A", "/a"};
const Call kMissing = {
    "DownloadMissingComponents", "a", "A", "/a", "", "*", "c", "1", "n", "d", "1"};

std::string UpdaterLog() { return InTestFolder("home/.local/share/Kelda/Updater6/kxl.log"); }

std::string DownloadedFile() {
  return InTestFolder("home/.local/share/Kelda/Updater6/Install/one.dat");
}

// The reference updater, in a bundle that tells how it ended, and is not found any more by then.
class EndToEnd : public testing::Test {
 protected:
  EndToEnd() {
    const std::string real = InTestFolder("updater/Kelda Updater");
    WriteScript(
        UpdaterExecutable(),
        "'" + real +
            "'\nstatus=$?\necho ended >/proc/$$/comm\nexec >\"$KXL_ROOT/ended\"\necho $status\n");
    fs::create_directories(InTestFolder("updater"));
    fs::create_symlink(UPDATER, real);
    mkfifo(InTestFolder("ended").c_str(), 0600);
    const std::string catalogue = InTestFolder("var/lib/Kelda/Updater6/Catalogue/");
    WriteFile(catalogue + "catalogue.xml",
              "<Catalogue><Update appID=\"a\"/>"
              "<Component name=\"o\" category=\"c\" version=\"1\" file=\"one.dat\"/>"
              "<Component name=\"n\" category=\"d\" version=\"1\" file=\"../gone\"/></Catalogue>");
    WriteFile(catalogue + "one.dat", "one");
  }

  // Waits for the end of the updater that was started; its exit status.
  static std::string Ended() { return ReadFile(InTestFolder("ended")); }

  static std::vector<int> Calls(const std::vector<Call>& calls, const std::string& misbehave = "") {
    Environment environment = WithAccounts();
    environment["KXL_UPDATER_MISBEHAVE"] = misbehave;
    // The updater inherits the account wrapper, too.
    environment["ASAN_OPTIONS"] = "verify_asan_link_order=0:log_path=" + InTestFolder("sanitizer");
    environment["TSAN_OPTIONS"] =
        "report_mutex_bugs=0:atexit_sleep_ms=0:log_path=" + InTestFolder("sanitizer");
    return CallsInHost(calls, environment);
  }

  void TearDown() override {
    for (const auto& entry : fs::directory_iterator(TestFolder())) {
      EXPECT_FALSE(entry.path().filename().string().starts_with("sanitizer"))
          << ReadFile(entry.path());
    }
  }
};

TEST_F(EndToEnd, AllNineFunctions) {
  EXPECT_EQ(Calls({{"GetVersion"},
                   {"IsUpdateCheckEnabled"},
                   {"RegisterApplication", "a", "A", "/a"},
                   kAsk}),
            (std::vector{6, 1, ESD_ERR_OK + 0, ESD_ERR_NOTIFY_PENDING + 0}));
  EXPECT_EQ(Ended(), "0\n");
  EXPECT_EQ(Calls({kAsk}), std::vector{1001});

  EXPECT_EQ(Calls({kMissing}), std::vector{ESD_ERR_OK + 0});
  EXPECT_EQ(Ended(), "0\n");
  EXPECT_EQ(ReadFile(DownloadedFile()), "one");
  const std::string list = ReadFile(ComponentsPath());
  EXPECT_EQ(Count(list, "<AMissingComponent "), 1U);
  EXPECT_EQ(Count(list, "category=\"d\""), 1U) << "what the catalogue cannot give stays listed";

  EXPECT_EQ(Calls({{"DoPluginAction", "a"}}), std::vector{ESD_ERR_OK + 0});
  EXPECT_EQ(Ended(), "0\n");
  const Call manual = {"TriggerUpdateCheck", "a", "A", "/a", "", "0"};
  const Call scheduled = {"TriggerUpdateCheck", "a", "A", "/a", "", "1"};
  EXPECT_EQ(Calls({{"SuppressUpdates", "a", "60"}, scheduled, manual}),
            (std::vector{ESD_ERR_OK + 0, KXL_CHECK_SUPPRESSED + 0, ESD_ERR_OK + 0}));
  EXPECT_EQ(Ended(), "0\n");
  const std::string prefs = ReadFile(PrefsPath());
  const auto today = boost::gregorian::day_clock::local_day();
  EXPECT_EQ(
      Count(prefs, ">" + boost::gregorian::to_iso_extended_string(today) + "</LastDateCheck>"), 1U);
  EXPECT_EQ(Count(prefs, "<IsFirstRun>0</IsFirstRun>"), 1U);
  EXPECT_EQ(Calls({{"SuppressUpdates", "a", "0"}, scheduled}), (std::vector{0, 0}));
  EXPECT_TRUE(ReadLog(LibraryLog()).find("Not time to launch.") != std::string::npos);

  WriteFile(InTestFolder("run/Kelda/Updater6/Updater6/locked/lock.b"), "lock");
  EXPECT_EQ(Calls({{"UnRegisterApplication", "a"}}), std::vector{ESD_ERR_OK + 0});
  EXPECT_EQ(Ended(), "0\n");
  EXPECT_TRUE(fs::is_empty(InTestFolder("run/Kelda/Updater6/Updater6/locked")));
  const std::regex frames("[<>]{3} .*\n+");
  EXPECT_EQ(std::regex_replace(ReadLog(UpdaterLog()), frames, ""),
            "Query of a\nAnswering.\nAn update waits for a\nDone.\n"
            "Missing components\nFetched = one.dat\nDone.\n"
            "Plug-in action for a\nDone.\nManual check\nA: an update waits\n"
            "Notices are held back by a\nNo notices are shown.\nDone.\n"
            "Nothing left to look after\nTidied up.\nDone.\n");
}

TEST_F(EndToEnd, AMisbehavingUpdaterHarmsNoHost) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"late 0", "0\n", 1001},
      {"garbage", "0\n", 1077},
      {"half", "0\n", 1077},
      {"never", "0\n", ESD_ERR_NOTIFY_PENDING},
      {"exit 3", "3\n", ESD_ERR_NOTIFY_PENDING},
      {"nonsense", "1\n", ESD_ERR_NOTIFY_PENDING},
      {"die", "137\n", ESD_ERR_NOTIFY_PENDING}};
  for (const auto& [how, status, answer] : cases) {
    EXPECT_EQ(Calls({kAsk}, how), std::vector{ESD_ERR_NOTIFY_PENDING + 0}) << how;
    EXPECT_EQ(Ended(), status) << how;
    EXPECT_EQ(Calls({kAsk}), std::vector{answer}) << how;
    if (answer != ESD_ERR_NOTIFY_PENDING) continue;
    if (how == std::string_view("die")) {
      EXPECT_TRUE(esd::ResourceLocker("KeldaUpdater6a", 0).Unlock(esd::Force::kYes));
      EXPECT_EQ(Calls({kAsk}), std::vector{answer});
    }
    EXPECT_EQ(Ended(), "0\n") << "the next one is well again";
    EXPECT_EQ(Calls({kAsk}), std::vector{1001}) << how;
  }
}

int Updater(const Link& /*parent*/, const Arguments& /*arguments*/) {
  execl(UPDATER, UPDATER, nullptr);
  return 1;
}

void WaitForLog(const char* line) {
  while (!fs::exists(UpdaterLog()) || Count(ReadLog(UpdaterLog()), line) == 0) {
    std::this_thread::yield();
  }
}

TEST_F(EndToEnd, AnUpdaterThatStaysIsTold) {
  const SessionBus bus;
  ChildProcess updater(Updater, {}, {{"KXL_UPDATER_STAY", "600"}});
  WaitForLog("Listening.\n");
  EXPECT_EQ(Calls({{"DoPluginAction", "a"}, {"SuppressUpdates", "a", "60"}, kMissing}),
            (std::vector{KXL_UPDATER_RUNNING + 0, ESD_ERR_OK + 0, ESD_ERR_OK + 0}));
  WaitForLog(
      "Notified: Signal KXL Suppression\nNotices are held back by a\nNotified: Activate\n"
      "Notified: Signal Express Download\nFetched = one.dat\n");
  kill(updater.Id(), SIGTERM);
  EXPECT_EQ(updater.Exit(), 0);
  EXPECT_EQ(ChildProcess(Updater, {}, {{"KXL_UPDATER_STAY", "soon"}}).Exit(), 1);
}

}  // namespace
