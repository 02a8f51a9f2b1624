#include "esd/resource_locker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "support/test_folder.h"

namespace {

using esd::Force;
using esd::ResourceLocker;
using kxl_test::InTestFolder;

// The names are what other programs compute too.
TEST(ResourceLocker, NamesTheSemaphoreByDigest) {
  EXPECT_EQ(esd::SemaphoreName(""), "1B2M2Y8AsgTpgAmY7PhCfg==");
  EXPECT_EQ(esd::SemaphoreName("abc"), "kAFQmDzST7DWlj99KOF/cg==");
  EXPECT_EQ(esd::SemaphoreName(std::string(10000, 'x')).size(), 24U);
}

TEST(ResourceLocker, WritesASlashOfTheNameAsUnderscore) {
  ResourceLocker lock("abc", 0);
  ASSERT_TRUE(lock.Lock());
  EXPECT_TRUE(std::filesystem::exists("/dev/shm/sem.kAFQmDzST7DWlj99KOF_cg=="));
  EXPECT_TRUE(lock.Unlock(Force::kNo));
  EXPECT_FALSE(std::filesystem::exists("/dev/shm/sem.kAFQmDzST7DWlj99KOF_cg=="));
}

TEST(ResourceLocker, RefusesMisuse) {
  ResourceLocker lock(InTestFolder("r"), 0);
  EXPECT_THROW(lock.Unlock(Force::kNo), esd::no_resource_lock);
  ASSERT_TRUE(lock.Lock());
  try {
    lock.Lock();
    FAIL();
  } catch (const esd::resource_lock_fail& error) {
    EXPECT_EQ(error.ResourceName(), InTestFolder("r"));
    EXPECT_STREQ(error.what(), "A resource is already being locked");
  }
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

CHILD_BODY(HoldLockAndDie) {
  ResourceLocker lock(arguments[0], 0);
  if (!lock.Lock()) return 1;
  parent.Tell();
  parent.Await();
  abort();
}

TEST(ResourceLocker, OutlivesItsHolderUntilForced) {
  kxl_test::ChildProcess child("HoldLockAndDie", {InTestFolder("r")});
  ASSERT_TRUE(child.Await());
  child.Tell();
  EXPECT_EQ(child.Exit(), -SIGABRT);
  ResourceLocker lock(InTestFolder("r"), 0);
  EXPECT_FALSE(lock.Lock());
  EXPECT_TRUE(lock.Unlock(Force::kYes));
  EXPECT_FALSE(lock.Unlock(Force::kYes));
  EXPECT_TRUE(lock.Lock());
}

}  // namespace
