#include "util/trace_log.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
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

TEST_F(TraceLogTest, LinesWaitForAFlushingOne) {
  kxl::IsLogOpen(path_, 2);
  kxl::LogMessage(2, Flush::kNo, "waits");
  EXPECT_EQ(ReadLog(path_), "");
  kxl::LogMessage(2, Flush::kYes, "flushes");
  EXPECT_EQ(ReadLog(path_), kBegin + "waits\nflushes\n");
  kxl::LogMessage(2, Flush::kNo, "last");
  CloseLog();
  EXPECT_EQ(ReadLog(path_), kBegin + "waits\nflushes\nlast\n" + kEnd);
}

TEST_F(TraceLogTest, CutsALongFileToItsEnd) {
  const std::tuple<std::size_t, bool, std::size_t> cases[] = {
      {50000, false, 50000}, {50001, false, 30000}, {50001, true, 50001}};
  for (const auto& [size, isLocked, kept] : cases) {
    std::string old(size, 'x');
    old[size - 30000] = 'F';
    WriteFile(path_, old);
    fs::permissions(path_, fs::perms(0600));
    WriteFile(path_ + "_", "left by somebody who died");
    const auto trimmer = kxl::OpenRegularFile(path_, kxl::FileAccess::kRead, kxl::Links::kRefuse);
    EXPECT_TRUE(!isLocked || kxl::TakeWhileNamed(trimmer.descriptor.get(), path_));
    kxl::IsLogOpen(path_, 1);
    CloseLog();
    EXPECT_EQ(ReadLog(path_).substr(0, kept), old.substr(size - kept));
    // The old text has no line end, so one time stamp is not taken for one.
    EXPECT_EQ(ReadLog(path_).size(), kept + kBegin.size() + kEnd.size() + 21);
    EXPECT_EQ(ModeOf(path_), 0600U);
    EXPECT_EQ(fs::exists(path_ + "_"), kept != 30000);
    fs::remove(path_ + "_");
  }
}

int OpenWithoutASystemCall(const Link& /*parent*/, const Arguments& arguments) {
  FailSystemCall(std::stoi(arguments[1]), EIO);
  return kxl::IsLogOpen(arguments[0], 1) ? 0 : 1;
}

// Neither the end of the log is lost nor a companion left that no later opening would look for.
TEST_F(TraceLogTest, CutsWholeOrNotAtAll) {
  const std::string old(60000, 'x');
  for (const auto& [call, kept] : {std::pair(SYS_lseek, 60000U), std::pair(SYS_unlink, 30000U)}) {
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

// The parent's lines are not written twice, and a child's exit neither hangs nor ends the file.
TEST_F(TraceLogTest, AForkedChildWritesItsOwnLinesOnly) {
  kxl::IsLogOpen(path_, 2);
  kxl::LogMessage(2, Flush::kNo, "the parent's");
  std::atomic<bool> done = false;
  std::thread busy([&] {
    while (!done) kxl::LogMessage(2, Flush::kYes, "busy");
  });
  for (int i = 0; i < 50; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      kxl::LogMessage(2, Flush::kYes, "the child's");
      CloseLog();
      _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  done = true;
  busy.join();
  CloseLog();
  const std::string text = ReadFile(path_);
  EXPECT_EQ(Count(text, "the parent's"), 1U);
  EXPECT_EQ(text.find("<<<"), text.size() - kEnd.size());
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
