#include "platform/session_bus.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "platform/processes.h"
#include "support/test_folder.h"
#include "support/updater.h"

namespace {

using kxl_test::InTestFolder;
using std::chrono::milliseconds;

milliseconds TimeOfPosting() {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(kxl::PostSuppressionSignal());
  return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

TEST(SessionBus, ReachesARunningUpdater) {
  const kxl_test::SessionBus bus;
  const kxl_test::ListeningUpdater updater;
  EXPECT_TRUE(kxl::FindUpdaterProcess(kxl::BringToFront::kYes));
  EXPECT_EQ(updater.NextMessage(), "/com/kelda/updater6 org.freedesktop.Application.Activate");
  kxl::PostSuppressionSignal();
  EXPECT_EQ(updater.NextMessage(),
            "/com/kelda/updater6 com.kelda.updater6.Notification.Posted "
            "Kelda Updater 6 Notification / Signal KXL Suppression");
}

TEST(SessionBus, CostsNothingWithoutABus) {
  for (const char* address : {"unix:path=/nowhere/bus", "unixexec:path=/bin/false", "nonsense"}) {
    setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
    EXPECT_LT(TimeOfPosting(), milliseconds(400)) << address;
  }
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

TEST(SessionBus, WaitsHalfASecondForOneThatNeverAnswers) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = InTestFolder("silent");
  std::strcpy(address.sun_path, path.c_str());
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
  const milliseconds time = TimeOfPosting();
  EXPECT_GE(time, milliseconds(450));
  EXPECT_LT(time, milliseconds(1500));
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  close(listener);
}

}  // namespace
