#include "platform/launcher.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using kxl_test::InTestFolder;

void WriteScript(const std::string& path, const std::string& body) {
  kxl_test::WriteFile(path, "#!/bin/sh\n" + body);
  chmod(path.c_str(), 0755);
}

// Waits for what a script writes into the FIFO, to the end.
std::string ReadFifo(const std::string& path) { return kxl_test::ReadFile(path); }

TEST(Launcher, StartsTheBundleDetached) {
  const std::string fifo = InTestFolder("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  WriteScript(kxl_test::UpdaterExecutable(),
              "exec >\"$KXL_ROOT/fifo\"\n"
              "echo \"$KX_LAUNCH_MODE:$(readlink /proc/self/fd/0)\"\n"
              "ls -v /proc/$$/fd | tr '\\n' ' '\n"
              "[ \"$(cut -d' ' -f6 /proc/$$/stat)\" = \"$PARENT_SESSION\" ] || echo own\n");
  const int inherited = open("/dev/null", O_RDONLY);  // without close-on-exec
  signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(kxl::OpenUpdaterApplication({{"KX_LAUNCH_MODE", "4"},
                                           {"KX_LAUNCH_MODE", "5"},
                                           {"PARENT_SESSION", std::to_string(getsid(0))}}));
  signal(SIGCHLD, SIG_DFL);
  // The shell has its script open too, as 10.
  const std::string said = ReadFifo(fifo);
  EXPECT_EQ(said, "5:/dev/null\n0 1 2 10 own\n");
  EXPECT_LT(inherited, 10);
  EXPECT_STREQ(getenv("KX_LAUNCH_MODE"), "5");
  EXPECT_EQ(waitpid(-1, nullptr, __WALL | WNOHANG), -1) << "a child was left to the host";
  close(inherited);
}

TEST(Launcher, FallsBackToTheShell) {
  ASSERT_EQ(mkfifo(InTestFolder("fifo").c_str(), 0600), 0);
  WriteScript(InTestFolder("it's"), "exit 3\n");
  const std::string say = " > " + InTestFolder("fifo");
  // A path that does not exist is a command.
  EXPECT_FALSE(kxl::LaunchApplication("exit 7", {}));
  EXPECT_FALSE(kxl::LaunchApplication(InTestFolder("missing"), {}));
  EXPECT_TRUE(kxl::LaunchApplication("echo hello" + say + " &", {}));
  EXPECT_EQ(ReadFifo(InTestFolder("fifo")), "hello\n");
  // What exists and cannot be executed goes to the background, so the shell's answer is success.
  chmod(InTestFolder("it's").c_str(), 0600);
  EXPECT_TRUE(kxl::LaunchApplication(InTestFolder("it's"), {}));
  fs::create_directory(InTestFolder("empty bundle"));
  EXPECT_TRUE(kxl::LaunchApplication(InTestFolder("empty bundle"), {}));
}

TEST(Launcher, SetsNothingWithoutAFolderForTheBundle) {
  unsetenv("KX_LAUNCH_MODE");
  EXPECT_FALSE(kxl::OpenUpdaterApplication({{"KX_LAUNCH_MODE", "5"}}));
  EXPECT_EQ(getenv("KX_LAUNCH_MODE"), nullptr);
}

TEST(Launcher, RunsTheExecutableWithVariablesForTheCall) {
  fs::create_directory(InTestFolder("opt"));
  EXPECT_FALSE(kxl::RunUpdaterExecutable({{"KXL_A", "1"}}, kxl::Background::kNo)) << "none there";
  EXPECT_EQ(getenv("KXL_A"), nullptr);
  WriteScript(kxl_test::UpdaterExecutable(), "[ \"$KXL_A$KXL_B\" = 2b ]\n");
  setenv("KXL_B", "before", 1);
  const kxl::EnvironmentList environment = {{"KXL_A", "1"}, {"KXL_B", "b"}, {"KXL_A", "2"}};
  static volatile sig_atomic_t signals = 0;
  signal(SIGCHLD, [](int) { signals = signals + 1; });
  EXPECT_TRUE(kxl::RunUpdaterExecutable(environment, kxl::Background::kNo));
  EXPECT_EQ(signals, 0) << "the host was told of a child that is not its own";
  signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(kxl::RunUpdaterExecutable(environment, kxl::Background::kNo));
  signal(SIGCHLD, SIG_DFL);
  EXPECT_FALSE(kxl::RunUpdaterExecutable({}, kxl::Background::kNo)) << "waits for its status";
  EXPECT_TRUE(kxl::RunUpdaterExecutable({}, kxl::Background::kYes));
  EXPECT_EQ(getenv("KXL_A"), nullptr);
  EXPECT_STREQ(getenv("KXL_B"), "before");
  unsetenv("KXL_B");
}

TEST(Launcher, QuotesAsFarAsThePathWasLong) {
  const char* const cases[][2] = {
      {"/a b", "'/a b'"},
      {"/a'bcd", "'/a'\\''bcd'"},
      {"'/abc'", "''\\''/abc''"},  // the last quote has moved beyond the path's own length
      {"/'a'", "'/'\\''a''"}};
  for (const auto& [path, quoted] : cases) EXPECT_EQ(kxl::QuoteLaunchPath(path), quoted);
  EXPECT_EQ(kxl::QuoteForShell("/a'b"), "'/a'\\''b'");
  EXPECT_EQ(kxl::QuoteForShell("/'a'"), "'/'\\''a'\\'''");
}

}  // namespace
