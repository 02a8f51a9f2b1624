#include "platform/session_bus.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>

#include "support/test_folder.h"

namespace {

using namespace kxl_test;
using std::chrono::milliseconds;

milliseconds TimeOfPosting(const std::string& address) {
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(kxl::PostSuppressionSignal());
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

TEST(SessionBus, CostsNothingWithoutABus) {
  const std::string executed = InTestFolder("executed");
  const std::string executes = "unix:path=/nowhere;unixexec:path=/bin/touch,argv1=" + executed;
  for (const char* address : {"unix:path=/nowhere/bus", "nonsense", executes.c_str()}) {
    EXPECT_LT(TimeOfPosting(address), milliseconds(400)) << address;
  }
  EXPECT_FALSE(std::filesystem::exists(executed)) << "an address has started a program";
}

TEST(SessionBus, WaitsHalfASecondForOneThatNeverAnswers) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, InTestFolder("silent").c_str());
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  const milliseconds time = TimeOfPosting("unix:path=" + InTestFolder("silent"));
  EXPECT_GE(time, milliseconds(450));
  EXPECT_LT(time, milliseconds(1500));
  close(listener);
}

}  // namespace
