#include "platform/folders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "platform/file_system.h"
#include "support/test_folder.h"

namespace {

namespace fs = std::filesystem;
using kxl_test::InTestFolder;

mode_t ModeOf(const std::string& path) {
  mode_t mode = 0;
  EXPECT_TRUE(kxl::GetMode(path, mode)) << path;
  return mode;
}

// Writes what the lookup of each row answers in this process's environment.
CHILD_BODY(FindEveryFolder) {
  const auto ifMissing = arguments[0] == "create" ? kxl::IfMissing::kCreate : kxl::IfMissing::kFail;
  std::string text;
  for (unsigned kind = 0; kind <= 15; ++kind) {
    std::string path = "-";
    const bool found = kxl::FindFolder(static_cast<kxl::FolderKind>(kind), path, ifMissing);
    text += found == (path != "-") ? path + "\n" : "inconsistent\n";
  }
  parent.Write(text);
  return 0;
}

std::string FoldersFound(const char* ifMissing, const kxl_test::Environment& environment) {
  kxl_test::ChildProcess child("FindEveryFolder", {ifMissing}, environment);
  return child.ReadAll();
}

TEST(Folders, FollowTheTable) {
  kxl_test::WriteFile(InTestFolder("cfg/user-dirs.dirs"), "XDG_DESKTOP_DIR=\"$HOME/Bureau\"\n");
  const kxl_test::Environment environment = {{"XDG_CONFIG_HOME", InTestFolder("cfg")},
                                             {"XDG_DATA_HOME", "relative"},
                                             {"XDG_CACHE_HOME", InTestFolder("cache")}};
  const std::string& root = kxl_test::TestFolder();
  std::string expected;
  for (const char* path : {"/run", "/run", "/tmp/kxl-", "/home/Bureau", "/home/Documents", "/cache",
                           "/cfg", "/home/.local/share", "/var/lib", "/var/lib",
                           "/usr/local/share/fonts", "/usr/lib", "/usr/lib", "/opt"}) {
    expected += root + path;
    if (expected.ends_with("kxl-")) expected += std::to_string(geteuid());
    expected += '\n';
  }
  expected += "/\n-\n";
  EXPECT_EQ(FoldersFound("create", environment), expected);
  EXPECT_EQ(FoldersFound("keep", environment), expected);
  EXPECT_EQ(ModeOf(InTestFolder("home/.local/share")), 0700U);
  EXPECT_EQ(ModeOf(InTestFolder("var/lib")), ModeOf(root));

  for (const auto& entry : fs::directory_iterator(root)) fs::remove_all(entry);
  EXPECT_EQ(FoldersFound("keep", environment), "-\n-\n-\n-\n-\n-\n-\n-\n-\n-\n-\n-\n-\n-\n/\n-\n");
}

TEST(Folders, WithoutHomeTheAccountDatabaseTells) {
  kxl_test::Environment environment = kxl_test::WithAccounts();
  environment["HOME"] = "";
  const std::string found = FoldersFound("create", environment);
  EXPECT_NE(found.find("\n" + InTestFolder("home/.local/share\n")), std::string::npos) << found;
}

// Anybody may have made /tmp/kxl-<uid> before; only a private folder of one's own is used.
TEST(Folders, RefuseATemporaryFolderThatOthersMayWrite) {
  const std::string path = InTestFolder("tmp/kxl-" + std::to_string(geteuid()));
  std::string found;
  fs::create_directories(path);
  chmod(path.c_str(), 0770);
  EXPECT_FALSE(kxl::FindFolder(kxl::kLocalTemporaryItems, found, kxl::IfMissing::kCreate));
  fs::remove(path);
  fs::create_directory(InTestFolder("elsewhere"));
  chmod(InTestFolder("elsewhere").c_str(), 0700);
  fs::create_directory_symlink(InTestFolder("elsewhere"), path);
  EXPECT_FALSE(kxl::FindFolder(kxl::kLocalTemporaryItems, found, kxl::IfMissing::kCreate));
}

TEST(Folders, NewLevelsTakeTheirParentsModeOrTheSharedOne) {
  const struct {
    mode_t base;
    kxl::LevelMode levelMode;
    mode_t expected;
  } cases[] = {{0750, kxl::LevelMode::kAsParent, 0750},
               {0700, kxl::LevelMode::kShared, 0775},
               {0777, kxl::LevelMode::kShared, 0775}};
  for (const auto& [base, levelMode, expected] : cases) {
    std::string path = InTestFolder("base");
    fs::create_directory(path);
    chmod(path.c_str(), base);
    ASSERT_TRUE(kxl::EnsureKeldaSubfolders(path, levelMode));
    EXPECT_EQ(path, InTestFolder("base/Kelda/Updater6"));
    EXPECT_EQ(ModeOf(path), expected);
    EXPECT_EQ(ModeOf(InTestFolder("base/Kelda")), expected);
    fs::remove_all(InTestFolder("base"));
  }
}

TEST(Folders, ExistingLevelsKeepTheirMode) {
  std::string path = InTestFolder("base");
  fs::create_directories(path + "/Kelda");
  chmod((path + "/Kelda").c_str(), 0710);
  ASSERT_TRUE(kxl::EnsureKeldaSubfolders(path, kxl::LevelMode::kAsParent));
  EXPECT_EQ(ModeOf(InTestFolder("base/Kelda")), 0710U);
  EXPECT_EQ(ModeOf(path), 0710U);
}

TEST(Folders, ManyThreadsMakeOneFolderWithoutFailing) {
  std::vector<std::thread> threads;
  std::atomic<int> failures = 0;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 50; ++n) {
        std::string path = kxl_test::TestFolder() + "/race" + std::to_string(n);
        if (!kxl::CreateFolderTree(path + "/a/b") ||
            !kxl::EnsureKeldaSubfolders(path, kxl::LevelMode::kShared)) {
          ++failures;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
}

TEST(Folders, LieWhereTheUpdaterLooks) {
  std::string path;
  ASSERT_TRUE(kxl::GetDataSubfolder(path));
  EXPECT_EQ(path, InTestFolder("home/.local/share/Kelda/Updater6/Data"));
  EXPECT_TRUE(fs::is_directory(path));
  ASSERT_TRUE(kxl::LockFilePath("com.example", path));
  EXPECT_EQ(path, InTestFolder("run/Kelda/Updater6/Updater6/locked/lock.com.example"));
  for (const char* name : {".", "..", "a/b"}) EXPECT_FALSE(kxl::LockFilePath(name, path)) << name;
  EXPECT_FALSE(kxl::GetUpdaterBundlePath(path));
  fs::create_directory(InTestFolder("opt"));
  ASSERT_TRUE(kxl::GetUpdaterBundlePath(path));
  EXPECT_EQ(kxl::ExecutableInBundle(path), kxl_test::UpdaterExecutable());
}

CHILD_BODY(FindWithoutAWorkingFolder) {
  fs::create_directory(arguments[0]);
  fs::current_path(arguments[0]);
  fs::remove(arguments[0]);
  std::string found;
  const bool any = kxl::FindFolder(kxl::kLocalApplicationSupport, found, kxl::IfMissing::kFail) ||
                   kxl::FindFolder(kxl::kLocalTemporaryItems, found, kxl::IfMissing::kCreate);
  return any || !kxl::MachinePath("etc").empty() ? 1 : 0;
}

// A prefix that leads nowhere must not lead to the real machine.
TEST(Folders, ARootThatCannotBeFoundIsNoRoot) {
  kxl_test::ChildProcess child("FindWithoutAWorkingFolder", {InTestFolder("gone")},
                               {{"KXL_ROOT", "relative"}});
  EXPECT_EQ(child.Exit(), 0);
}

}  // namespace
