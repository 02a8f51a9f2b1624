#include "platform/file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using kxl_test::InTestFolder;
using kxl_test::WriteFile;

TEST(FileSystem, NewFoldersTakeTheirParentsMode) {
  const std::string base = InTestFolder("base");
  fs::create_directory(base);
  chmod(base.c_str(), 02750);
  bool created = false;
  ASSERT_TRUE(kxl::CreateFolderTree(base + "/a/b/", &created));
  EXPECT_TRUE(created);
  mode_t mode;
  ASSERT_TRUE(kxl::GetMode(base + "/a/b", mode));
  EXPECT_EQ(mode, 02750U);
  ASSERT_TRUE(kxl::CreateFolderTree(base + "/a/b", &created));
  EXPECT_FALSE(created);
  WriteFile(base + "/file", "");
  EXPECT_FALSE(kxl::CreateFolderTree(base + "/file"));
  EXPECT_FALSE(kxl::CreateFolderTree(base + "/file/below"));
}

TEST(FileSystem, SetsModes) {
  const std::string file = InTestFolder("file");
  const std::string folder = InTestFolder("folder");
  WriteFile(file, "");
  fs::create_directory(folder);
  mode_t mode;
  for (const std::string& path : {file, folder}) {
    chmod(path.c_str(), 01700);
    EXPECT_TRUE(kxl::AddModeBits(path, 0022) && kxl::GetMode(path, mode));
    EXPECT_EQ(mode, 01722U);
    EXPECT_TRUE(kxl::SetSharedMode(path) && kxl::GetMode(path, mode));
    EXPECT_EQ(mode, path == file ? 0664U : 0775U);
  }
  EXPECT_FALSE(kxl::SetSharedMode(InTestFolder("missing")));
  EXPECT_FALSE(kxl::AddModeBits(InTestFolder("missing"), 0666));
  EXPECT_FALSE(kxl::GetMode(InTestFolder("missing"), mode));
}

TEST(FileSystem, RemovalStaysInsideItsPlace) {
  WriteFile(InTestFolder("outside/precious"), "kept");
  fs::create_directories(InTestFolder("folder/deep/er"));
  fs::create_directory_symlink(InTestFolder("outside"), InTestFolder("folder/deep/link"));
  fs::create_directory_symlink(InTestFolder("outside"), InTestFolder("link"));
  fs::create_symlink(InTestFolder("nowhere"), InTestFolder("dangling"));
  WriteFile(InTestFolder("folder/file"), "");
  for (const char* name : {"folder", "link", "dangling", "missing"}) {
    EXPECT_TRUE(kxl::RemoveFileSystemObject(InTestFolder(name))) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(InTestFolder(name)))) << name;
  }
  EXPECT_EQ(kxl_test::ReadFile(InTestFolder("outside/precious")), "kept");
}

TEST(FileSystem, KeepsAFileThatItsOwnerMayNotWrite) {
  const std::string path = InTestFolder("readonly");
  WriteFile(path, "kept");
  chmod(path.c_str(), 0466);
  EXPECT_FALSE(kxl::RemoveFileSystemObject(path));
  EXPECT_TRUE(fs::exists(path));
}

TEST(FileSystem, DeletesFolders) {
  WriteFile(InTestFolder("full/file"), "");
  WriteFile(InTestFolder("file"), "");
  EXPECT_FALSE(kxl::DeleteFolder(InTestFolder("file"), kxl::Contents::kDelete));
  EXPECT_TRUE(fs::exists(InTestFolder("file")));
  EXPECT_FALSE(kxl::DeleteFolder(InTestFolder("missing"), kxl::Contents::kDelete));
  EXPECT_FALSE(kxl::DeleteFolder(InTestFolder("full"), kxl::Contents::kKeep));
  EXPECT_TRUE(kxl::DeleteFolder(InTestFolder("full"), kxl::Contents::kDelete));
  EXPECT_FALSE(fs::exists(InTestFolder("full")));
  EXPECT_EQ(kxl::DeleteFolderContents(InTestFolder("missing")), ENOENT);
}

}  // namespace
