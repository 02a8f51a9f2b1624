#include <kxl/kxl.h>
#include <pthread.h>

#include <chrono>
#include <list>
#include <thread>

#include "esd/resource_locker.h"
#include "support/host.h"
#include "support/updater.h"

namespace {

using namespace kxl_test;

using Text = std::optional<std::string>;

Call Register(const Text& id, const Text& name = "Name", const Text& folder = "/opt/app") {
  return {"RegisterApplication", id, name, folder};
}

Call Unregister(const Text& id) { return {"UnRegisterApplication", id}; }

std::size_t CountInList(const std::string& text) { return Count(ReadFile(ListPath()), text); }

std::size_t CountInLog(const std::string& text) { return Count(ReadLog(LibraryLog()), text); }

TEST(Registration, AnswersWhatWasDone) {
  EXPECT_EQ(
      CallsInHost({Register("a"), Register("a"), Register("a", "Name", "/moved"), Register("b"),
                   Unregister("c"), Unregister("a"), Unregister("a"), Unregister("KeldaUpdater")}),
      (std::vector{0, 5, 0, 0, 6, 0, 6, 4}));
  EXPECT_EQ(CountInList("<Application "), 1U);
  for (const char* text :
       {"\nSuccessfully registerred AppIdentifier: a\nAppName: Name\nAppFolder: /moved\n",
        "\nNot already registered - AppIdentifier: c\n",
        "\nSuccessfully unregistered - AppIdentifier: a\n",
        "\nUnregistration failed - AppIdentifier: KeldaUpdater\n"}) {
    EXPECT_EQ(CountInLog(text), 1U) << text;
  }
  EXPECT_EQ(CountInLog("Launching KXL."), 0U);
}

TEST(Registration, RefusesInvalidArguments) {
  const auto none = std::nullopt;
  EXPECT_EQ(CallsInHost({Register(none), Register(""), Register("i", none), Register("i", ""),
                         Register("i", std::string(513, 'n')), Register("i", "\xC0\x80"),
                         Register("i", "n", none), Register("i", "n", ""),
                         Register("i", "n", "/\xFF"), Unregister(none), Unregister("")}),
            std::vector(11, 3));
  EXPECT_EQ(
      CallsInHost({Register("i", std::string(512, 'n')), Register("i", "n", std::string(255, '/')),
                   Register(std::string(256, '\x7F'))}),
      std::vector(3, 0));
  EXPECT_EQ(CountInLog("Will reject"), 0U);
  EXPECT_EQ(CallsInHost({Register("i", "n", std::string(256, '/')), Register("caf\xE9"),
                         Register(std::string(257, 'i')), Unregister(std::string(257, 'i'))}),
            std::vector(4, 3));
  const std::pair<const char*, std::size_t> refusals[] = {
      {"\nSpecified app directory is more than or equal to 255 chars.", 1},
      {"\nApp ID must only contain ANSI character values 0-127.", 1},
      {"\nApp ID must be less than 256 characters.", 2}};
  for (const auto& [text, count] : refusals) {
    EXPECT_EQ(CountInLog(text + std::string(" Will reject processing request.\n")), count) << text;
  }
}

TEST(Registration, IsForAdministrators) {
  const auto environment = WithFreeIdentity("admin:x:5000:kelly\nguest:x:2000:\n");
  EXPECT_EQ(CallsInHost({Register("a"), Unregister("a"), Register("")}, environment, "guest"),
            (std::vector{4, 4, 3}));
  EXPECT_FALSE(fs::exists(ListPath()));
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

int RegisterMany(const Link& parent, const Arguments& arguments) {
  for (int i = 0; i < 50; ++i) {
    const std::string id = arguments[0] + "." + std::to_string(i);
    parent.Write(KXLRegisterApplication(id.c_str(), "N", "/f") == ESD_ERR_OK ? "1" : "0");
  }
  return 0;
}

TEST(Registration, ManyProcessesLoseNothingThatWasAnswered) {
  const Environment accounts = WithAccounts();
  std::list<ChildProcess> hosts;
  const std::string names[] = {"a", "b", "c", "d"};
  for (const auto& name : names) hosts.emplace_back(RegisterMany, Arguments{name}, accounts);
  for (const auto& name : names) {
    // Each waits 4 seconds for a lock that is held for milliseconds.
    EXPECT_EQ(hosts.front().ReadAll(), std::string(50, '1')) << name;
    EXPECT_EQ(hosts.front().Exit(), 0);
    hosts.pop_front();
  }
  for (const auto& name : names) {
    for (int i = 0; i < 50; ++i) {
      const std::string id = name + "." + std::to_string(i);
      EXPECT_EQ(CountInList("appID=\"" + id + "\""), 1U) << id;
    }
  }
}

std::string TwentyApplications() {
  std::string list = "<KeldaUpdaterRegistrationManager>";
  for (int i = 0; i < 20; ++i) {
    list += "<Application appID=\"app" + std::to_string(i) +
            "\"><DisplayName>N</DisplayName><InstallPath>/f</InstallPath></Application>";
  }
  return list + "</KeldaUpdaterRegistrationManager>";
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

TEST(Registration, ADamagedListIsSetAsideAndBegunAnew) {
  for (const char* damaged : {"<KeldaUpdaterRegistrationManager><Appl", "", "no xml"}) {
    WriteFile(ListPath(), damaged);
    EXPECT_EQ(CallsInHost({Unregister("a"), Register("a"), Register("a")}), (std::vector{4, 0, 5}));
    EXPECT_EQ(CountInList("<Application "), 1U);
    EXPECT_EQ(ReadFile(ListPath() + ".damaged"), damaged);
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
  EXPECT_EQ(CallsInHost({Register("a'>b", "<\"&'>", "/a&b")}), std::vector{0});
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
