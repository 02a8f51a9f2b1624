#include "platform/processes.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/test_folder.h"

namespace {

using namespace kxl_test;

bool IsFound() { return kxl::FindUpdaterProcess(kxl::BringToFront::kNo); }

// Takes the name and the real and effective user, tells so, ends when told to and answers whether
// it finds an updater.
int RunUnderAName(const Link& parent, const Arguments& arguments) {
  prctl(PR_SET_NAME, arguments[0].c_str());
  const auto user = [&](std::size_t i) { return static_cast<uid_t>(std::stoi(arguments[i])); };
  if (arguments.size() > 1 && setreuid(user(1), user(2)) != 0) return 2;
  parent.Tell();
  parent.Await();
  return IsFound();
}

TEST(Processes, FindTheUpdaterByItsName) {
  ChildProcess other(RunUnderAName, {"Kelda Update"});
  other.Await();
  EXPECT_FALSE(IsFound());
  ChildProcess updater(RunUnderAName, {"Kelda Updater"});
  updater.Await();
  EXPECT_TRUE(IsFound());
  updater.Tell();
  // It has ended but was not waited for: a zombie.
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(updater.Id()), &info, WEXITED | WNOWAIT), 0);
  EXPECT_FALSE(IsFound());
  EXPECT_EQ(updater.Exit(), 0) << "it found itself";
}

TEST(Processes, DoNotFindAnotherUsersUpdater) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to start one";
  // The second is a program with set-user-ID that somebody else has started.
  for (const Arguments& users : {Arguments{"65534", "65534"}, {"65534", "0"}, {"0", "65534"}}) {
    ChildProcess updater(RunUnderAName, {"Kelda Updater", users[0], users[1]});
    ASSERT_TRUE(updater.Await());
    EXPECT_FALSE(IsFound()) << users[0] << " " << users[1];
  }
}

}  // namespace
