#include <kxl/kxl.h>

#include "esd/resource_locker.h"
#include "stores/lock_files.h"
#include "support/host.h"

namespace {

using namespace kxl_test;

int AskOnce(const char* id = "a") {
  return CallsInHost({{"IsUpdateAvailable", id, "A", "/a"}}).at(0);
}

std::string AnswersFolder() {
  return InTestFolder("home/.local/share/Kelda/Updater6/Data/UpdateAvailable");
}

std::string AnswerPath() { return AnswersFolder() + "/a/7.xml"; }

std::string LockPath() { return InTestFolder("run/Kelda/Updater6/Updater6/locked/lock.a"); }

TEST(Availability, MakesNoPathOfAnIdentifier) {
  for (const char* id : {".", "..", "x/y", "../x"}) EXPECT_EQ(AskOnce(id), ESD_ERR_FAILURE) << id;
  EXPECT_FALSE(fs::exists(AnswersFolder()));
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
  EXPECT_FALSE(fs::exists(LockPath()));
  EXPECT_EQ(CallsInHost({{"IsUpdateAvailable", "a", "A", "/a", "refresh"},
                         {"RegisterApplication", "a", "A", "/a"}}),
            (std::vector{ESD_ERR_KX + 0, ESD_ERR_ALREADYREGISTERED + 0}));
}

TEST(Availability, IsPendingWhileTheUpdaterWorks) {
  WriteFile(AnswerPath(), "<UpdateInfo><Result>1</Result></UpdateInfo>");
  WriteFile(LockPath(), "lock");
  {
    esd::ResourceLocker updater("KeldaUpdater6a", 0);
    ASSERT_TRUE(updater.Lock());
    EXPECT_EQ(AskOnce(), ESD_ERR_NOTIFY_PENDING);
    EXPECT_TRUE(kxl::IsLockFileBusy("a"));
    fs::remove(LockPath());
    EXPECT_EQ(AskOnce(), ESD_ERR_NOTIFY_PENDING) << "another caller looks for the answer";
  }
  EXPECT_EQ(AskOnce(), 1001);
  EXPECT_TRUE(kxl::IsLockFileBusy("a") && kxl::RemoveLockFile("a")) << "a missing one";
  WriteScript(UpdaterExecutable(), "exit 0\n");
  EXPECT_EQ(AskOnce(), ESD_ERR_NOTIFY_PENDING);
  EXPECT_EQ(ReadFile(LockPath()), "lock");
  EXPECT_FALSE(kxl::IsLockFileBusy("a")) << "a stale one";
  EXPECT_EQ(AskOnce(), ESD_ERR_NOTIFY_PENDING);
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
