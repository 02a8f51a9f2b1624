#include "platform/file_copy.h"

#include <unistd.h>

#include "platform/thread_guards.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;

std::string ContentOrNone(const std::string& path) {
  return fs::exists(path) ? ReadFile(path) : "-";
}

TEST(FileCopy, MovesToAFreeName) {
  const std::string source = InTestFolder("a");
  const std::string taken = InTestFolder("taken");
  WriteFile(source, "a");
  WriteFile(taken, "taken");
  EXPECT_FALSE(kxl::CopyFile(source, taken) || kxl::MoveFileTo(source, taken));
  EXPECT_FALSE(kxl::MoveFileTo(source, InTestFolder("no/folder")));
  EXPECT_FALSE(kxl::MoveFileTo(InTestFolder("missing"), InTestFolder("b")));
  EXPECT_EQ(ReadFile(taken), "taken");
  EXPECT_TRUE(kxl::MoveFileTo(source, InTestFolder("b")));
  EXPECT_EQ(ContentOrNone(source) + ContentOrNone(InTestFolder("b")), "-a");
}

// /dev/shm is a file system of its own wherever the tests run.
TEST(FileCopy, AcrossFileSystemsAFileIsCopied) {
  const std::string other = "/dev/shm/kxl-test-" + std::to_string(getpid());
  const std::string file = InTestFolder("file");
  fs::create_directory(other);
  WriteFile(file, std::string(10000, 'x'));
  fs::permissions(file, fs::perms(0640));
  EXPECT_TRUE(kxl::MoveFileTo(file, other + "/file"));
  EXPECT_EQ(ReadFile(other + "/file"), ReadFile(file)) << "the source stays";
  EXPECT_EQ(ModeOf(other + "/file"), 0640U);
  EXPECT_EQ(fs::last_write_time(other + "/file"), fs::last_write_time(file));
  fs::remove_all(other);
}

TEST(FileExchange, SwapsOrGivesTheMissingName) {
  using Exchange = bool(const std::string&, const std::string&);
  const std::tuple<Exchange*, std::string, std::string, bool> cases[] = {
      {kxl::FileExchange, "12", "21", true},
      {kxl::FileExchange, "-2", "2-", true},
      {kxl::FileExchange, "1-", "-1", true},
      {kxl::FileExchange, "--", "--", false},
      {kxl::ExchangeBySteps, "12", "21", true}};
  const std::string paths[] = {InTestFolder("first"), InTestFolder("second")};
  WriteFile(paths[0] + ".0", "somebody else's");
  for (const auto& [exchange, before, after, done] : cases) {
    for (const std::size_t i : {0U, 1U}) {
      fs::remove(paths[i]);
      if (before[i] != '-') WriteFile(paths[i], before.substr(i, 1));
    }
    EXPECT_EQ(exchange(paths[0], paths[1]), done);
    EXPECT_EQ(ContentOrNone(paths[0]) + ContentOrNone(paths[1]), after);
    EXPECT_FALSE(fs::exists(paths[0] + ".1"));
  }
  EXPECT_EQ(ReadFile(paths[0] + ".0"), "somebody else's");
}

int ExchangeOnAFullDisk(const Link& /*parent*/, const Arguments& arguments) {
  LimitFileSize("10");
  const kxl::FileSizeSignalBlock noSignal;
  return kxl::ExchangeBySteps(arguments[0], arguments[1]);
}

// A disk that is full in the middle must leave both contents under their names.
TEST(FileExchange, ByStepsUndoesWhatItCannotFinish) {
  const std::string paths[] = {InTestFolder("first"), InTestFolder("second")};
  for (const int large : {0, 1}) {
    WriteFile(paths[large], std::string(5000, 'l'));
    WriteFile(paths[1 - large], "small");
    EXPECT_EQ(ChildProcess(ExchangeOnAFullDisk, {paths[0], paths[1]}).Exit(), 0);
    EXPECT_EQ(ReadFile(paths[large]), std::string(5000, 'l'));
    EXPECT_EQ(ReadFile(paths[1 - large]), "small");
    EXPECT_FALSE(fs::exists(paths[0] + ".0"));
  }
}

}  // namespace
