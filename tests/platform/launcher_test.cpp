#include "platform/launcher.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/environment.h"

#include "support/test_folder.h"

namespace {

using namespace kxl_test;

// Some systems refuse what the launcher would rather use.
int OpenUpdater(const Link& /*parent*/, const Arguments& arguments) {
  if (arguments[0] == "an old kernel") FailSystemCall(SYS_close_range, ENOSYS);
  if (arguments[0] == "an emulator") FailSystemCall(SYS_clone, EINVAL, 0);
  const int inherited = open("/", O_RDONLY);  // without close-on-exec
  if (inherited < 3 || inherited > 9 || dup2(inherited, STDIN_FILENO) != 0) return 2;
  for (const int number : {SIGCHLD, SIGUSR1}) signal(number, SIG_IGN);
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, nullptr);
  if (!kxl::OpenUpdaterApplication({{"KX_LAUNCH_MODE", "4"},
                                    {"KX_LAUNCH_MODE", "5"},
                                    {"PARENT_SESSION", std::to_string(getsid(0))}})) {
    return 3;
  }
  // Nothing may be left to the host to wait for.
  if (waitpid(-1, nullptr, __WALL | WNOHANG) != -1) return 4;
  return getenv("KX_LAUNCH_MODE") == std::string_view("5") ? 0 : 5;
}

TEST(Launcher, StartsTheBundleDetached) {
  const std::string fifo = InTestFolder("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  WriteScript(UpdaterExecutable(),
              "exec >\"$KXL_ROOT/fifo\"\n"
              "echo \"$KX_LAUNCH_MODE:$(readlink /proc/self/fd/0)\"\n"
              "while read -r name set; do\n"
              "case $name in Sig[BI]*) echo $((0x$set)); esac; done </proc/$$/status\n"
              "(ls -v /proc/$$/fd >\"$KXL_ROOT/open\"); tr '\\n' ' ' <\"$KXL_ROOT/open\"\n"
              "[ \"$(cut -d' ' -f6 /proc/$$/stat)\" = \"$PARENT_SESSION\" ] || echo own\n");
  for (const char* system : {"this one", "an old kernel", "an emulator"}) {
    ChildProcess host(OpenUpdater, {system});
    // Reading waits for all that the script says. The shell has its script open too, as 10.
    EXPECT_EQ(ReadFile(fifo), "5:/dev/null\n0\n0\n0 1 2 10 own\n") << system;
    EXPECT_EQ(host.Exit(), 0) << system;
  }
}

std::atomic<int> ticks = 0;

// Launches until a process that the other thread has forked holds the launcher's pipe, and answers
// how often a timer has ticked by then.
int LaunchBesideForksAndTicks(const Link& /*parent*/, const Arguments& arguments) {
  std::atomic<bool> ended = false;
  std::thread forking([&ended] {
    for (int forks = 0; !ended; ++forks) {
      if (forks > 500) {
        poll(nullptr, 0, 10);
      } else if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // when this thread ends
        _exit(poll(nullptr, 0, 6000));
      }
    }
  });
  signal(SIGALRM, [](int) { ++ticks; });
  const itimerval often = {{0, 100000}, {0, 100000}};
  setitimer(ITIMER_REAL, &often, nullptr);
  for (int i = 0; i < 200 && ticks < 15 && kxl::LaunchApplication(arguments[0], {}); ++i) {
  }
  ended = true;
  forking.join();
  return ticks;
}

TEST(Launcher, WaitsTwoSecondsAtMostWhateverTheHostsSignals) {
  WriteScript(InTestFolder("program"), "exit\n");
  EXPECT_LE(ChildProcess(LaunchBesideForksAndTicks, {InTestFolder("program")}).Exit(), 40);
}

TEST(Launcher, FallsBackToTheShell) {
  ASSERT_EQ(mkfifo(InTestFolder("fifo").c_str(), 0600), 0);
  // A path that does not exist is a command.
  EXPECT_FALSE(kxl::LaunchApplication("exit 7", {}));
  EXPECT_FALSE(kxl::LaunchApplication(InTestFolder("missing"), {}));
  EXPECT_TRUE(kxl::LaunchApplication("echo hello > " + InTestFolder("fifo") + " &", {}));
  EXPECT_EQ(ReadFile(InTestFolder("fifo")), "hello\n");
  // What exists and cannot be executed goes to the background, so the shell's answer is success.
  WriteFile(InTestFolder("it's"), "exit 3\n");
  EXPECT_TRUE(kxl::LaunchApplication(InTestFolder("it's"), {}));
  fs::create_directory(InTestFolder("empty bundle"));
  EXPECT_TRUE(kxl::LaunchApplication(InTestFolder("empty bundle"), {}));
}

TEST(Launcher, RunsTheExecutableWithVariablesForTheCall) {
  unsetenv("KXL_A");
  EXPECT_FALSE(kxl::OpenUpdaterApplication({{"KXL_A", "1"}})) << "no folder for the bundle";
  fs::create_directory(InTestFolder("opt"));
  EXPECT_FALSE(kxl::RunUpdaterExecutable({{"KXL_A", "1"}}, kxl::Background::kNo)) << "none there";
  EXPECT_EQ(getenv("KXL_A"), nullptr);
  WriteScript(UpdaterExecutable(), "[ \"$KXL_A$KXL_B\" = \"2'\\$\" ]\n");
  setenv("KXL_B", "before", 1);
  const kxl::EnvironmentList environment = {{"KXL_A", "1"}, {"KXL_B", "'$"}, {"KXL_A", "2"}};
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

// Each task has to arrive as it was given, and none may stay behind for a later launch.
TEST(Launcher, ThreadsLaunchOneAfterTheOther) {
  WriteScript(UpdaterExecutable(), ": >\"$KXL_ROOT/started.$KXL_A\"\n");
  const auto launch = [](int first) {
    for (int task = first; task < first + 2; ++task) {
      kxl::RunUpdaterExecutable({{"KXL_A", std::to_string(task)}}, kxl::Background::kNo);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) threads.emplace_back(launch, i * 2);
  for (std::thread& thread : threads) thread.join();
  for (int task = 0; task < 6; ++task) {
    EXPECT_TRUE(fs::exists(InTestFolder("started." + std::to_string(task)))) << task;
  }
  EXPECT_EQ(getenv("KXL_A"), nullptr);
}

// setenv(3) would move the list of variables away under the readers now and then.
TEST(Launcher, OtherThreadsMayReadTheEnvironment) {
  std::atomic<bool> ended = false;
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      while (!ended) EXPECT_NE(getenv("KXL_ROOT"), nullptr);
    });
  }
  for (int i = 0; i < 2000; ++i) kxl::SetVariable("KXL_TEST_" + std::to_string(i), "x");
  ended = true;
  for (std::thread& reader : readers) reader.join();
  for (int i = 0; i < 2000; ++i) {
    const std::string name = "KXL_TEST_" + std::to_string(i);
    EXPECT_STREQ(getenv(name.c_str()), "x");
    kxl::RestoreVariable(name, nullptr);
    EXPECT_EQ(getenv(name.c_str()), nullptr);
  }
  kxl::SetVariable("KXL_TEST_0", "again");
  EXPECT_STREQ(getenv("KXL_TEST_0"), "again");
  char** const before = environ;
  clearenv();
  kxl::SetVariable("KXL_ROOT", TestFolder());
  EXPECT_EQ(getenv("KXL_ROOT"), TestFolder());
  EXPECT_EQ(environ[1], nullptr);
  environ = before;
}

TEST(Launcher, QuotesAsFarAsThePathWasLong) {
  EXPECT_EQ(kxl::QuoteLaunchPath("/a b"), "'/a b'");
  EXPECT_EQ(kxl::QuoteLaunchPath("/a'bcd"), "'/a'\\''bcd'");
  // The last quote has moved beyond the path's own length.
  EXPECT_EQ(kxl::QuoteLaunchPath("'/abc'"), "''\\''/abc''");
  EXPECT_EQ(kxl::QuoteForShell("/'a'"), "'/'\\''a'\\'''");
}

}  // namespace
