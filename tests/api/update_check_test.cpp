#include <kxl/kxl.h>

#include <chrono>
#include <ctime>

#include "esd/resource_locker.h"
#include "support/host.h"
#include "support/updater.h"

namespace {

using namespace kxl_test;

// The type is the last argument; all others as the function has them.
Call Trigger(const std::string& type, std::optional<std::string> id = "com.example",
             const std::string& language = "en-us") {
  return {"TriggerUpdateCheck", std::move(id), "Name", "/opt/app", language, type};
}

// What the library says of a check, without the frame of the call.
std::string Said() {
  const std::string log = ReadLog(LibraryLog());
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

// The settings that a check leaves behind.
std::string Marks() { return Setting("Launch") + Setting("InBackground") + Setting("InTrayIcon"); }

TEST(UpdateCheck, StartsTheUpdaterWithItsTask) {
  const StartedUpdater updater;
  const std::string notFirst = "<IsFirstRun>0</IsFirstRun>";
  const std::tuple<std::string, Call, const char*, const char*> cases[] = {
      {notFirst, Trigger("0"), "0 en_US com.example", "Manual--"},
      {notFirst, Trigger("1", "com.example", "fr"), "1 - com.example", "Scheduled11"},
      {notFirst, Trigger("2", std::nullopt, "de_DE.UTF-8"), "0 de_DE -", "Manual--"},
      {notFirst, Trigger("0", "a", "1n_US"), "0 - a", "Manual--"},
      {notFirst, Trigger("0", "a", "en_1S"), "0 en_ a", "Manual--"},
      // On first run with a manual one pending, and with a type of its own.
      {"<Launch>Manual</Launch><AutoCheckType>3</AutoCheckType>", Trigger("1"),
       "1 en_US com.example", "Manual--"},
      {notFirst + "<AutoCheckType>3</AutoCheckType>", Trigger("1"), "1 en_US com.example",
       "Scheduled10"}};
  for (const auto& [settings, call, task, marks] : cases) {
    WriteSettings(settings);
    EXPECT_EQ(CallsInHost({call}), std::vector{0});
    EXPECT_EQ(updater.Task(), task);
    EXPECT_EQ(Marks(), marks) << task;
  }
  StartedUpdater::Uninstall();
  fs::remove(LibraryLog());
  EXPECT_EQ(CallsInHost({Trigger("0")}), std::vector{2});
  EXPECT_EQ(Said(),
            "Has admin priv.\nTrigger Update: AppIdentifier: com.example\nAppFolder: /opt/app\n"
            "Update Type: =  Manual Update\nLaunching KXL.\n"
            "Launch Error.  Updater was not installed at the expected location.\n");
}

// A setting with the date so many days before today where the host is.
std::string CheckedDaysAgo(int days, const std::string& behind = "") {
  const std::time_t then = std::time(nullptr) + 14 * 3600 - days * 86400L;
  char text[64];
  std::strftime(text, sizeof text, "<LastDateCheck>%Y-%b-%d", gmtime(&then));
  return text + behind + "</LastDateCheck>";
}

TEST(UpdateCheck, KeepsToTheInterval) {
  const StartedUpdater updater;
  const std::string notDue =
      "A month has not passed by since last launch of Updater.  Not time to launch.\n";
  const std::string off = "Scheduled check not enabled.  Nothing to update.\n";
  const std::string monthly = "<AutoCheckFreq>2</AutoCheckFreq>";
  // What is said when it declines; nothing when the updater starts.
  const std::pair<std::string, std::string> cases[] = {
      {CheckedDaysAgo(6), "\n" + notDue},
      {CheckedDaysAgo(7), ""},
      {CheckedDaysAgo(27) + monthly, "\n" + notDue},
      {CheckedDaysAgo(31) + monthly, ""},
      {CheckedDaysAgo(0, " 23:09:53"), "\n" + notDue},
      {CheckedDaysAgo(0, " (checked)"), "\n" + notDue},
      {"<LastDateCheck>9999/December.31, by</LastDateCheck>", "\n" + notDue},
      {"<LastDateCheck>never</LastDateCheck>", ""},
      {"<LastDateCheck>2008-02-30</LastDateCheck>", ""},
      {"<LastDateCheck>2008-02-)380800</LastDateCheck>", ""},
      {"<AutoCheckFreq>often</AutoCheckFreq>", "\n" + notDue},
      {"<AutoCheck>0</AutoCheck>", off},
      {"<AutoCheck>true</AutoCheck>", ""},
      {"<AutoCheck>0</AutoCheck>" + CheckedDaysAgo(0), off + notDue}};
  Environment farEast = WithAccounts();
  farEast["TZ"] = "<+14>-14";
  for (const auto& [settings, declined] : cases) {
    WriteSettings(settings);
    fs::remove(LibraryLog());
    EXPECT_EQ(CallsInHost({Trigger("1")}, farEast), std::vector{0});
    EXPECT_TRUE(Said().ends_with(declined.empty() ? "Launching KXL.\n" : declined)) << settings;
    EXPECT_EQ(Setting("Launch"), declined.empty() ? "Scheduled" : "-") << settings;
    if (declined.empty()) updater.Task();
  }
}

TEST(UpdateCheck, AnybodysHoldSuppressesAScheduledOne) {
  const StartedUpdater updater;
  CallsInHost({{"SuppressUpdates", "someone.else", "1000"}});
  EXPECT_EQ(CallsInHost({Trigger("1")}), std::vector{KXL_CHECK_SUPPRESSED + 0});
  EXPECT_EQ(Said(), "");
  // Holds that cannot be read suppress nothing.
  WriteFile(SuppressPath(), "a\t2030-02-30 00:00:00\r\n");
  EXPECT_EQ(CallsInHost({Trigger("1")}), std::vector{0});
  updater.Task();
}

TEST(UpdateCheck, RefreshesAsAsked) {
  const StartedUpdater updater;
  for (const char* name : {"n", "n", "other"}) {
    EXPECT_EQ(CallsInHost({{"TriggerUpdateCheck", "i", name, "/f", "", "0", "refresh"}}),
              std::vector{0});
    EXPECT_EQ(updater.Task(), "0 - i");
    EXPECT_EQ(Count(ReadFile(ListPath()), std::string("<DisplayName>") + name), 1U);
  }
  EXPECT_EQ(CallsInHost({{"TriggerUpdateCheck", "a&b", "n", "/f", "", "0", "refresh"}}),
            std::vector{6});
}

TEST(UpdateCheck, AHeldPreferenceFileCostsThreeSecondsAndBlocksNothing) {
  const StartedUpdater updater;
  WriteSettings("<AutoCheck>0</AutoCheck>");
  esd::ResourceLocker holder(PrefsPath(), 0);
  ASSERT_TRUE(holder.Lock());
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(CallsInHost({Trigger("1")}), std::vector{0});
  const auto time = std::chrono::steady_clock::now() - start;
  EXPECT_GE(time, std::chrono::seconds(3));
  EXPECT_LT(time, std::chrono::seconds(5));
  EXPECT_EQ(updater.Task(), "1 en_US com.example");
}

TEST(UpdateCheck, TheLogIsWhereThePreferencesPutIt) {
  const std::string own = InTestFolder("own.log");
  WriteSettings("<logFileLib>" + own + "</logFileLib><logLevel>3</logLevel>");
  CallsInHost({{"GetVersion"}});
  EXPECT_EQ(Count(ReadLog(own), "\nlogFile: = " + own + "\nlogLevel: = 3\n"), 1U);
  for (const char* level : {"0", "-1"}) {
    WriteSettings("<logLevel>" + std::string(level) + "</logLevel>");
    EXPECT_EQ(CallsInHost({{"GetVersion"}}), std::vector{6});
  }
  EXPECT_FALSE(fs::exists(LibraryLog()));
}

}  // namespace
