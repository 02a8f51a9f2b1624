#include <kxl/kxl.h>
#include <sys/syscall.h>

#include <cerrno>

#include "esd/resource_locker.h"
#include "support/host.h"
#include "support/updater.h"

namespace {

using namespace kxl_test;

int Act(const char* id) { return CallsInHost({{"DoPluginAction", id}}).at(0); }

// Preferences that were opened and cannot be read end it, and well.
int ActOnAFailingDisk(const Link& /*parent*/, const Arguments& /*arguments*/) {
  KXLIsUpdateCheckEnabled();  // reads what else there is to read
  FailSystemCall(SYS_read, EIO);
  return KXLDoPluginAction("a");
}

// The order of the checks is part of the interface: each case meets all the later ones as well.
TEST(PluginAction, ChecksInOrder) {
  {
    const SessionBus bus;
    const ListeningUpdater running;
    EXPECT_EQ(Act(""), KXL_UPDATER_RUNNING);
  }
  fs::create_directories(PrefsPath());
  EXPECT_EQ(Act(""), ESD_ERR_INVALIDDATA);
  EXPECT_EQ(Act("a"), ESD_ERR_NOTREGISTERED) << "preferences that cannot be opened are none";
  fs::remove(PrefsPath());
  WriteSettings("");
  EXPECT_EQ(ChildProcess(ActOnAFailingDisk, {}, WithAccounts()).Exit(), ESD_ERR_OK);
  EXPECT_EQ(Act("a"), ESD_ERR_NOTREGISTERED);
  EXPECT_EQ(CallsInHost({{"RegisterApplication", "a", "A", "/a"}, {"DoPluginAction", "a"}}),
            (std::vector{ESD_ERR_OK + 0, ESD_ERR_KX + 0}));
  EXPECT_EQ(Count(ReadLog(LibraryLog()), "ForkUpdater.\n"), 1U);
  WriteScript(UpdaterExecutable(), "exit 0\n");
  esd::ResourceLocker somebody(PrefsPath(), 0);
  ASSERT_TRUE(somebody.Lock());
  EXPECT_EQ(Act("KeldaUpdater"), ESD_ERR_OK) << "locked preferences do not count";
  EXPECT_EQ(Count(ReadLog(LibraryLog()), "ForkUpdater.\n"), 2U);
}

}  // namespace
