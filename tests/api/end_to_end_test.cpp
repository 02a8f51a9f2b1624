// The real library in hosts of its own, against the real reference updater.
#include <fcntl.h>
#include <kxl/kxl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/date_time/gregorian/gregorian.hpp>
#include <csignal>
#include <regex>
#include <thread>

#include "esd/resource_locker.h"
#include "platform/processes.h"
#include "platform/regular_file.h"
#include "stores/missing_components.h"
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

void WaitForLog(const char* line, std::size_t times = 1) {
  while (!fs::exists(UpdaterLog()) || Count(ReadLog(UpdaterLog()), line) < times) {
    std::this_thread::yield();
  }
}

TEST_F(EndToEnd, UpdatersAreNotFoundAnyMoreWhenTheyLookForTheLastTime) {
  const std::string large(20000000, 'x');
  const std::string folder = fs::path(DownloadedFile()).parent_path();
  WriteFile(InTestFolder("var/lib/Kelda/Updater6/Catalogue/one.dat"), large);
  WriteFile(DownloadedFile() + "_", "the user's own");
  WriteFile(folder + "/.kxl.part", "of one that was killed");
  WriteFile(SuppressPath(), "a\t2008-02-30 21:05:41\r\n");
  {
    kxl::KeldaUpdaterMissingCompsManager list;
    ASSERT_EQ(list.AddMissingComponent({"a", "A", "/a", 0, "o", "c", "1"}), kxl::AddResult::kAdded);
  }
  kxl::FileDescriptor working(open(folder.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(working.get(), LOCK_EX), 0);
  ChildProcess one(Updater);
  ChildProcess other(Updater);
  WaitForLog("Manual check\n", 2);
  while (kxl::FindUpdaterProcess(kxl::BringToFront::kNo)) std::this_thread::yield();
  working = kxl::FileDescriptor();
  EXPECT_EQ(one.Exit() + other.Exit(), 0);
  EXPECT_TRUE(ReadFile(DownloadedFile()) == large);
  EXPECT_FALSE(fs::exists(ComponentsPath()) || fs::exists(folder + "/.kxl.part"));
  EXPECT_TRUE(fs::remove(DownloadedFile() + "_"));
}

TEST_F(EndToEnd, AQuerysLockIsTakenFirstAndReleasedAtTheEnd) {
  esd::ResourceLocker preferences(PrefsPath(), 0);
  ASSERT_TRUE(preferences.Lock());
  const auto start = std::chrono::steady_clock::now();
  ChildProcess updater(Updater, {}, {{"notifyAppID", "a"}, {"notifyFile", InTestFolder("answer")}});
  while (!fs::exists(UpdaterLog()) && esd::ResourceLocker("KeldaUpdater6a", 0).Lock()) {
    std::this_thread::yield();
  }
  EXPECT_FALSE(fs::exists(UpdaterLog())) << "it has waited for the preferences before";
  kill(updater.Id(), SIGTERM);
  EXPECT_EQ(updater.Exit(), 0) << "a task that is under way is finished";
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(6)) << "waits once";
  EXPECT_EQ(Count(ReadFile(InTestFolder("answer")), "<Result>1<"), 1U);
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
