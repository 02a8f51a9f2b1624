#include "util/trace_log.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <functional>
#include <thread>

#include "platform/regular_file.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;
using kxl::Flush;

const std::string kBegin = ">>> Kelda Updater Log Begin >>>\n";
const std::string kEnd = "<<< Kelda Updater Log End <<<\n\n\n";

void CloseLog() { kxl::TraceLog::Instance("", 0, kxl::TraceLog::Mode::kClose); }

class TraceLogTest : public testing::Test {
 protected:
  const std::string path_ = InTestFolder("log");
};

TEST_F(TraceLogTest, WritesLinesUpToItsLevel) {
  for (int level = -1; level <= 3; ++level) {
    fs::remove(path_);
    EXPECT_EQ(kxl::IsLogOpen(path_, level), level > 0);
    std::string expected = kBegin;
    for (int line = 1; line <= 3; ++line) {
      kxl::LogMessage(line, Flush::kYes, "text");
      kxl::LogValue(line, Flush::kYes, "name", "a\nb");
      kxl::LogNumber(line, Flush::kYes, "n", 4294967295U);
      if (line <= level) expected += "text\nname = a\nb\nn = 4294967295\n";
    }
    CloseLog();
    EXPECT_EQ(fs::exists(path_), level > 0);
    EXPECT_EQ(ReadLog(path_), level > 0 ? expected + kEnd : "") << level;
  }
}

TEST_F(TraceLogTest, CutsALongFileToItsEnd) {
  const std::string companion = path_ + "_";
  kxl::FileDescriptor log;
  const auto replace = [&](auto make, mode_t mode) {
    return remove(companion.c_str()) + make(companion.c_str(), mode);
  };
  const auto link = [](const char* path, mode_t) { return symlink("target", path); };
  const std::tuple<std::size_t, std::function<int()>, std::size_t> cases[] = {
      {50000, [] { return 0; }, 50000},
      {50001, [&] { return chmod(companion.c_str(), 0200); }, 30000},
      {50001, [&] { return flock(log.get(), LOCK_EX); }, 50001},
      {50001, [&] { return replace(mkdir, 0700); }, 50001},
      {50001, [&] { return replace(link, 0); }, 50001},
      {50001, [&] { return replace(mkfifo, 0600); }, 50001},
      {50001, [&] { return chmod(TestFolder().c_str(), 01777); }, 50001},
      {50001,
       [&] {
         fs::rename(path_, InTestFolder("target"));
         return remove(companion.c_str()) + link(path_.c_str(), 0);
       },
       30000}};
  for (const auto& [size, prepare, kept] : cases) {
    for (const std::string& path : {path_, companion}) fs::remove(path);
    std::string old(size, 'x');
    old[size - 30000] = 'F';
    WriteFile(path_, old);
    WriteFile(companion, "left by somebody who died");
    fs::permissions(path_, fs::perms(0640));
    const bool mayGive = chown(path_.c_str(), 2000, 2001) == 0;
    log = kxl::FileDescriptor(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(prepare(), 0);
    kxl::IsLogOpen(path_, 1);
    CloseLog();
    chmod(TestFolder().c_str(), 0700);
    EXPECT_TRUE(ReadLog(path_).starts_with(old.substr(size - kept)));
    // The old text has no line end, so one time stamp is not taken for one.
    EXPECT_EQ(ReadLog(path_).size(), kept + kBegin.size() + kEnd.size() + 21);
    struct stat info = {};
    stat(path_.c_str(), &info);
    EXPECT_EQ(info.st_mode & 07777, 0640U);
    EXPECT_TRUE(!mayGive || (info.st_uid == 2000 && info.st_gid == 2001));
    EXPECT_EQ(fs::exists(fs::symlink_status(companion)), kept != 30000);
  }
  EXPECT_TRUE(fs::is_symlink(path_));
  chmod(TestFolder().c_str(), 01777);
  EXPECT_FALSE(kxl::IsLogOpen(path_, 1)) << "followed a link in a temporary folder";
  chmod(TestFolder().c_str(), 0700);
}

// Another process writes a line at each system call of the one that cuts.
TEST_F(TraceLogTest, KeepsTheLinesThatAreWrittenMeanwhile) {
  WriteFile(path_, std::string(60000, 'x'));
  const pid_t child = fork();
  if (child == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    kxl::IsLogOpen(path_, 1);
    _exit(0);
  }
  std::size_t lines = 0;
  for (int status = 0; waitpid(child, &status, 0) == child && WIFSTOPPED(status); ++lines) {
    std::ofstream(path_, std::ios::app) << "line\n";
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
  }
  if (lines < 10) GTEST_SKIP() << "no process may be traced here";
  const std::string text = ReadFile(path_);
  EXPECT_LT(Count(text, "x"), 30001U);
  EXPECT_EQ(Count(text, "line\n"), lines);
}

int OpenWithoutASystemCall(const Link& /*parent*/, const Arguments& arguments) {
  FailSystemCall(std::stoi(arguments[1]), EIO);
  return kxl::IsLogOpen(arguments[0], 1) ? 0 : 1;
}

// Neither the end of the log is lost nor a companion left that no later opening would look for.
TEST_F(TraceLogTest, CutsWholeOrNotAtAll) {
  const std::string old(60000, 'x');
  for (const auto& [call, kept] : {std::pair(SYS_pread64, 60000U), std::pair(SYS_fchmod, 60000U),
                                   std::pair(SYS_unlinkat, 30000U), std::pair(SYS_flock, 30000U)}) {
    WriteFile(path_, old);
    EXPECT_EQ(ChildProcess(OpenWithoutASystemCall, {path_, std::to_string(call)}).Exit(), 0);
    EXPECT_EQ(Count(ReadFile(path_), "x"), kept);
    EXPECT_FALSE(fs::exists(path_ + "_"));
  }
}

TEST_F(TraceLogTest, GoesOnInTheFileThatAnotherProcessHasCut) {
  kxl::IsLogOpen(path_, 2);
  kxl::LogMessage(2, Flush::kYes, "before");
  WriteFile(path_ + ".new", "the end of it\n");
  fs::rename(path_ + ".new", path_);
  kxl::LogMessage(2, Flush::kYes, "after");
  EXPECT_EQ(ReadLog(path_), "the end of it\nafter\n");
  CloseLog();
}

TEST_F(TraceLogTest, KeepsEveryLineOfManyThreadsWhileFilesSwitch) {
  kxl::IsLogOpen(path_, 2);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 200; ++n) kxl::LogMessage(2, n % 2 ? Flush::kYes : Flush::kNo, "line");
    });
  }
  for (int i = 1; i <= 50; ++i) kxl::IsLogOpen(i % 2 ? path_ + "b" : path_, 2);
  for (std::thread& thread : threads) thread.join();
  CloseLog();
  EXPECT_EQ(Count(ReadFile(path_) + ReadFile(path_ + "b"), ": line\n"), 800U);
}

TEST_F(TraceLogTest, SwitchesFilesAndTurnsOffWithoutOne) {
  const bool existed = fs::exists("/tmp/KX4.log");  // somebody else's
  kxl::IsLogOpen(path_, 2);
  EXPECT_TRUE(kxl::IsLogOpen("", 3)) << "no path keeps the file";
  EXPECT_TRUE(kxl::IsLogOpen(InTestFolder("b"), 1));
  kxl::LogMessage(2, Flush::kYes, "too detailed now");
  CloseLog();
  for (const char* name : {"log", "b"}) EXPECT_EQ(ReadLog(InTestFolder(name)), kBegin + kEnd);
  kxl::LogMessage(1, Flush::kYes, "lost");
  EXPECT_EQ(kxl::TraceLog::Instance("", 0, kxl::TraceLog::Mode::kSwitch).Level(), 0);
  EXPECT_EQ(fs::exists("/tmp/KX4.log"), existed);
  EXPECT_FALSE(kxl::IsLogOpen(InTestFolder("no/folder/log"), 2));
  EXPECT_FALSE(kxl::IsLogOpen(TestFolder(), 2));
  EXPECT_TRUE(kxl::IsLogOpen(InTestFolder("c"), 2)) << "a failure is not for ever";
  CloseLog();
}

}  // namespace
