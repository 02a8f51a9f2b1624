#include <kxl/kxl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "esd/resource_locker.h"
#include "platform/session_bus.h"
#include "support/test_folder.h"
#include "support/updater.h"

namespace {

using namespace kxl_test;

std::string Line(const std::string& id, std::time_t fromNow) {
  const std::time_t end = std::time(nullptr) + fromNow;
  char text[32];
  std::strftime(text, sizeof text, "\t%Y-%m-%d %H:%M:%S\r\n", gmtime(&end));
  return id + text;
}

int Set(const std::string& id, std::uint32_t seconds, std::uint32_t* stored = nullptr) {
  const int code = KXLSuppressUpdates(const_cast<char*>(id.c_str()), nullptr, &seconds, 0);
  if (stored != nullptr) *stored = seconds;
  return code;
}

// What is left of the hold, or minus the code. A test may take a second or two.
int Left(const std::string& id) {
  std::uint32_t seconds = 12345;
  const int code = KXLSuppressUpdates(const_cast<char*>(id.c_str()), nullptr, &seconds, 1);
  return code == 0 ? static_cast<int>(seconds) : -code;
}

TEST(Suppression, SetsClearsAndAsks) {
  setenv("TZ", "right/Pacific/Kiritimati", 1);  // 14 hours from UTC, and some leap seconds
  tzset();
  std::uint32_t stored = 0;
  EXPECT_EQ(Set("a", 100), 0);
  EXPECT_EQ(Set("b", 50000, &stored), 0);
  EXPECT_EQ(stored, 43200U);
  EXPECT_NEAR(Left("a"), 100, 5);
  EXPECT_NEAR(Left("b"), 43200, 5);
  EXPECT_EQ(Left("A"), 0);
  EXPECT_EQ(Set("a", 200), 0);
  EXPECT_NEAR(Left("a"), 200, 5);
  const auto time = fs::last_write_time(SuppressPath());
  EXPECT_EQ(Set("c", 0), 0) << "there was none";
  EXPECT_EQ(fs::last_write_time(SuppressPath()), time) << "written for nothing";
  EXPECT_TRUE(ReadFile(SuppressPath()).starts_with("b\t")) << "a moved to the end";
  EXPECT_EQ(Set("b", 0), 0);
  EXPECT_EQ(KXLSuppressUpdates(const_cast<char*>("a"), nullptr, nullptr, 0), 0);
  EXPECT_FALSE(fs::exists(SuppressPath()));
  setenv("TZ", "UTC", 1);
  tzset();
}

TEST(Suppression, FindsTheLongestHold) {
  char buffer[8] = "";
  std::uint32_t size = sizeof buffer;
  std::uint32_t seconds = 7;
  EXPECT_EQ(KXLSuppressUpdates(buffer, &size, &seconds, 1), 0);
  EXPECT_EQ(size + seconds, 0U);
  WriteFile(SuppressPath(), Line("x", 50) + Line("abcd", 100) + Line("z", 100));
  for (const std::uint32_t given : {3U, 8U}) {
    size = given;
    EXPECT_EQ(KXLSuppressUpdates(buffer, &size, &seconds, 1), 0);
    EXPECT_EQ(size, 5U);
    EXPECT_STREQ(buffer, given == 3 ? "" : "abcd");
    EXPECT_NEAR(seconds, 100, 5);
  }
  EXPECT_EQ(KXLSuppressUpdates(nullptr, &size, nullptr, 1), 0);
  EXPECT_EQ(KXLSuppressUpdates(nullptr, nullptr, nullptr, 1), ESD_ERR_INVALIDDATA);
  EXPECT_EQ(KXLSuppressUpdates(const_cast<char*>("x"), &size, nullptr, 1), ESD_ERR_INVALIDDATA);
}

TEST(Suppression, SweepsAtEveryCall) {
  const std::string kept = Line("kept", 1000);
  for (const std::string& line :
       {std::string("no tab\r\n"), std::string("\t2030-01-01 00:00:00\r\n"),
        std::string("empty\t \r\n"), std::string(" \r\n"), std::string(600, 'x') + "\r\n",
        Line("ended", 0), Line("ended", -100000)}) {
    WriteFile(SuppressPath(), line + kept);
    EXPECT_EQ(Set("", 5), ESD_ERR_INVALIDDATA);
    EXPECT_EQ(ReadFile(SuppressPath()), kept) << line;
  }
  const std::string far = Line("far", 100000);
  WriteFile(SuppressPath(), far);
  EXPECT_NEAR(Left("far"), 43200, 5);
  EXPECT_NE(ReadFile(SuppressPath()), far);
  WriteFile(SuppressPath(), Line("ended", -1));
  EXPECT_EQ(Left("any"), 0);
  EXPECT_FALSE(fs::exists(SuppressPath()));
}

TEST(Suppression, AnImpossibleTimeEndsTheCallAndStays) {
  for (const char* time :
       {"2030-13-01 00:00:00", "2030-02-30 00:00:00", "2030-01-01 25:00:00", "2030-01-01 12:61:00",
        "2030-01-01 12:00:60", "2030-01-01", "30-01-01 00:00:00", "2030-01-01 00:00:00 x",
        "2030-01-01T00:00:00", "next week", "2030-01-01 -1:00:00", "2030-01-01 00:00:000"}) {
    const std::string text = Line("a", 1000) + "b\t" + time + "\r\n";
    WriteFile(SuppressPath(), text);
    EXPECT_EQ(Set("c", 5), ESD_ERR_FAILURE) << time;
    EXPECT_EQ(Left("a"), -ESD_ERR_FAILURE) << time;
    EXPECT_EQ(ReadFile(SuppressPath()), text) << time;
  }
}

TEST(Suppression, RefusesWhatWouldNotReadBack) {
  EXPECT_EQ(Set(std::string(256, 'i'), 1000), 0);
  EXPECT_NEAR(Left(std::string(256, 'i')), 1000, 5);
  for (const char* id : {"a\tb", "a\nb", "a\r", "caf\xE9"}) {
    EXPECT_EQ(Set(id, 5), ESD_ERR_INVALIDDATA) << id;
  }
  EXPECT_EQ(Set(std::string(257, 'i'), 5), ESD_ERR_INVALIDDATA);
}

TEST(Suppression, AFileThatCannotBeUsedIsLeftAlone) {
  {
    esd::ResourceLocker updater(SuppressPath(), 0);
    ASSERT_TRUE(updater.Lock());
    EXPECT_EQ(Set("a", 5), KXL_SUPPRESS_FILE_BUSY);
  }
  fs::create_directories(SuppressPath() + "/inside");
  EXPECT_EQ(Set("a", 5), ESD_ERR_FAILURE);
  EXPECT_TRUE(fs::exists(SuppressPath() + "/inside"));
}

// Makes a call for which nothing can be renamed.
int CallOnAReadOnlyDisk(const Link& /*parent*/, const Arguments& arguments) {
  FailSystemCall(SYS_rename, EROFS);
  const std::string& call = arguments[0];
  if (call == "check") return KXLTriggerUpdateCheck(nullptr, nullptr, nullptr, nullptr, 1, false);
  return call == "query" ? -Left("a") : Set(call, 5);
}

// What was read decides a check, and an answer that is no success stays what it is.
TEST(Suppression, AWriteBackThatFailsTakesASuccessAndNothingElse) {
  const std::string text = Line("ended", -1) + Line("a", 1000);
  WriteFile(SuppressPath(), text);
  for (const auto& [call, code] : {std::pair("check", KXL_CHECK_SUPPRESSED),
                                   {"", ESD_ERR_INVALIDDATA},
                                   {"b", ESD_ERR_FAILURE},
                                   {"query", ESD_ERR_FAILURE}}) {
    EXPECT_EQ(ChildProcess(CallOnAReadOnlyDisk, {call}).Exit(), code) << call;
    EXPECT_EQ(ReadFile(SuppressPath()), text);
  }
  // One that may not be removed, on purpose: ended holds are as good as none, others run on.
  for (const auto& [line, code] :
       {std::pair(Line("a", -1), ESD_ERR_OK), {Line("a", 1000), ESD_ERR_FAILURE}}) {
    WriteFile(SuppressPath(), line);
    fs::permissions(SuppressPath(), fs::perms::owner_read);
    EXPECT_EQ(Set("a", 0), code);
    EXPECT_EQ(ReadFile(SuppressPath()), line);
    fs::remove(SuppressPath());
  }
}

int ClearInAReadOnlyFolder(const Link& /*parent*/, const Arguments& /*arguments*/) {
  if (geteuid() == 0 && setuid(65534) != 0) return -1;
  return Set("a", 0);
}

TEST(Suppression, AFileThatCannotBeRemovedIsEmptied) {
  WriteFile(SuppressPath(), Line("a", 1000));
  for (fs::path path = SuppressPath(); path != TestFolder(); path = path.parent_path()) {
    fs::permissions(path.parent_path(), fs::perms(0555));
  }
  EXPECT_TRUE(geteuid() != 0 || chown(SuppressPath().c_str(), 65534, 65534) == 0);
  EXPECT_EQ(ChildProcess(ClearInAReadOnlyFolder).Exit(), ESD_ERR_OK);
  EXPECT_EQ(ReadFile(SuppressPath()), "");
  for (fs::path path = SuppressPath(); path != TestFolder(); path = path.parent_path()) {
    fs::permissions(path.parent_path(), fs::perms(0755));
  }
}

int HoldWithoutNumbers(const Link& /*parent*/, const Arguments& /*arguments*/) {
  close(STDIN_FILENO);  // whose number the companion gets first
  FailSystemCall(kFcntlCall, EIO);
  return Set("a", 5);
}

TEST(Suppression, ACompanionThatWasMadeInVainGoes) {
  fs::create_directories(fs::path(SuppressPath()).parent_path());
  EXPECT_EQ(ChildProcess(HoldWithoutNumbers).Exit(), ESD_ERR_FAILURE);
  EXPECT_FALSE(fs::exists(SuppressPath() + "_"));
}

// A host's timer interrupts every wait, and must not make a notification vanish.
TEST(Suppression, TellsARunningUpdaterOfANewHoldOnly) {
  const SessionBus bus;
  const ListeningUpdater updater;
  signal(SIGALRM, [](int) {});
  const itimerval often = {{0, 100}, {0, 100}};
  setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_EQ(Set("a", 0) + Left("a"), 0);
  EXPECT_EQ(Set("", 5), ESD_ERR_INVALIDDATA);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(Set("a", 5) + Set("a", 0), 0);
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(updater.NextMessage(),
              "/com/kelda/updater6 com.kelda.updater6.Notification.Posted "
              "Kelda Updater 6 Notification / Signal KXL Suppression");
  }
  kxl::PostExpressDownloadSignal();
  EXPECT_TRUE(updater.NextMessage().ends_with("/ Signal Express Download")) << "of another's end";
}

}  // namespace
