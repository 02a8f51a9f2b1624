#include <kxl/kxl.h>
#include <pthread.h>

#include <chrono>
#include <thread>

#include "esd/resource_locker.h"
#include "support/host.h"
#include "support/updater.h"

namespace {

using namespace kxl_test;

Call Register(const Text& id, const Text& name = "Name", const Text& folder = "/opt/app") {
  return {"RegisterApplication", id, name, folder};
}

Call Unregister(const Text& id) { return {"UnRegisterApplication", id}; }

std::size_t CountInList(const std::string& text) { return Count(ReadFile(ListPath()), text); }

std::size_t CountInLog(const std::string& text) { return Count(ReadLog(LibraryLog()), text); }

TEST(Registration, AnswersWhatWasDone) {
  WriteFile(ListPath(), "<Other>a foreign root</Other>");
  EXPECT_EQ(CallsInHost({Register("a"), Register("A")}), (std::vector{0, 0}));
  const auto written = fs::last_write_time(ListPath());
  EXPECT_EQ(CallsInHost({Register("a")}), std::vector{5});
  EXPECT_EQ(fs::last_write_time(ListPath()), written);
  EXPECT_EQ(CallsInHost({Register("a", "Name", "/<&>"), Unregister("c"), Unregister("KeldaUpdater"),
                         Register("b"), Unregister("b"), Unregister("b")}),
            (std::vector{0, 6, 4, 0, 0, 6}));
  EXPECT_EQ(ReadFile(ListPath()), ApplicationList(ApplicationEntry("A", "Name", "/opt/app") +
                                                  ApplicationEntry("a", "Name", "/&lt;&amp;&gt;")));
  EXPECT_EQ(ModeOf(ListPath()), 0664U);
  for (const char* text :
       {"\nSuccessfully registerred AppIdentifier: a\nAppName: Name\nAppFolder: /<&>\n",
        "\nNot already registered - AppIdentifier: c\n",
        "\nSuccessfully unregistered - AppIdentifier: b\n",
        "\nUnregistration failed - AppIdentifier: KeldaUpdater\n"}) {
    EXPECT_EQ(CountInLog(text), 1U) << text;
  }
  EXPECT_EQ(CountInLog("Launching KXL."), 0U);
}

TEST(Registration, TheLastOneStartsTheUpdater) {
  const StartedUpdater updater;
  const std::string settings = InTestFolder("home/.local/share/Kelda/Updater6/Data/a.aup.xml");
  const std::string outside = InTestFolder("home/.local/share/Kelda/Updater6/x.aup.xml");
  WriteFile(settings, "");
  WriteFile(outside, "");
  EXPECT_EQ(CallsInHost({Register("a"), Register("../x"), Unregister("a"), Unregister("../x")}),
            (std::vector{0, 0, 0, 0}));
  EXPECT_EQ(updater.Task(), "5 - -");
  EXPECT_EQ(CountInLog("\nLaunching KXL.\n"), 1U);
  EXPECT_FALSE(fs::exists(settings));
  EXPECT_TRUE(fs::exists(outside)) << "an identifier led out of the folder";
  EXPECT_FALSE(fs::exists(ListPath()));
}

std::string TwentyApplications() {
  std::string entries;
  for (int i = 0; i < 20; ++i) entries += ApplicationEntry("app" + std::to_string(i), "N", "/f");
  return ApplicationList(entries);
}

int RegisterOne(const Link& parent, const Arguments& /*arguments*/) {
  parent.Tell();
  return KXLRegisterApplication("new", "N", "/f");
}

// A lock that stays held is no reason to erase what it guards; one that is released in time, here
// after the first wait of 2 seconds, only delays.
TEST(Registration, AHeldLockCostsTimeAndNoEntry) {
  for (const int seconds : {5, 3}) {
    WriteFile(ListPath(), TwentyApplications());
    esd::ResourceLocker updater(ListPath(), 0);
    ASSERT_TRUE(updater.Lock());
    ChildProcess host(RegisterOne, {}, WithAccounts());
    ASSERT_TRUE(host.Await());
    std::this_thread::sleep_for(std::chrono::seconds(seconds));  // the other holder's work
    updater.Unlock(esd::Force::kNo);
    EXPECT_EQ(host.Exit(), seconds == 5 ? ESD_ERR_REGISTRATIONFAILED : ESD_ERR_OK);
    EXPECT_EQ(CountInList("<Application "), seconds == 5 ? 20U : 21U);
  }
}

// The list's attributes are not escaped: one bad entry would take all the others with it.
TEST(Registration, WhatWouldNotReadBackIsNotWritten) {
  WriteFile(ListPath(), TwentyApplications());
  EXPECT_EQ(CallsInHost({Register("a\"b"), Register("a&b"), Register("a<b"), Register("a\tb"),
                         Register("a", "\x02"), Register("a", "\xF4\x90\x80\x80"),
                         Register("a", "n", "\xED\xA0\x80"), Unregister("a&b")}),
            (std::vector{4, 4, 4, 4, 4, 4, 4, 6}));
  EXPECT_EQ(ReadFile(ListPath()), TwentyApplications());
  EXPECT_EQ(CallsInHost({Register("a'>b", "<\"&'>", "/a&b"), Register("a'>b", "<\"&'>", "/a&b")}),
            (std::vector{0, 5}));
  EXPECT_EQ(CountInList("<Application "), 21U);
  // Of what others have written only that is refused which would break the file.
  for (const char* foreign : {"a&#9;b&#10;", "a&lt;"}) {
    std::string list = TwentyApplications();
    list.replace(list.find("app7"), 4, foreign);
    WriteFile(ListPath(), list);
    const bool isKept = std::string_view(foreign).ends_with("&lt;");
    EXPECT_EQ(CallsInHost({Register("new")}), std::vector{isKept ? 4 : 0}) << foreign;
    EXPECT_EQ(CountInList(isKept ? foreign : "appID=\"a\tb\n\""), 1U);
  }
}

TEST(Registration, AFullDiskLosesNoEntry) {
  WriteFile(ListPath(), TwentyApplications());
  WriteFile(LibraryLog(), "");
  for (const char* limit : {"100", "1000"}) {
    EXPECT_EQ(CallsInHost({Register("new"), Unregister("app3"), Register("app3", "N", "/f")},
                          WithAccounts(), limit),
              (std::vector{4, 4, 5}));
    EXPECT_EQ(ReadFile(ListPath()), TwentyApplications());
    EXPECT_FALSE(fs::exists(ListPath() + ".damaged"));
  }
  fs::remove(ListPath());
  EXPECT_EQ(CallsInHost({Register("new")}, WithAccounts(), "100"), std::vector{4});
  EXPECT_FALSE(fs::exists(ListPath()));
}

void* CancelItself(void* /*nothing*/) {
  pthread_cancel(pthread_self());
  KXLRegisterApplication("a", "N", "/f");
  pthread_testcancel();
  return nullptr;
}

int CancelARegisteringThread(const Link& /*parent*/, const Arguments& /*arguments*/) {
  pthread_t thread;
  pthread_create(&thread, nullptr, CancelItself, nullptr);
  void* result = nullptr;
  pthread_join(thread, &result);
  return result == PTHREAD_CANCELED ? 0 : 1;
}

TEST(Registration, ACancelledThreadFinishesItsCall) {
  EXPECT_EQ(ChildProcess(CancelARegisteringThread, {}, WithAccounts()).Exit(), 0);
  EXPECT_EQ(CountInList("appID=\"a\""), 1U);
}

}  // namespace
