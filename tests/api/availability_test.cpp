#include <kxl/kxl.h>

#include "esd/resource_locker.h"
#include "support/host.h"

namespace {

using namespace kxl_test;

Call Ask(std::optional<std::string> id = "a", std::optional<std::string> name = "A",
         std::optional<std::string> folder = "/a") {
  return {"IsUpdateAvailable", std::move(id), std::move(name), std::move(folder)};
}

int AskOnce(const Call& call = Ask()) { return CallsInHost({call}).at(0); }

std::string AnswersFolder() {
  return InTestFolder("home/.local/share/Kelda/Updater6/Data/UpdateAvailable");
}

std::string AnswerPath() { return AnswersFolder() + "/a/7.xml"; }

std::string LockPath() { return InTestFolder("run/Kelda/Updater6/Updater6/locked/lock.a"); }

TEST(Availability, RefusesInOrder) {
  const std::string overLong = "/\xC0\x80";
  const std::string bytes256(256, 'x');
  EXPECT_EQ(CallsInHost({Ask(std::nullopt), Ask(""), Ask("a", std::nullopt),
                         Ask("a", bytes256 + bytes256 + "x"), Ask(bytes256 + "x"),
                         Ask("a", "A", overLong), Ask("a", overLong), Ask("a", "A", std::nullopt),
                         Ask("a", "A", bytes256)}),
            std::vector<int>(9, ESD_ERR_INVALIDDATA));
  EXPECT_EQ(Count(ReadLog(LibraryLog()), "Specified app directory is more than or equal to 255"),
            2U);
  for (const char* id : {".", "..", "x/y", "../x"})
    EXPECT_EQ(AskOnce(Ask(id)), ESD_ERR_FAILURE) << id;
  EXPECT_FALSE(fs::exists(AnswersFolder())) << "no path is made of these";
  EXPECT_EQ(AskOnce(), ESD_ERR_KX) << "not installed";
  EXPECT_FALSE(fs::exists(LockPath()));
  const auto guest = WithFreeIdentity("admin:x:5000:kelly\nguest:x:2000:\n");
  EXPECT_EQ(CallsInHost({{"IsUpdateAvailable", "a", "A", "/a", "refresh"}}, guest, "guest"),
            std::vector{ESD_ERR_NOTREGISTERED + 0});
  EXPECT_EQ(CallsInHost({{"IsUpdateAvailable", "a", "A", "/a", "refresh"},
                         {"RegisterApplication", "a", "A", "/a"}}),
            (std::vector{ESD_ERR_KX + 0, ESD_ERR_ALREADYREGISTERED + 0}));
  WriteFile(AdminListPath(),
            "<plist version=\"1.0\"><dict><key>Disable.Update</key><true/></dict></plist>");
  EXPECT_EQ(AskOnce(Ask(std::nullopt)), ESD_ERR_NOTENABLED);
}

TEST(Availability, ReadsAnAnswerOnce) {
  const std::pair<std::string, int> cases[] = {
      {"<UpdateInfo><Result> 12\n</Result></UpdateInfo>", 1012},
      {"<UpdateInfo><Result>-1</Result><Result>2</Result></UpdateInfo>", 999},
      {"<UpdateInfo><Result>1 2</Result></UpdateInfo>", 1000},
      {"<UpdateInfo><Result>99999999999</Result></UpdateInfo>", 1000},
      {"<UpdateInfo/>", 1000},
      {"<Other><Result>1</Result></Other>", 1000},
      {"<UpdateInfo><Result>1</Result>", 1077},
      {"", 1077}};
  for (const auto& [text, answer] : cases) {
    WriteFile(AnswerPath(), text);
    WriteFile(AnswersFolder() + "/a/sub/other", "");
    EXPECT_EQ(AskOnce(), answer) << text;
    EXPECT_FALSE(fs::exists(AnswersFolder() + "/a")) << text;
  }
  EXPECT_EQ(AskOnce(), ESD_ERR_KX) << "used up";
}

TEST(Availability, IsPendingWhileTheUpdaterWorks) {
  WriteFile(AnswerPath(), "<UpdateInfo><Result>1</Result></UpdateInfo>");
  WriteFile(LockPath(), "lock");
  {
    esd::ResourceLocker updater("KeldaUpdater6a", 0);
    ASSERT_TRUE(updater.Lock());
    EXPECT_EQ(AskOnce(), ESD_ERR_NOTIFY_PENDING);
    fs::remove(LockPath());
    EXPECT_EQ(AskOnce(), ESD_ERR_NOTIFY_PENDING) << "another caller looks for the answer";
  }
  EXPECT_EQ(AskOnce(), 1001);
  WriteScript(UpdaterExecutable(), "exit 0\n");
  EXPECT_EQ(AskOnce(), ESD_ERR_NOTIFY_PENDING);
  EXPECT_TRUE(fs::exists(LockPath()));
  EXPECT_EQ(AskOnce(), ESD_ERR_NOTIFY_PENDING) << "a stale lock file";
  EXPECT_EQ(Count(ReadLog(LibraryLog()), "ForkUpdater.\n"), 2U);
}

TEST(Availability, FollowsNoLinkAndRemovesNothingOutside) {
  const std::string kept = InTestFolder("outside/7.xml");
  WriteFile(kept, "<UpdateInfo><Result>1</Result></UpdateInfo>");
  fs::create_directories(AnswersFolder() + "/a");
  fs::create_symlink(InTestFolder("outside"), AnswersFolder() + "/a/link");
  fs::create_symlink(kept, AnswerPath());
  EXPECT_EQ(AskOnce(), 1077);
  EXPECT_FALSE(fs::exists(AnswersFolder() + "/a"));
  fs::create_directories(AnswersFolder() + "/a");
  fs::create_symlink("nowhere", AnswerPath());
  EXPECT_EQ(AskOnce(), ESD_ERR_KX) << "one that leads nowhere is no answer";
  fs::remove_all(AnswersFolder() + "/a");
  fs::create_symlink(InTestFolder("outside"), AnswersFolder() + "/a");
  EXPECT_EQ(AskOnce(), ESD_ERR_KX);
  EXPECT_TRUE(fs::is_directory(fs::symlink_status(AnswersFolder() + "/a")));
  EXPECT_TRUE(fs::exists(kept));
}

TEST(Availability, AnAnswerThatMayNotBeReadEndsTheRequest) {
  if (getuid() == 0) GTEST_SKIP() << "root may read everything";
  WriteFile(AnswerPath(), "<UpdateInfo><Result>1</Result></UpdateInfo>");
  fs::permissions(AnswerPath(), fs::perms::none);
  EXPECT_EQ(AskOnce(), 1077);
  EXPECT_FALSE(fs::exists(AnswerPath()));
}

}  // namespace
