#include "platform/processes.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test_folder.h"

namespace {

// Takes the name, tells so, and ends when told to.
CHILD_BODY(RunUnderAName) {
  prctl(PR_SET_NAME, arguments[0].c_str());
  if (arguments.size() > 1 && setuid(65534) != 0) return 1;
  parent.Tell();
  parent.Await();
  return 0;
}

CHILD_BODY(LookForTheUpdaterBeingOne) {
  prctl(PR_SET_NAME, "Kelda Updater");
  return kxl::FindUpdaterProcess(kxl::BringToFront::kNo) ? 1 : 0;
}

TEST(Processes, FindTheUpdaterByItsName) {
  EXPECT_FALSE(kxl::FindUpdaterProcess(kxl::BringToFront::kNo));
  {
    kxl_test::ChildProcess other("RunUnderAName", {"Kelda Update"});
    other.Await();
    EXPECT_FALSE(kxl::FindUpdaterProcess(kxl::BringToFront::kNo));
  }
  kxl_test::ChildProcess updater("RunUnderAName", {"Kelda Updater"});
  updater.Await();
  EXPECT_TRUE(kxl::FindUpdaterProcess(kxl::BringToFront::kNo));
  updater.Tell();
  // It has ended but was not waited for: a zombie.
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(updater.Id()), &info, WEXITED | WNOWAIT), 0);
  EXPECT_FALSE(kxl::FindUpdaterProcess(kxl::BringToFront::kNo));
}

TEST(Processes, DoNotFindTheCallerItself) {
  kxl_test::ChildProcess child("LookForTheUpdaterBeingOne", {});
  EXPECT_EQ(child.Exit(), 0);
}

TEST(Processes, DoNotFindAnotherUsersUpdater) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to start one";
  kxl_test::ChildProcess updater("RunUnderAName", {"Kelda Updater", "other user"});
  ASSERT_TRUE(updater.Await());
  EXPECT_FALSE(kxl::FindUpdaterProcess(kxl::BringToFront::kNo));
}

}  // namespace
