#include <gtest/gtest.h>
#include <kxl/kxl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "esd/resource_locker.h"
#include "support/host.h"
#include "support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using kxl_test::Call;
using kxl_test::CallsInHost;
using kxl_test::ChildProcess;
using kxl_test::InTestFolder;
using kxl_test::LibraryLog;
using kxl_test::ListPath;
using kxl_test::ReadFile;
using kxl_test::WithAccounts;
using kxl_test::WriteFile;

Call Register(const std::string& id, const std::string& name = "Name",
              const std::string& folder = "/opt/app") {
  return {"RegisterApplication", id, name, folder};
}

Call Unregister(const std::string& id) { return {"UnRegisterApplication", id}; }

std::size_t CountInList(const std::string& text) {
  const std::string list = ReadFile(ListPath());
  std::size_t count = 0;
  for (std::size_t at = 0; (at = list.find(text, at)) != std::string::npos; ++at) ++count;
  return count;
}

bool LogHas(const std::string& text) {
  return ReadFile(LibraryLog()).find(text) != std::string::npos;
}

TEST(Registration, AnswersWhatWasDone) {
  EXPECT_EQ(
      CallsInHost({Register("a"), Register("a"), Register("a", "Name", "/moved"), Register("b"),
                   Unregister("c"), Unregister("a"), Unregister("a"), Unregister("KeldaUpdater")},
                  WithAccounts()),
      (std::vector{0, 5, 0, 0, 6, 0, 6, 4}));
  EXPECT_EQ(CountInList("<Application "), 1U);
  EXPECT_TRUE(
      LogHas(": Successfully registerred AppIdentifier: a\nAppName: Name\nAppFolder: /moved"));
  EXPECT_TRUE(LogHas(": Not already registered - AppIdentifier: c\n"));
  EXPECT_TRUE(LogHas(": Successfully unregistered - AppIdentifier: a\n"));
  EXPECT_TRUE(LogHas(": Unregistration failed - AppIdentifier: KeldaUpdater\n"));
  EXPECT_FALSE(LogHas("Launching KXL."));
}

TEST(Registration, RefusesInvalidArguments) {
  const auto none = std::nullopt;
  const std::string tooLong =
      ": Specified app directory is more than or equal to 255 chars. Will reject processing "
      "request.";
  const std::string notPlain =
      ": App ID must only contain ANSI character values 0-127. Will reject processing request.";
  const std::string longId =
      ": App ID must be less than 256 characters. Will reject processing request.";
  const struct {
    Call call;
    int code;
    std::string message;
  } cases[] = {{{"RegisterApplication", none, "n", "/f"}, 3, ""},
               {{"RegisterApplication", "i", none, "/f"}, 3, ""},
               {{"RegisterApplication", "i", "n", none}, 3, ""},
               {Register(""), 3, ""},
               {Register("i", ""), 3, ""},
               {Register("i", "n", ""), 3, ""},
               {Register("i", std::string(512, 'n')), 0, ": Successfully registerred"},
               {Register("i", std::string(513, 'n')), 3, ""},
               {Register("i", "\xC0\x80"), 3, ""},
               {Register("i", "\xED\xA0\x80"), 4, ""},  // valid, but nothing that XML can carry
               {Register("i", "n", "/\xFF"), 3, ""},
               {Register("i", "n", std::string(255, '/')), 0, ": Successfully registerred"},
               {Register("i", "n", std::string(256, '/')), 3, tooLong},
               {Register(std::string(256, 'i')), 0, ": Successfully registerred"},
               {Register(std::string(257, 'i')), 3, longId},
               {Register("caf\xE9"), 3, notPlain},
               {{"UnRegisterApplication", none}, 3, ""},
               {Unregister(""), 3, ""},
               {Unregister(std::string(257, 'i')), 3, longId}};
  for (const auto& [call, code, message] : cases) {
    fs::remove(LibraryLog());
    EXPECT_EQ(CallsInHost({call}, WithAccounts()), std::vector{code}) << *call[0] << code;
    EXPECT_EQ(LogHas(message), true) << message;
    if (message.empty()) {
      EXPECT_FALSE(LogHas("Will reject"));
    }
  }
}

TEST(Registration, IsForAdministrators) {
  const auto environment = kxl_test::WithFreeIdentity("admin:x:5000:kelly\nguest:x:2000:\n");
  EXPECT_EQ(CallsInHost({Register("a"), Unregister("a"), Register("")}, environment, "guest"),
            (std::vector{4, 4, 3}));
  EXPECT_FALSE(fs::exists(ListPath()));
}

TEST(Registration, TheLastOneStartsTheUpdater) {
  const std::string settings = InTestFolder("home/.local/share/Kelda/Updater6/Data/a.aup.xml");
  const std::string outside = InTestFolder("home/.local/share/Kelda/Updater6/x.aup.xml");
  WriteFile(settings, "");
  WriteFile(outside, "");
  WriteFile(kxl_test::UpdaterExecutable(), "#!/bin/sh\necho $KX_LAUNCH_MODE >\"$KXL_ROOT/fifo\"\n");
  chmod(kxl_test::UpdaterExecutable().c_str(), 0755);
  ASSERT_EQ(mkfifo(InTestFolder("fifo").c_str(), 0600), 0);
  EXPECT_EQ(CallsInHost({Register("a"), Register("../x"), Unregister("a"), Unregister("../x")},
                        WithAccounts()),
            (std::vector{0, 0, 0, 0}));
  EXPECT_EQ(ReadFile(InTestFolder("fifo")), "5\n");
  EXPECT_TRUE(LogHas(": Launching KXL.\n"));
  EXPECT_FALSE(fs::exists(settings));
  EXPECT_TRUE(fs::exists(outside)) << "an identifier led out of the folder";
  EXPECT_FALSE(fs::exists(ListPath()));
}

CHILD_BODY(RegisterMany) {
  std::string answers;
  for (int i = 0; i < 50; ++i) {
    const std::string id = arguments[0] + "." + std::to_string(i);
    answers += KXLRegisterApplication(id.c_str(), "N", "/f") == ESD_ERR_OK ? '1' : '0';
  }
  parent.Write(answers);
  return 0;
}

TEST(Registration, ManyProcessesLoseNothingThatWasAnswered) {
  const kxl_test::Environment accounts = WithAccounts();
  std::vector<std::unique_ptr<ChildProcess>> hosts;
  for (const char* name : {"a", "b", "c", "d"}) {
    hosts.push_back(
        std::make_unique<ChildProcess>("RegisterMany", kxl_test::Arguments{name}, accounts));
  }
  std::size_t registered = 0;
  const char* const names = "abcd";
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    const std::string answers = hosts[i]->ReadAll();
    ASSERT_EQ(answers.size(), 50U);
    for (std::size_t n = 0; n < answers.size(); ++n) {
      if (answers[n] != '1') continue;
      ++registered;
      const std::string id = std::string(1, names[i]) + "." + std::to_string(n);
      EXPECT_EQ(CountInList("appID=\"" + id + "\""), 1U) << id;
    }
    EXPECT_EQ(hosts[i]->Exit(), 0);
  }
  EXPECT_EQ(registered, 200U) << "each waits 4 seconds for a lock that is held for milliseconds";
}

std::string TwentyApplications() {
  std::string list = "<KeldaUpdaterRegistrationManager>";
  for (int i = 0; i < 20; ++i) {
    list += "<Application appID=\"app" + std::to_string(i) + "\"><DisplayName>N</DisplayName>" +
            "<InstallPath>/f</InstallPath></Application>";
  }
  return list + "</KeldaUpdaterRegistrationManager>";
}

// A lock that stays held is no reason to erase what it guards.
// A lock that stays held is no reason to erase what it guards; one that is released in time, here
// after the first wait of 2 seconds, only delays.
TEST(Registration, AHeldLockCostsTimeAndNoEntry) {
  for (const int seconds : {5, 3}) {
    WriteFile(ListPath(), TwentyApplications());
    esd::ResourceLocker updater(ListPath(), 0);
    ASSERT_TRUE(updater.Lock());
    ChildProcess host("RegisterOne", {}, WithAccounts());
    ASSERT_TRUE(host.Await());
    std::this_thread::sleep_for(std::chrono::seconds(seconds));  // the other holder's work
    updater.Unlock(esd::Force::kNo);
    EXPECT_EQ(host.Exit(), seconds == 5 ? ESD_ERR_REGISTRATIONFAILED : ESD_ERR_OK);
    EXPECT_EQ(CountInList("<Application "), seconds == 5 ? 20U : 21U);
  }
}

CHILD_BODY(RegisterOne) {
  parent.Tell();
  return KXLRegisterApplication("new", "N", "/f");
}

TEST(Registration, ADamagedListIsSetAsideAndBegunAnew) {
  for (const char* damaged : {"<KeldaUpdaterRegistrationManager><Appl", "", "no xml"}) {
    WriteFile(ListPath(), damaged);
    EXPECT_EQ(CallsInHost({Unregister("a"), Register("a"), Register("a")}, WithAccounts()),
              (std::vector{4, 0, 5}));
    EXPECT_EQ(CountInList("<Application "), 1U);
    EXPECT_EQ(ReadFile(ListPath() + ".damaged"), damaged);
  }
}

// The list's attributes are not escaped: one bad entry would take all the others with it.
TEST(Registration, WhatWouldNotReadBackIsNotWritten) {
  WriteFile(ListPath(), TwentyApplications());
  EXPECT_EQ(CallsInHost({Register("a\"b"), Register("a&b"), Register("a<b"), Register("a\tb"),
                         Register("a", "\x02"), Register("a", "\xF4\x90\x80\x80"),
                         Register("a", "n", "\xED\xA0\x80"), Unregister("a&b")},
                        WithAccounts()),
            (std::vector{4, 4, 4, 4, 4, 4, 4, 6}));
  EXPECT_EQ(ReadFile(ListPath()), TwentyApplications());
  EXPECT_EQ(CallsInHost({Register("a'>b", "<\"&'>", "/a&b")}, WithAccounts()), std::vector{0});
  EXPECT_EQ(CountInList("<Application "), 21U);
}

TEST(Registration, AFullDiskLosesNoEntry) {
  WriteFile(ListPath(), TwentyApplications());
  WriteFile(LibraryLog(), "");
  for (const char* limit : {"limit 100", "limit 1000"}) {
    EXPECT_EQ(CallsInHost({Register("new"), Unregister("app3"), Register("app3", "N", "/f")},
                          WithAccounts(), limit),
              (std::vector{4, 4, 5}));
    EXPECT_EQ(ReadFile(ListPath()), TwentyApplications());
    EXPECT_FALSE(fs::exists(ListPath() + ".damaged"));
  }
}

CHILD_BODY(CancelARegisteringThread) {
  pthread_t thread;
  pthread_create(
      &thread, nullptr,
      [](void*) -> void* {
        pthread_cancel(pthread_self());
        KXLRegisterApplication("a", "N", "/f");
        pthread_testcancel();
        return nullptr;
      },
      nullptr);
  void* result = nullptr;
  pthread_join(thread, &result);
  return result == PTHREAD_CANCELED ? 0 : 1;
}

TEST(Registration, ACancelledThreadFinishesItsCall) {
  ChildProcess host("CancelARegisteringThread", {}, WithAccounts());
  EXPECT_EQ(host.Exit(), 0);
  EXPECT_EQ(CountInList("appID=\"a\""), 1U);
}

}  // namespace
