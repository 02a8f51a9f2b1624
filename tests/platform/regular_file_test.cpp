#include "platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/test_folder.h"

namespace {

using namespace kxl_test;
using kxl::FileAccess;
using kxl::Links;
using kxl::OpenStatus;

TEST(RegularFile, OpensNothingElseAndNeverWaits) {
  fs::create_directory(InTestFolder("folder"));
  WriteFile(InTestFolder("file"), "12345");
  fs::create_symlink(InTestFolder("file"), InTestFolder("link"));
  fs::create_symlink(InTestFolder("nowhere"), InTestFolder("dangling"));
  ASSERT_EQ(mkfifo(InTestFolder("fifo").c_str(), 0600), 0);
  const std::tuple<std::string, OpenStatus, OpenStatus> cases[] = {
      {InTestFolder("folder"), OpenStatus::kFolder, OpenStatus::kFolder},
      {InTestFolder("file"), OpenStatus::kOpened, OpenStatus::kOpened},
      {InTestFolder("link"), OpenStatus::kNotRegular, OpenStatus::kNotRegular},
      {InTestFolder("dangling"), OpenStatus::kNotRegular, OpenStatus::kNotRegular},
      {InTestFolder("fifo"), OpenStatus::kNotRegular, OpenStatus::kNotRegular},
      {"/dev/null", OpenStatus::kNotRegular, OpenStatus::kNotRegular},
      {InTestFolder("missing"), OpenStatus::kMissing, OpenStatus::kOpened},
      {InTestFolder("no/folder"), OpenStatus::kMissing, OpenStatus::kMissing}};
  for (const auto& [path, read, append] : cases) {
    EXPECT_EQ(kxl::OpenRegularFile(path, FileAccess::kRead, Links::kRefuse).status, read) << path;
    const auto appended = kxl::OpenRegularFile(path, FileAccess::kAppend, Links::kRefuse);
    EXPECT_EQ(appended.status, append) << path;
  }
  fs::create_hard_link(InTestFolder("file"), InTestFolder("second"));
  EXPECT_EQ(
      kxl::OpenRegularFile(InTestFolder("second"), FileAccess::kReplace, Links::kRefuse).status,
      OpenStatus::kNotRegular);
  EXPECT_EQ(ReadFile(InTestFolder("file")), "12345");
  EXPECT_FALSE(fs::exists(InTestFolder("nowhere")));
  EXPECT_EQ(kxl::OpenRegularFile(InTestFolder("link"), FileAccess::kRead, Links::kFollow).size, 5U);
}

int OpenWithoutStandardStreams(const Link& /*parent*/, const Arguments& arguments) {
  for (const int stream : {0, 1, 2}) close(stream);
  const auto file = kxl::OpenRegularFile(arguments[0], FileAccess::kAppend, Links::kFollow);
  const bool closesAtExec = fcntl(file.descriptor.get(), F_GETFD) == FD_CLOEXEC;
  return file.descriptor.get() > 2 && closesAtExec && fcntl(1, F_GETFD) == -1 ? 0 : 1;
}

// A host without standard streams may still print, and must not print into our files.
TEST(RegularFile, LeavesTheStandardStreamsNumbersAlone) {
  EXPECT_EQ(ChildProcess(OpenWithoutStandardStreams, {InTestFolder("file")}).Exit(), 0);
}

}  // namespace
