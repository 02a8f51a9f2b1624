// Hosts that are not as a library would wish them.
#include <fcntl.h>
#include <grp.h>
#include <kxl/kxl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <locale>
#include <sstream>
#include <thread>

#include "support/host.h"

namespace {

using namespace kxl_test;

const std::vector<Call> kAllNine = {
    {"GetVersion"},
    {"IsUpdateCheckEnabled"},
    {"RegisterApplication", "a", "A", "/a"},
    {"TriggerUpdateCheck", "a", "A", "/a", "", "2"},
    {"IsUpdateAvailable", "a", "A", "/a"},
    {"DownloadMissingComponents", "a", "A", "/a", "", "n", "c", "1"},
    {"DoPluginAction", "a"},
    {"SuppressUpdates", "a", "60"},
    {"UnRegisterApplication", "a"}};
// There is no updater.
const std::vector<int> kAnswers = {6, 1, 0, ESD_ERR_KX, ESD_ERR_KX, ESD_ERR_KX, ESD_ERR_KX, 0, 0};

int MakeAllCalls(const std::vector<Call>& calls, const std::vector<int>& answers) {
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (MakeCall(calls[i]) != answers[i]) return static_cast<int>(100 + i);
  }
  return 0;
}

void* CallFromThread(void* result) {
  *static_cast<int*>(result) = MakeAllCalls(kAllNine, kAnswers);
  return nullptr;
}

int OnSmallStack() {
  int result = -1;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 64 * 1024);
  pthread_t thread;
  if (pthread_create(&thread, &attributes, CallFromThread, &result) != 0) return 1;
  pthread_join(thread, nullptr);
  return result;
}

int OddHost(const Link& /*parent*/, const Arguments& arguments) {
  const std::string& oddity = arguments[0];
  if (oddity == "SIGCHLD is ignored") signal(SIGCHLD, SIG_IGN);
  if (oddity == "SIGCHLD has a handler") signal(SIGCHLD, [](int) { _exit(99); });
  if (oddity == "no standard streams") {
    for (const int stream : {0, 1, 2}) close(stream);
  }
  if (oddity == "umask 0777") umask(0777);
  if (oddity == "no HOME") unsetenv("HOME");
  if (oddity == "a working directory that is gone") {
    const std::string folder = arguments[1] + "/gone";
    if (mkdir(folder.c_str(), 0700) != 0 || chdir(folder.c_str()) != 0) return 1;
    rmdir(folder.c_str());
  }
  if (oddity == "no environment") {
    getpwuid(getuid());  // the account wrapper looks at its variables now
    clearenv();
    // What would change the machine's own list is left out.
    return MakeAllCalls({kAllNine[0], kAllNine[1], kAllNine[7]}, {6, 1, 0});
  }
  return oddity == "64 KiB of stack" ? OnSmallStack() : MakeAllCalls(kAllNine, kAnswers);
}

TEST(HostileHost, EveryFunctionDoesItsJob) {
  fs::create_directories(InTestFolder("opt"));
  for (const char* oddity :
       {"SIGCHLD is ignored", "SIGCHLD has a handler", "no standard streams", "umask 0777",
        "no HOME", "a working directory that is gone", "no environment", "64 KiB of stack"}) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    if (oddity == std::string_view("64 KiB of stack")) continue;  // the sanitizers need more
#endif
    EXPECT_EQ(ChildProcess(OddHost, {oddity, TestFolder()}, WithAccounts()).Exit(), 0) << oddity;
    EXPECT_TRUE(fs::exists(SuppressPath())) << oddity;
    fs::remove_all(InTestFolder("home"));
  }
}

void CallAs(const std::string& id) {
  for (Call call : kAllNine) {
    if (call.size() > 1) call[1] = id;
    MakeCall(call);
  }
}

// So many times each. A log that is named is replaced meanwhile, as another process does that cuts
// a long one.
int CallFromManyThreads(const Link& /*parent*/, const Arguments& arguments) {
  std::atomic<bool> ended = false;
  const std::string& log = arguments[1];
  std::thread switcher([&] {
    while (!log.empty() && !ended) {
      WriteFile(log + ".next", "");
      fs::rename(log + ".next", log);
    }
  });
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([number, &arguments] {
      for (int round = 0; round < std::stoi(arguments[0]); ++round) {
        CallAs("t" + std::to_string(number));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ended = true;
  switcher.join();
  return MakeCall({"RegisterApplication", "last", "A", "/a"});
}

TEST(HostileHost, ManyThreadsCallEverything) {
  fs::create_directories(InTestFolder("opt"));
#if defined(__SANITIZE_THREAD__)
  constexpr std::size_t kRounds = 1;  // starting a process is slow there
#else
  constexpr std::size_t kRounds = 3;
#endif
  for (const std::string& replaced : {std::string(), LibraryLog()}) {
    ChildProcess host(CallFromManyThreads, {std::to_string(kRounds), replaced}, WithAccounts());
    EXPECT_EQ(host.Exit(), 0) << replaced;
    const std::string text = ReadLog(LibraryLog());
    if (replaced.empty()) {
      // Of several first calls at once none may find the log closed, which would turn it off.
      EXPECT_EQ(Count(text, "In KXLDoPluginAction(...)\n"), 8 * kRounds);
      EXPECT_EQ(Count(text, ">>> Kelda"), 1U) << "opened twice";
    }
    EXPECT_EQ(Count(text, "exception failure"), 0U);
    EXPECT_EQ(Count(text, "appIdentifier = last\n"), 1U) << text;
    fs::remove_all(InTestFolder("var"));
    fs::remove_all(InTestFolder("home"));
  }
}

// What takes locks of the C library that are not freed in a child.
void UseTheCLibrary() {
  char text[64];
  std::time_t now = std::time(nullptr);
  std::tm fields;
  gmtime_r(&now, &fields);
  localtime_r(&now, &fields);
  std::strftime(text, sizeof text, "%c %Z", &fields);
  std::mktime(&fields);
  unsetenv("NOT_THERE");
  std::ostringstream();  // takes a locale
}

int ForkBesideCalls(const Link& /*parent*/, const Arguments& /*arguments*/) {
  std::locale::global(std::locale(std::locale(), new std::numpunct<char>));
  std::atomic<bool> ended = false;
  std::vector<std::thread> threads;
  threads.emplace_back([&ended] {
    while (!ended) UseTheCLibrary();
  });
  threads.emplace_back([&ended] {
    while (!ended) CallAs("another");
  });
  int result = MakeAllCalls(kAllNine, kAnswers);
  for (std::size_t i = 0; i < 20 * kAllNine.size() && result == 0; ++i) {
    const std::size_t which = i % kAllNine.size();
    const pid_t child = fork();
    if (child == 0) {
      alarm(10);
      _exit(MakeAllCalls({kAllNine[which]}, {kAnswers[which]}));
    }
    if (waitpid(child, &result, 0) != child) result = -1;
    EXPECT_EQ(result, 0) << *kAllNine[which][0];
  }
  ended = true;
  for (std::thread& thread : threads) thread.join();
  return result == 0 ? 0 : 1;
}

TEST(HostileHost, MayForkWhileItsThreadsCall) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a child may find the sanitizer's own locks held";
#endif
  fs::create_directories(InTestFolder("opt"));
  WriteSettings("<LastDateCheck>2008-03-31</LastDateCheck>");
  EXPECT_EQ(ChildProcess(ForkBesideCalls, {}, WithAccounts()).Exit(), 0);
}

volatile sig_atomic_t forks = 0;
volatile sig_atomic_t childrenThatHang = 0;

// As crash reporters do. A child that calls finds half done what its thread was doing.
void ForkInHandler(int /*signal*/) {
  const pid_t child = fork();
  if (child == 0) {
    sigset_t none;
    sigemptyset(&none);
    signal(SIGALRM, SIG_DFL);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    alarm(5);
    if (forks % 2 == 1) KXLGetVersion();  // the others take locks of files, and look accounts up
    _exit(0);
  }
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  forks = forks + 1;
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) childrenThatHang = childrenThatHang + 1;
}

int ForkInsideCalls(const Link& /*parent*/, const Arguments& /*arguments*/) {
  // An administrator without a database of accounts in between, which has locks of its own.
  constexpr gid_t kUnknownGroup = 54321;
  if (setgroups(1, &kUnknownGroup) != 0) return 2;
  struct sigaction action = {};
  action.sa_handler = ForkInHandler;
  action.sa_flags = SA_RESTART;
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often = {{0, 500}, {0, 500}};
  setitimer(ITIMER_REAL, &often, nullptr);
  int result = 0;
  while (forks < 500 && result == 0) result = MakeAllCalls(kAllNine, kAnswers);
  setitimer(ITIMER_REAL, nullptr, nullptr);
  return result != 0 ? result : childrenThatHang;
}

TEST(HostileHost, MayForkInASignalHandlerInsideACall) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a child may find the sanitizer's own locks held";
#endif
  if (geteuid() != 0) GTEST_SKIP() << "needs root to be an administrator";
  fs::create_directories(InTestFolder("opt"));
  WriteSettings("<LastDateCheck>2008-03-31</LastDateCheck>");
  EXPECT_EQ(ChildProcess(ForkInsideCalls).Exit(), 0);
}

}  // namespace
