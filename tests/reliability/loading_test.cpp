#include <dlfcn.h>
#include <unistd.h>

#include <fstream>

#include "support/test_folder.h"

namespace {

using namespace kxl_test;

struct Footprint {
  bool isMapped;
  std::ptrdiff_t descriptors;
  long resident = 0;  // pages
};

Footprint Measure() {
  Footprint footprint = {ReadFile("/proc/self/maps").find("libkxl") != std::string::npos,
                         std::distance(fs::directory_iterator("/proc/self/fd"), {})};
  std::ifstream("/proc/self/statm") >> footprint.resident >> footprint.resident;
  return footprint;
}

bool LoadCallAndUnload() {
  void* library = dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return false;
  const auto version = reinterpret_cast<std::uint32_t (*)()>(dlsym(library, "KXLGetVersion"));
  const auto enabled =
      reinterpret_cast<std::int32_t (*)()>(dlsym(library, "KXLIsUpdateCheckEnabled"));
  const bool isRight = version() == 0x62000000 && enabled() == 1;
  return dlclose(library) == 0 && isRight;
}

int LoadAgainAndAgain(const Link& /*parent*/, const Arguments& /*arguments*/) {
  Footprint before = {};
  for (int i = 0; i < 500; ++i) {
    if (i == 20) before = Measure();
    if (!LoadCallAndUnload()) return 1;
  }
  const Footprint after = Measure();
  if (after.isMapped) return 3;
  if (after.descriptors != before.descriptors) return 4;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  if (after.resident > before.resident + 64) return 5;  // a leak of half a kilobyte a turn
#endif
  return 0;
}

TEST(Loading, FiveHundredTimesLeavesNothingBehind) {
  EXPECT_EQ(ChildProcess(LoadAgainAndAgain, {}, WithAccounts()).Exit(), 0);
}

}  // namespace
