#include "stores/lock_files.h"

#include "esd/resource_locker.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;

TEST(LockFiles, AreBusyWhileTheirLockIsHeld) {
  const std::string path = InTestFolder("run/Kelda/Updater6/Updater6/locked/lock.com.example");
  EXPECT_TRUE(kxl::IsLockFileBusy("com.example")) << "a missing one";
  EXPECT_TRUE(kxl::CreateLockFile("com.example"));
  EXPECT_EQ(ReadFile(path), "lock");
  EXPECT_FALSE(kxl::IsLockFileBusy("com.example")) << "a stale one";
  {
    esd::ResourceLocker updater("KeldaUpdater6com.example", 0);
    ASSERT_TRUE(updater.Lock());
    EXPECT_TRUE(kxl::IsLockFileBusy("com.example"));
  }
  EXPECT_FALSE(kxl::IsLockFileBusy("com.example"));
  EXPECT_TRUE(kxl::RemoveLockFile("com.example"));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_TRUE(kxl::RemoveLockFile("com.example"));
}

}  // namespace
