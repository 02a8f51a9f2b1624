#include <gtest/gtest.h>
#include <kxl/kxl.h>

#include <chrono>
#include <ctime>
#include <filesystem>

#include "esd/resource_locker.h"
#include "support/host.h"
#include "support/test_folder.h"
#include "support/updater.h"

namespace {

namespace fs = std::filesystem;
using kxl_test::Call;
using kxl_test::CallsInHost;
using kxl_test::PrefsPath;
using kxl_test::ReadFile;
using kxl_test::WithAccounts;
using kxl_test::WriteFile;

constexpr char kSwitchedOff[] =
    "<plist version=\"1.0\"><dict><key>Disable.Update</key><true/></dict></plist>";

// The type is the last argument; all others as the function has them.
Call Trigger(const std::string& type, std::optional<std::string> id = "com.example",
             const std::string& language = "en-us") {
  return {"TriggerUpdateCheck", std::move(id), "Name", "/opt/app", language, type};
}

void WriteSettings(const std::string& settings) {
  WriteFile(PrefsPath(), "<KeldaUpdater>" + settings + "</KeldaUpdater>");
}

// What the library says of a check, without the frame of the call.
std::string Said() {
  const std::string log = kxl_test::ReadLog(kxl_test::LibraryLog());
  const std::size_t start = log.find("bOverrideData = = false\n") + 24;
  return log.substr(start, log.find("return code") - start);
}

std::string Setting(const std::string& key) {
  const std::string text = ReadFile(PrefsPath());
  const std::size_t start = text.find("<" + key + ">");
  if (start == std::string::npos) return "-";
  const std::size_t value = start + key.size() + 2;
  return text.substr(value, text.find('<', value) - value);
}

TEST(UpdateCheck, IsForAdministratorsUnlessSwitchedOff) {
  EXPECT_EQ(CallsInHost({{"IsUpdateCheckEnabled"}}, WithAccounts()), std::vector{1});
  EXPECT_NE(kxl_test::ReadLog(kxl_test::LibraryLog())
                .find("In KXIsUpdateCheckEnabled(...)\nHas admin priv.\nreturn code = 1\n"),
            std::string::npos);
  const auto guest = kxl_test::WithFreeIdentity("admin:x:5000:kelly\nguest:x:2000:\n");
  EXPECT_EQ(CallsInHost({{"IsUpdateCheckEnabled"}, Trigger("0"), Trigger("1")}, guest, "guest"),
            (std::vector{0, 7, 7}));
  WriteFile(kxl_test::AdminListPath(), kSwitchedOff);
  EXPECT_EQ(CallsInHost({{"IsUpdateCheckEnabled"}, Trigger("0"), Trigger("1"), Trigger("2")},
                        WithAccounts()),
            (std::vector{0, 7, 7, 7}));
}

TEST(UpdateCheck, StartsTheUpdaterWithItsTask) {
  const kxl_test::StartedUpdater updater;
  const struct {
    Call call;
    const char* task;
    const char* settings[4];  // Launch, InBackground, InTrayIcon after it
  } cases[] = {{Trigger("0"), "0 en_US com.example", {"Manual", "-", "-"}},
               {Trigger("1", "com.example", "fr"), "1 - com.example", {"Scheduled", "1", "1"}},
               {Trigger("2", std::nullopt, "de_DE.UTF-8"), "0 de_DE -", {"Manual", "-", "-"}},
               {Trigger("0", "a", "1n_US"), "0 - a", {"Manual", "-", "-"}},
               {Trigger("0", "a", "en_1S"), "0 en_ a", {"Manual", "-", "-"}}};
  for (const auto& [call, task, settings] : cases) {
    WriteSettings("<IsFirstRun>0</IsFirstRun>");
    EXPECT_EQ(CallsInHost({call}, WithAccounts()), std::vector{0});
    EXPECT_EQ(updater.Task(), task);
    EXPECT_EQ(Setting("Launch"), settings[0]) << task;
    EXPECT_EQ(Setting("InBackground"), settings[1]) << task;
    EXPECT_EQ(Setting("InTrayIcon"), settings[2]) << task;
  }
  kxl_test::StartedUpdater::Uninstall();
  fs::remove(kxl_test::LibraryLog());
  EXPECT_EQ(CallsInHost({Trigger("0")}, WithAccounts()), std::vector{2});
  EXPECT_EQ(
      Said(),
      "Has admin priv.\n"
      "Trigger Update: AppIdentifier: com.example\nAppFolder: /opt/app\nUpdate Type: =  Manual "
      "Update\nLaunching KXL.\nLaunch Error.  Updater was not installed at the expected "
      "location.\n");
}

TEST(UpdateCheck, AScheduledOneOnFirstRunOrPendingManualChangesNoMore) {
  const kxl_test::StartedUpdater updater;
  WriteSettings("<Launch>Manual</Launch><AutoCheckType>3</AutoCheckType>");
  EXPECT_EQ(CallsInHost({Trigger("1")}, WithAccounts()), std::vector{0});
  EXPECT_EQ(updater.Task(), "1 en_US com.example");
  EXPECT_EQ(Setting("Launch") + Setting("InBackground"), "Manual-");
  WriteSettings("<IsFirstRun>0</IsFirstRun><AutoCheckType>3</AutoCheckType>");
  EXPECT_EQ(CallsInHost({Trigger("1")}, WithAccounts()), std::vector{0});
  updater.Task();
  EXPECT_EQ(Setting("Launch") + Setting("InTrayIcon"), "Scheduled0");
}

// A date so many days before today where the host is.
std::string DaysAgo(int days) {
  const std::time_t then = std::time(nullptr) + 14 * 3600 - days * 86400L;
  char text[16];
  std::strftime(text, sizeof text, "%Y-%m-%d", gmtime(&then));
  return text;
}

TEST(UpdateCheck, KeepsToTheInterval) {
  const kxl_test::StartedUpdater updater;
  const std::string notDue =
      "A month has not passed by since last launch of Updater.  Not time to launch.\n";
  const std::string off = "Scheduled check not enabled.  Nothing to update.\n";
  const struct {
    std::string settings;
    std::string declined;  // what is said; empty when the updater starts
  } cases[] = {
      {"<LastDateCheck>" + DaysAgo(6) + "</LastDateCheck>", "\n" + notDue},
      {"<LastDateCheck>" + DaysAgo(7) + "</LastDateCheck>", ""},
      {"<LastDateCheck>" + DaysAgo(27) + "</LastDateCheck><AutoCheckFreq>2</AutoCheckFreq>",
       "\n" + notDue},
      {"<LastDateCheck>" + DaysAgo(31) + "</LastDateCheck><AutoCheckFreq>2</AutoCheckFreq>", ""},
      {"<LastDateCheck>2008.Mar,31</LastDateCheck>", ""},
      {"<LastDateCheck>never</LastDateCheck>", ""},
      {"<LastDateCheck>2008-02-30</LastDateCheck>", ""},
      {"<AutoCheckFreq>often</AutoCheckFreq>", "\n" + notDue},
      {"<AutoCheck>0</AutoCheck>", off},
      {"<AutoCheck>true</AutoCheck>", ""},
      {"<AutoCheck>0</AutoCheck><LastDateCheck>" + DaysAgo(0) + "</LastDateCheck>", off + notDue}};
  kxl_test::Environment farEast = WithAccounts();
  farEast["TZ"] = "<+14>-14";
  for (const auto& [settings, declined] : cases) {
    WriteSettings(settings);
    fs::remove(kxl_test::LibraryLog());
    EXPECT_EQ(CallsInHost({Trigger("1")}, farEast), std::vector{0});
    EXPECT_TRUE(Said().ends_with(declined.empty() ? "Launching KXL.\n" : declined)) << settings;
    EXPECT_EQ(Setting("Launch"), declined.empty() ? "Scheduled" : "-") << settings;
    if (declined.empty()) updater.Task();
  }
}

TEST(UpdateCheck, AnybodysHoldSuppressesAScheduledOne) {
  const kxl_test::StartedUpdater updater;
  CallsInHost({{"SuppressUpdates", "someone.else", "1000"}}, WithAccounts());
  EXPECT_EQ(CallsInHost({Trigger("1")}, WithAccounts()), std::vector{KXL_CHECK_SUPPRESSED + 0});
  EXPECT_EQ(Said(), "");
  EXPECT_EQ(CallsInHost({Trigger("0")}, WithAccounts()), std::vector{0});
  updater.Task();
  // Holds that cannot be read suppress nothing.
  WriteFile(kxl_test::SuppressPath(), "a\t2030-02-30 00:00:00\r\n");
  EXPECT_EQ(CallsInHost({Trigger("1")}, WithAccounts()), std::vector{0});
  updater.Task();
}

TEST(UpdateCheck, RefusesAndRefreshesAsAsked) {
  const kxl_test::StartedUpdater updater;
  const auto call = [](std::optional<std::string> id, std::optional<std::string> name,
                       std::optional<std::string> folder, const char* refresh) {
    return Call{
        "TriggerUpdateCheck", std::move(id), std::move(name), std::move(folder), "", "0", refresh};
  };
  const auto none = std::nullopt;
  EXPECT_EQ(
      CallsInHost(
          {call("", "n", "/f", ""), call("i", none, "/f", ""), call("i", "n", none, ""),
           call("i", "n", std::string(256, '/'), ""), call("i", "\xFF", "/f", ""),
           call(std::string(257, 'i'), "n", "/f", "refresh"), call("a&b", "n", "/f", "refresh")},
          WithAccounts()),
      (std::vector{3, 3, 3, 3, 3, 3, 6}));
  EXPECT_FALSE(fs::exists(kxl_test::ListPath()));
  for (const char* name : {"n", "n", "other"}) {
    EXPECT_EQ(CallsInHost({call("i", name, "/f", "refresh")}, WithAccounts()), std::vector{0});
    EXPECT_EQ(updater.Task(), "0 - i");
    EXPECT_NE(ReadFile(kxl_test::ListPath()).find(std::string("<DisplayName>") + name),
              std::string::npos);
  }
}

TEST(UpdateCheck, AHeldPreferenceFileCostsThreeSecondsAndBlocksNothing) {
  const kxl_test::StartedUpdater updater;
  WriteSettings("<AutoCheck>0</AutoCheck>");
  esd::ResourceLocker holder(PrefsPath(), 0);
  ASSERT_TRUE(holder.Lock());
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(CallsInHost({Trigger("1")}, WithAccounts()), std::vector{0});
  const auto time = std::chrono::steady_clock::now() - start;
  EXPECT_GE(time, std::chrono::seconds(3));
  EXPECT_LT(time, std::chrono::seconds(5));
  EXPECT_EQ(updater.Task(), "1 en_US com.example");
}

CHILD_BODY(TriggerOften) {
  const Call call = {"TriggerUpdateCheck", std::nullopt, std::nullopt,
                     std::nullopt,         std::nullopt, arguments[0]};
  int failures = 0;
  for (int i = 0; i < 10; ++i) failures += kxl_test::MakeCall(call) != ESD_ERR_KX;
  return failures;
}

// All write the one file in place; whoever reads it in between must not take the half for the
// whole.
TEST(UpdateCheck, ManyAtOnceLoseNoSetting) {
  fs::create_directory(kxl_test::InTestFolder("opt"));
  WriteSettings(
      "<IsFirstRun>0</IsFirstRun><LastDateCheck>2008-03-31</LastDateCheck><Foreign>f"
      "</Foreign><AutoCheckType>0</AutoCheckType>");
  const kxl_test::Environment accounts = WithAccounts();
  std::vector<std::unique_ptr<kxl_test::ChildProcess>> hosts;
  for (const char* type : {"1", "0", "1", "0"}) {
    hosts.push_back(std::make_unique<kxl_test::ChildProcess>("TriggerOften",
                                                             kxl_test::Arguments{type}, accounts));
  }
  for (const auto& host : hosts) EXPECT_EQ(host->Exit(), 0);
  EXPECT_EQ(Setting("LastDateCheck") + Setting("Foreign") + Setting("IsFirstRun"), "2008-03-31f0");
  EXPECT_EQ(Setting("InBackground") + Setting("InTrayIcon"), "11");
}

TEST(UpdateCheck, TheLogIsWhereThePreferencesPutIt) {
  const std::string own = kxl_test::InTestFolder("own.log");
  WriteSettings("<logFileLib>" + own + "</logFileLib><logLevel>3</logLevel>");
  CallsInHost({{"GetVersion"}}, WithAccounts());
  EXPECT_TRUE(kxl_test::ReadLog(own).starts_with(
      ">>> Kelda Updater Log Begin >>>\nlogFile: = " + own + "\nlogLevel: = 3\n"));
  for (const char* level : {"0", "-1"}) {
    WriteSettings("<logLevel>" + std::string(level) + "</logLevel>");
    EXPECT_EQ(CallsInHost({{"GetVersion"}}, WithAccounts()), std::vector{6});
  }
  EXPECT_FALSE(fs::exists(kxl_test::LibraryLog()));
}

}  // namespace
