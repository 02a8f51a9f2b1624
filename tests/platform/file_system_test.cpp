#include "platform/file_system.h"

#include <grp.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/base_folders.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;

TEST(FileSystem, NewFoldersTakeTheirParentsMode) {
  const std::string base = InTestFolder("base");
  fs::create_directory(base);
  chmod(base.c_str(), 02750);
  bool created = false;
  ASSERT_TRUE(kxl::CreateFolderTree(base + "/a/b/", &created));
  EXPECT_TRUE(created);
  EXPECT_EQ(ModeOf(base + "/a/b"), 02750U);
  ASSERT_TRUE(kxl::CreateFolderTree(base + "/a/b", &created));
  EXPECT_FALSE(created);
  WriteFile(base + "/file", "");
  EXPECT_FALSE(kxl::CreateFolderTree(base + "/file"));
  EXPECT_FALSE(kxl::CreateFolderTree(base + "/file/below"));
}

// In a user namespace that knows no account, and below a root without /proc.
int SetModesInAContainer(const Link& /*parent*/, const Arguments& arguments) {
  if (unshare(CLONE_NEWUSER) != 0 || chroot(arguments[0].c_str()) != 0) return 77;
  setenv("KXL_ROOT", "/", 1);
  std::string temporary;
  umask(0077);
  const bool hasFailed =
      !kxl::CreateFolderTree("/base/a/b") || ModeOf("/base/a/b") != 01330U ||
      !kxl::CreateFolderTree("/c") || !kxl::SetSharedMode("/c") || !kxl::AddModeBits("/c", 02) ||
      ModeOf("/c") != 0777U ||
      !kxl::FindFolder(kxl::kLocalTemporaryItems, temporary, kxl::IfMissing::kCreate);
  _exit(hasFailed ? 1 : 0);  // a leak check would look into /proc
}

TEST(FileSystem, ContainersHaveModesToo) {
  fs::create_directory(InTestFolder("base"));
  chmod(InTestFolder("base").c_str(), 01330);
  const int status = ChildProcess(SetModesInAContainer, {TestFolder()}).Exit();
  chmod(InTestFolder("base").c_str(), 0700);
  if (status == 77) GTEST_SKIP() << "no user namespaces here";
  EXPECT_EQ(status, 0);
}

TEST(FileSystem, SetsModes) {
  const std::string missing = InTestFolder("missing");
  WriteFile(InTestFolder("folder/file"), "");
  mkfifo(InTestFolder("fifo").c_str(), 0600);
  for (const char* name : {"folder/file", "folder", "fifo"}) {
    const std::string path = InTestFolder(name);
    chmod(path.c_str(), 01700);
    mode_t mode = 0;
    EXPECT_TRUE(kxl::AddModeBits(path, 0022) && kxl::GetMode(path, mode));
    EXPECT_EQ(mode, 01722U);
    EXPECT_TRUE(kxl::SetSharedMode(path));
    EXPECT_EQ(ModeOf(path), kxl::IsFolder(path) ? 0775U : 0664U);
    EXPECT_FALSE(kxl::SetSharedMode(missing) || kxl::AddModeBits(missing, 0666) ||
                 kxl::GetMode(missing, mode));
  }
}

TEST(FileSystem, RemovalStaysInsideItsPlace) {
  WriteFile(InTestFolder("outside/precious"), "kept");
  fs::create_directories(InTestFolder("folder/deep/er"));
  fs::create_directory_symlink(InTestFolder("outside"), InTestFolder("folder/deep/link"));
  fs::create_directory_symlink(InTestFolder("outside"), InTestFolder("link"));
  fs::create_symlink(InTestFolder("nowhere"), InTestFolder("dangling"));
  WriteFile(InTestFolder("folder/file"), "");
  EXPECT_FALSE(kxl::DeleteFolder(InTestFolder("folder/file"), kxl::Contents::kDelete));
  EXPECT_FALSE(kxl::DeleteFolder(InTestFolder("folder"), kxl::Contents::kKeep));
  EXPECT_NE(kxl::DeleteFolderContents(InTestFolder("link")), 0);
  EXPECT_TRUE(fs::exists(InTestFolder("folder/file")));
  for (const char* name : {"folder", "link", "dangling", "missing"}) {
    EXPECT_TRUE(kxl::RemoveFileSystemObject(InTestFolder(name))) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(InTestFolder(name)))) << name;
  }
  EXPECT_FALSE(kxl::DeleteFolder(InTestFolder("missing"), kxl::Contents::kDelete));
  EXPECT_EQ(ReadFile(InTestFolder("outside/precious")), "kept");
}

// Tells of each file whether the ordinary user, who is in the group 5000 too, could remove it.
int RemoveAsAUser(const Link& parent, const Arguments& files) {
  const gid_t group = 5000;
  if (setgroups(1, &group) != 0 || setgid(2000) != 0 || setuid(2000) != 0) return 1;
  for (const std::string& file : files) parent.Write(kxl::RemoveFileSystemObject(file) ? "y" : "n");
  return 0;
}

TEST(FileSystem, RemovesWhatTheCallerMayWrite) {
  const std::string own = InTestFolder("own");
  WriteFile(own, "kept");
  chmod(own.c_str(), 0444);
  EXPECT_FALSE(kxl::RemoveFileSystemObject(own));
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  const std::tuple<uid_t, gid_t, mode_t, char> cases[] = {
      {2000, 2000, 0644, 'y'}, {2000, 5000, 0464, 'y'}, {2000, 2000, 0446, 'y'},
      {2000, 5000, 0444, 'n'}, {2001, 5000, 0664, 'y'}, {2001, 5000, 0644, 'n'},
      {2001, 5000, 0646, 'y'}, {2001, 2000, 0644, 'n'}, {2001, 2001, 0644, 'y'}};
  chmod(TestFolder().c_str(), 0777);
  Arguments files;
  std::string expected;
  for (const auto& [user, group, mode, removed] : cases) {
    files.push_back(InTestFolder(std::to_string(files.size())));
    WriteFile(files.back(), "");
    ASSERT_EQ(chown(files.back().c_str(), user, group), 0);
    chmod(files.back().c_str(), mode);
    expected += removed;
  }
  EXPECT_EQ(ChildProcess(RemoveAsAUser, files).ReadAll(), expected);
  chmod(TestFolder().c_str(), 0700);
}

}  // namespace
