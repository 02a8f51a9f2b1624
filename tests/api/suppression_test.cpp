#include <gtest/gtest.h>
#include <kxl/kxl.h>

#include <cstring>
#include <ctime>
#include <filesystem>

#include "esd/resource_locker.h"
#include "support/test_folder.h"
#include "support/updater.h"

namespace {

namespace fs = std::filesystem;
using kxl_test::ReadFile;
using kxl_test::SuppressPath;
using kxl_test::WriteFile;

std::string Line(const std::string& id, std::time_t fromNow) {
  const std::time_t end = std::time(nullptr) + fromNow;
  char text[32];
  std::strftime(text, sizeof text, "\t%Y-%m-%d %H:%M:%S\r\n", gmtime(&end));
  return id + text;
}

int Set(const char* id, std::uint32_t seconds, std::uint32_t* stored = nullptr) {
  const int code = KXLSuppressUpdates(const_cast<char*>(id), nullptr, &seconds, 0);
  if (stored != nullptr) *stored = seconds;
  return code;
}

// What is left of the hold, or minus the code. A test may take a second or two.
int Left(const char* id) {
  std::uint32_t seconds = 12345;
  const int code = KXLSuppressUpdates(const_cast<char*>(id), nullptr, &seconds, 1);
  return code == 0 ? static_cast<int>(seconds) : -code;
}

TEST(Suppression, SetsClearsAndAsks) {
  setenv("TZ", "Pacific/Kiritimati", 1);  // 14 hours from UTC
  std::uint32_t stored = 0;
  EXPECT_EQ(Set("a", 100), 0);
  EXPECT_EQ(Set("b", 50000, &stored), 0);
  EXPECT_EQ(stored, 43200U);
  EXPECT_NEAR(Left("a"), 100, 5);
  EXPECT_NEAR(Left("b"), 43200, 5);
  EXPECT_EQ(Left("A"), 0);
  EXPECT_EQ(Set("a", 200), 0);
  EXPECT_NEAR(Left("a"), 200, 5);
  EXPECT_TRUE(ReadFile(SuppressPath()).starts_with("b\t")) << "a moved to the end";
  EXPECT_EQ(Set("b", 0), 0);
  EXPECT_EQ(KXLSuppressUpdates(const_cast<char*>("a"), nullptr, nullptr, 0), 0);
  EXPECT_FALSE(fs::exists(SuppressPath()));
  EXPECT_EQ(Set("a", 0), 0) << "there was none";
  setenv("TZ", "UTC", 1);
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
    buffer[0] = '\0';
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
  const std::string dropped[] = {"no tab\r\n",
                                 "\t2030-01-01 00:00:00\r\n",
                                 "empty\t \r\n",
                                 " \r\n",
                                 std::string(600, 'x') + "\r\n",
                                 Line("ended", 0),
                                 Line("ended", -100000)};
  for (const std::string& line : dropped) {
    WriteFile(SuppressPath(), line + kept);
    EXPECT_EQ(Set("", 5), ESD_ERR_INVALIDDATA);
    EXPECT_EQ(ReadFile(SuppressPath()), kept) << line;
  }
  WriteFile(SuppressPath(), Line("far", 100000));
  EXPECT_NEAR(Left("far"), 43200, 5);
  EXPECT_NE(ReadFile(SuppressPath()), Line("far", 100000));
  WriteFile(SuppressPath(), Line("ended", -1));
  EXPECT_EQ(Left("any"), 0);
  EXPECT_FALSE(fs::exists(SuppressPath()));
}

TEST(Suppression, AnUnchangedFileIsNotWritten) {
  WriteFile(SuppressPath(), Line("a", 1000));
  const auto time = fs::last_write_time(SuppressPath());
  Left("a");
  Set("b", 0);
  EXPECT_EQ(fs::last_write_time(SuppressPath()), time);
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
  EXPECT_EQ(Set(std::string(256, 'i').c_str(), 1000), 0);
  EXPECT_NEAR(Left(std::string(256, 'i').c_str()), 1000, 5);
  for (const std::string& id : {std::string("a\tb"), std::string("a\nb"), std::string("a\r"),
                                std::string(257, 'i'), std::string("caf\xE9")}) {
    EXPECT_EQ(Set(id.c_str(), 5), ESD_ERR_INVALIDDATA) << id;
  }
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

TEST(Suppression, TellsARunningUpdaterOfANewHoldOnly) {
  const kxl_test::SessionBus bus;
  const kxl_test::ListeningUpdater updater;
  EXPECT_EQ(Set("a", 0), 0);
  Left("a");
  EXPECT_EQ(Set("", 5), ESD_ERR_INVALIDDATA);
  EXPECT_EQ(Set("a", 5), 0);
  EXPECT_TRUE(updater.NextMessage().ends_with("/ Signal KXL Suppression"));
  EXPECT_EQ(Set("a", 0), 0);
  EXPECT_EQ(Set("b", 5), 0);
  EXPECT_TRUE(updater.NextMessage().ends_with("/ Signal KXL Suppression"));
}

}  // namespace
