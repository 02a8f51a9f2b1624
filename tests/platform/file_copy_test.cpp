#include "platform/file_copy.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>

#include "platform/thread_guards.h"
#include "support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using kxl_test::InTestFolder;
using kxl_test::ReadFile;
using kxl_test::WriteFile;

std::string ContentOrNone(const std::string& path) {
  return fs::exists(path) ? ReadFile(path) : "-";
}

TEST(FileCopy, CopiesDataModeTimeAndAttributes) {
  const std::string source = InTestFolder("source");
  const std::string copy = InTestFolder("copy");
  const std::string data(10000, 'x');
  WriteFile(source, data);
  chmod(source.c_str(), 0640);
  const bool attributes = setxattr(source.c_str(), "user.note", "hello", 5, 0) == 0;
  ASSERT_TRUE(kxl::CopyFile(source, copy));
  EXPECT_EQ(ReadFile(copy), data);
  EXPECT_EQ(fs::last_write_time(copy), fs::last_write_time(source));
  EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0640));
  char value[5];
  if (attributes) {
    EXPECT_EQ(getxattr(copy.c_str(), "user.note", value, sizeof value), 5);
  }

  WriteFile(source, "new");
  EXPECT_FALSE(kxl::CopyFile(source, copy)) << "a taken name";
  EXPECT_EQ(ReadFile(copy), data);
}

TEST(FileCopy, MovesToAFreeName) {
  WriteFile(InTestFolder("a"), "a");
  WriteFile(InTestFolder("taken"), "taken");
  EXPECT_FALSE(kxl::MoveFileTo(InTestFolder("a"), InTestFolder("no/folder")));
  EXPECT_FALSE(kxl::MoveFileTo(InTestFolder("missing"), InTestFolder("b")));
  EXPECT_FALSE(kxl::MoveFileTo(InTestFolder("a"), InTestFolder("taken")));
  EXPECT_EQ(ReadFile(InTestFolder("taken")), "taken");
  EXPECT_TRUE(kxl::MoveFileTo(InTestFolder("a"), InTestFolder("b")));
  EXPECT_EQ(ContentOrNone(InTestFolder("a")) + ContentOrNone(InTestFolder("b")), "-a");
}

// /dev/shm is a file system of its own wherever the tests run.
TEST(FileCopy, AcrossFileSystemsAFileStaysAndATreeMoves) {
  const std::string other = "/dev/shm/kxl-test-" + std::to_string(getpid());
  fs::create_directory(other);
  WriteFile(InTestFolder("file"), "data");
  WriteFile(InTestFolder("tree/deep/file"), "data");
  EXPECT_TRUE(kxl::MoveFileTo(InTestFolder("file"), other + "/file"));
  EXPECT_EQ(ReadFile(other + "/file"), "data");
  EXPECT_TRUE(fs::exists(InTestFolder("file")));

  std::string moved;
  EXPECT_EQ(kxl::MoveObject(InTestFolder("file"), other, moved), EEXIST);
  EXPECT_EQ(kxl::MoveObject(InTestFolder("tree"), other, moved), 0);
  EXPECT_EQ(moved, other + "/tree");
  EXPECT_EQ(ReadFile(other + "/tree/deep/file"), "data");
  EXPECT_FALSE(fs::exists(InTestFolder("tree")));
  fs::remove_all(other);
}

TEST(FileExchange, SwapsOrGivesTheMissingName) {
  using Exchange = bool (*)(const std::string&, const std::string&);
  const struct {
    Exchange exchange;
    const char* before[2];
    bool done;
    const char* after[2];
  } cases[] = {{kxl::FileExchange, {"1", "2"}, true, {"2", "1"}},
               {kxl::FileExchange, {"-", "2"}, true, {"2", "-"}},
               {kxl::FileExchange, {"1", "-"}, true, {"-", "1"}},
               {kxl::FileExchange, {"-", "-"}, false, {"-", "-"}},
               {kxl::ExchangeBySteps, {"1", "2"}, true, {"2", "1"}}};
  const std::string paths[] = {InTestFolder("first"), InTestFolder("second")};
  WriteFile(paths[0] + ".0", "somebody else's");
  for (const auto& test : cases) {
    for (int i : {0, 1}) {
      fs::remove(paths[i]);
      if (*test.before[i] != '-') WriteFile(paths[i], test.before[i]);
    }
    EXPECT_EQ(test.exchange(paths[0], paths[1]), test.done);
    for (int i : {0, 1}) EXPECT_EQ(ContentOrNone(paths[i]), test.after[i]);
    EXPECT_FALSE(fs::exists(paths[0] + ".1"));
  }
  EXPECT_EQ(ReadFile(paths[0] + ".0"), "somebody else's");
}

CHILD_BODY(ExchangeWithAFileSizeLimit) {
  const rlimit limit = {10, 10};
  setrlimit(RLIMIT_FSIZE, &limit);
  const kxl::FileSizeSignalBlock noSignal;
  return kxl::ExchangeBySteps(arguments[0], arguments[1]) ? 0 : 1;
}

// A disk that is full in the middle must leave both contents under their names.
TEST(FileExchange, ByStepsUndoesWhatItCannotFinish) {
  for (const bool firstIsLarge : {true, false}) {
    const std::string large(5000, 'l');
    const std::string first = firstIsLarge ? large : "small";
    const std::string second = firstIsLarge ? "small" : large;
    WriteFile(InTestFolder("first"), first);
    WriteFile(InTestFolder("second"), second);
    kxl_test::ChildProcess child("ExchangeWithAFileSizeLimit",
                                 {InTestFolder("first"), InTestFolder("second")});
    EXPECT_EQ(child.Exit(), 1);
    EXPECT_EQ(ReadFile(InTestFolder("first")), first);
    EXPECT_EQ(ReadFile(InTestFolder("second")), second);
    EXPECT_FALSE(fs::exists(InTestFolder("first.0")));
  }
}

}  // namespace
