#include "esd/resource_locker.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>

#include "support/test_folder.h"

namespace {

using namespace kxl_test;
using esd::Force;
using esd::ResourceLocker;

// The names are what other programs compute too; the file system's has no slash.
TEST(ResourceLocker, NamesTheSemaphoreByDigest) {
  EXPECT_EQ(esd::SemaphoreName(""), "1B2M2Y8AsgTpgAmY7PhCfg==");
  EXPECT_EQ(esd::SemaphoreName("abc"), "kAFQmDzST7DWlj99KOF/cg==");
  ResourceLocker lock("abc", 0);
  ASSERT_TRUE(lock.Lock());
  EXPECT_TRUE(fs::exists("/dev/shm/sem.kAFQmDzST7DWlj99KOF_cg=="));
  EXPECT_TRUE(lock.Unlock(Force::kNo));
  EXPECT_FALSE(fs::exists("/dev/shm/sem.kAFQmDzST7DWlj99KOF_cg=="));
}

TEST(ResourceLocker, RefusesMisuse) {
  ResourceLocker lock(InTestFolder("r"), 0);
  EXPECT_THROW(lock.Unlock(Force::kNo), esd::no_resource_lock);
  ASSERT_TRUE(lock.Lock());
  EXPECT_THROW(lock.Lock(), esd::resource_lock_fail);
  EXPECT_TRUE(lock.IsLocked());
}

TEST(ResourceLocker, WaitsAsLongAsItWasTold) {
  ResourceLocker holder(InTestFolder("r"), 0);
  ASSERT_TRUE(holder.Lock());
  const auto start = std::chrono::steady_clock::now();
  ResourceLocker other(InTestFolder("r"), 100);
  EXPECT_FALSE(other.Lock());
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
  EXPECT_FALSE(other.IsLocked());
  EXPECT_TRUE(holder.Unlock(Force::kNo));
  EXPECT_TRUE(other.Lock());
}

int HoldLockAndDie(const Link& /*parent*/, const Arguments& arguments) {
  ResourceLocker lock(arguments[0], 0);
  if (!lock.Lock()) return 1;
  abort();
}

// Nobody else's hold is the reason: there is nothing to wait for.
int LockWhatCanNeverBeHad(const Link& /*parent*/, const Arguments& arguments) {
  FailSystemCall(SYS_openat, EACCES);
  alarm(5);
  return ResourceLocker(arguments[0], 60000).Lock();
}

TEST(ResourceLocker, DoesNotWaitForALockThatCanNeverBeHad) {
  EXPECT_EQ(ChildProcess(LockWhatCanNeverBeHad, {InTestFolder("r")}).Exit(), 0);
}

TEST(ResourceLocker, OutlivesItsHolderUntilForced) {
  EXPECT_EQ(ChildProcess(HoldLockAndDie, {InTestFolder("r")}).Exit(), -SIGABRT);
  ResourceLocker lock(InTestFolder("r"), 0);
  EXPECT_FALSE(lock.Lock());
  EXPECT_TRUE(lock.Unlock(Force::kYes));
  EXPECT_FALSE(lock.Unlock(Force::kYes));
  EXPECT_TRUE(lock.Lock());
}

}  // namespace
