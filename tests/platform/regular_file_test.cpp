#include "platform/regular_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using kxl::FileAccess;
using kxl::Links;
using kxl::OpenStatus;
using kxl_test::InTestFolder;

TEST(RegularFile, OpensNothingElseAndNeverWaits) {
  fs::create_directory(InTestFolder("folder"));
  kxl_test::WriteFile(InTestFolder("file"), "12345");
  fs::create_symlink(InTestFolder("file"), InTestFolder("link"));
  fs::create_symlink(InTestFolder("nowhere"), InTestFolder("dangling"));
  ASSERT_EQ(mkfifo(InTestFolder("fifo").c_str(), 0600), 0);
  const struct {
    std::string path;
    OpenStatus read;
    OpenStatus append;
  } cases[] = {{InTestFolder("folder"), OpenStatus::kFolder, OpenStatus::kFolder},
               {InTestFolder("file"), OpenStatus::kOpened, OpenStatus::kOpened},
               {InTestFolder("link"), OpenStatus::kNotRegular, OpenStatus::kNotRegular},
               {InTestFolder("dangling"), OpenStatus::kNotRegular, OpenStatus::kNotRegular},
               {InTestFolder("fifo"), OpenStatus::kNotRegular, OpenStatus::kNotRegular},
               {"/dev/null", OpenStatus::kNotRegular, OpenStatus::kNotRegular},
               {InTestFolder("missing"), OpenStatus::kMissing, OpenStatus::kOpened},
               {InTestFolder("no/folder"), OpenStatus::kMissing, OpenStatus::kMissing}};
  for (const auto& [path, read, append] : cases) {
    EXPECT_EQ(kxl::OpenRegularFile(path, FileAccess::kRead, Links::kRefuse).status, read) << path;
    EXPECT_EQ(kxl::OpenRegularFile(path, FileAccess::kAppend, Links::kRefuse).status, append)
        << path;
  }
  EXPECT_FALSE(fs::exists(InTestFolder("nowhere")));
  EXPECT_EQ(kxl::OpenRegularFile(InTestFolder("link"), FileAccess::kRead, Links::kFollow).size, 5U);
}

CHILD_BODY(OpenWithoutStandardStreams) {
  for (const int stream : {0, 1, 2}) close(stream);
  const kxl::OpenedFile file =
      kxl::OpenRegularFile(arguments[0], FileAccess::kAppend, Links::kFollow);
  const bool closesAtExec = fcntl(file.descriptor.get(), F_GETFD) == FD_CLOEXEC;
  return file.descriptor.get() > 2 && closesAtExec && fcntl(1, F_GETFD) == -1 ? 0 : 1;
}

// A host without standard streams may still print, and must not print into our files.
TEST(RegularFile, LeavesTheStandardStreamsNumbersAlone) {
  kxl_test::ChildProcess child("OpenWithoutStandardStreams", {InTestFolder("file")});
  EXPECT_EQ(child.Exit(), 0);
}

}  // namespace
