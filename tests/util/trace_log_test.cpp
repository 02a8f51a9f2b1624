#include "util/trace_log.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "platform/regular_file.h"
#include "support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using kxl::Flush;
using kxl_test::InTestFolder;
using kxl_test::ReadFile;
using kxl_test::ReadLog;
using kxl_test::WriteFile;

constexpr char kBegin[] = ">>> Kelda Updater Log Begin >>>\n";
constexpr char kEnd[] = "<<< Kelda Updater Log End <<<\n\n\n";

void CloseLog() { kxl::TraceLog::Instance("", 0, kxl::TraceLog::Mode::kClose); }

TEST(TraceLog, WritesLinesUpToItsLevel) {
  for (int level = -1; level <= 3; ++level) {
    const std::string path = InTestFolder("log");
    fs::remove(path);
    EXPECT_EQ(kxl::IsLogOpen(path, level), level > 0);
    std::string expected = kBegin;
    for (int line = 1; line <= 3; ++line) {
      kxl::LogMessage(line, Flush::kYes, "text");
      kxl::LogValue(line, Flush::kYes, "name", "a\nb");
      kxl::LogNumber(line, Flush::kYes, "n", 4294967295U);
      if (line <= level) expected += "text\nname = a\nb\nn = 4294967295\n";
    }
    CloseLog();
    EXPECT_EQ(fs::exists(path), level > 0);
    if (level > 0) {
      EXPECT_EQ(ReadLog(path), expected + kEnd) << level;
    }
  }
}

TEST(TraceLog, LinesWaitForAFlushingOne) {
  const std::string path = InTestFolder("log");
  kxl::IsLogOpen(path, 2);
  kxl::LogMessage(2, Flush::kNo, "waits");
  EXPECT_EQ(ReadLog(path), "");
  kxl::LogMessage(2, Flush::kYes, "flushes");
  EXPECT_EQ(ReadLog(path), kBegin + std::string("waits\nflushes\n"));
  kxl::LogMessage(2, Flush::kNo, "last");
  CloseLog();
  EXPECT_TRUE(ReadLog(path).ends_with("last\n" + std::string(kEnd)));
}

TEST(TraceLog, ANewPathSwitchesFiles) {
  kxl::IsLogOpen(InTestFolder("a"), 2);
  EXPECT_TRUE(kxl::IsLogOpen("", 3)) << "no path keeps the file";
  EXPECT_TRUE(kxl::IsLogOpen(InTestFolder("b"), 1));
  kxl::LogMessage(2, Flush::kYes, "too detailed now");
  EXPECT_EQ(ReadLog(InTestFolder("a")), kBegin + std::string(kEnd));
  EXPECT_FALSE(
      kxl::TraceLog::Instance(InTestFolder("c"), 2, kxl::TraceLog::Mode::kCloseOnly).IsOpen());
  EXPECT_EQ(ReadLog(InTestFolder("b")), kBegin + std::string(kEnd));
  EXPECT_FALSE(fs::exists(InTestFolder("c")));
}

TEST(TraceLog, AMessageWithoutAFileTurnsItOff) {
  CloseLog();
  kxl::LogMessage(1, Flush::kYes, "lost");
  EXPECT_EQ(kxl::TraceLog::Instance("", 0, kxl::TraceLog::Mode::kSwitch).Level(), 0);
  EXPECT_FALSE(fs::exists("/tmp/KX4.log"));
  EXPECT_FALSE(kxl::IsLogOpen(InTestFolder("no/folder/log"), 2));
  EXPECT_FALSE(kxl::IsLogOpen(kxl_test::TestFolder(), 2));
}

TEST(TraceLog, CutsALongFileToItsEnd) {
  const std::string path = InTestFolder("log");
  const struct {
    std::size_t size;
    bool isLocked;
    std::size_t kept;
  } cases[] = {{50000, false, 50000}, {50001, false, 30000}, {50001, true, 50001}};
  for (const auto& [size, isLocked, kept] : cases) {
    std::string old(size, 'x');
    old[size - 30000] = 'F';
    WriteFile(path, old);
    fs::permissions(path, fs::perms(0600));
    WriteFile(path + "_", "left by somebody who died");
    const kxl::OpenedFile trimmer =
        kxl::OpenRegularFile(path, kxl::FileAccess::kRead, kxl::Links::kRefuse);
    if (isLocked) {
      ASSERT_TRUE(kxl::TakeWhileNamed(trimmer.descriptor.get(), path));
    }
    kxl::IsLogOpen(path, 1);
    CloseLog();
    EXPECT_EQ(ReadLog(path).substr(0, kept), old.substr(size - kept));
    // The old text has no line end, so one time stamp is not taken for one.
    EXPECT_EQ(ReadLog(path).size(), kept + sizeof kBegin - 1 + sizeof kEnd - 1 + 21);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::exists(path + "_"), kept != 30000);
    fs::remove(path + "_");
  }
}

TEST(TraceLog, GoesOnInTheFileThatAnotherProcessHasCut) {
  const std::string path = InTestFolder("log");
  kxl::IsLogOpen(path, 2);
  kxl::LogMessage(2, Flush::kYes, "before");
  WriteFile(path + ".new", "the end of it\n");
  fs::rename(path + ".new", path);
  kxl::LogMessage(2, Flush::kYes, "after");
  EXPECT_EQ(ReadLog(path), "the end of it\nafter\n");
  CloseLog();
}

// The parent's lines are not written twice, and a child's exit neither hangs nor ends the file.
TEST(TraceLog, AForkedChildWritesItsOwnLinesOnly) {
  const std::string path = InTestFolder("log");
  kxl::IsLogOpen(path, 2);
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
  const std::string text = ReadLog(path);
  EXPECT_EQ(text.find("the parent's"), text.rfind("the parent's"));
  EXPECT_EQ(text.find("<<<"), text.size() - sizeof kEnd + 1);
}

TEST(TraceLog, KeepsEveryLineOfManyThreadsWhileFilesSwitch) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  const std::string paths[] = {InTestFolder("a"), InTestFolder("b")};
  kxl::IsLogOpen(paths[0], 2);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < kLines; ++n) kxl::LogMessage(2, n % 2 ? Flush::kYes : Flush::kNo, "line");
    });
  }
  for (int i = 1; i <= 50; ++i) kxl::IsLogOpen(paths[i % 2], 2);
  for (std::thread& thread : threads) thread.join();
  CloseLog();
  const std::string text = ReadFile(paths[0]) + ReadFile(paths[1]);
  std::size_t lines = 0;
  for (std::size_t at = 0; (at = text.find(": line\n", at)) != std::string::npos; ++at) ++lines;
  EXPECT_EQ(lines, std::size_t{kThreads * kLines});
}

}  // namespace
