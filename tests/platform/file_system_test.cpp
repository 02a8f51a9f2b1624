#include "platform/file_system.h"

#include <sys/stat.h>

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

TEST(FileSystem, SetsModes) {
  const std::string missing = InTestFolder("missing");
  WriteFile(InTestFolder("folder/file"), "");
  for (const std::string& path : {InTestFolder("folder/file"), InTestFolder("folder")}) {
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
  EXPECT_TRUE(fs::exists(InTestFolder("folder/file")));
  for (const char* name : {"folder", "link", "dangling", "missing"}) {
    EXPECT_TRUE(kxl::RemoveFileSystemObject(InTestFolder(name))) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(InTestFolder(name)))) << name;
  }
  EXPECT_FALSE(kxl::DeleteFolder(InTestFolder("missing"), kxl::Contents::kDelete));
  EXPECT_EQ(ReadFile(InTestFolder("outside/precious")), "kept");
}

TEST(FileSystem, KeepsAFileThatItsOwnerMayNotWrite) {
  const std::string path = InTestFolder("readonly");
  WriteFile(path, "kept");
  chmod(path.c_str(), 0466);
  EXPECT_FALSE(kxl::RemoveFileSystemObject(path));
  EXPECT_TRUE(fs::exists(path));
}

}  // namespace
