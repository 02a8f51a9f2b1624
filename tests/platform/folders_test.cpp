#include "platform/folders.h"

#include <sys/auxv.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "platform/file_system.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;

// Writes what the lookups answer in this process's environment.
int FindFolders(const Link& parent, const Arguments& arguments) {
  const auto ifMissing = arguments[0] == "create" ? kxl::IfMissing::kCreate : kxl::IfMissing::kFail;
  std::string text;
  for (const auto kind :
       {kxl::kUserTemporaryItems, kxl::kLocalTemporaryItems, kxl::kUserApplicationSupport,
        kxl::kLocalApplicationSupport, kxl::kLocalUtilities, kxl::FolderKind{15}}) {
    std::string path = "-";
    const bool found = kxl::FindFolder(kind, path, ifMissing);
    text += found == (path != "-") ? path + "\n" : "inconsistent\n";
  }
  parent.Write(text);
  return 0;
}

std::string FoldersFound(const char* ifMissing, const Environment& environment) {
  return ChildProcess(FindFolders, {ifMissing}, environment).ReadAll();
}

// Without HOME the account database tells.
TEST(Folders, FollowTheEnvironment) {
  Environment environment = WithAccounts();
  environment["XDG_DATA_HOME"] = "relative";
  environment["HOME"] = "";
  const std::string& root = TestFolder();
  const std::string expected = root + "/run\n" + root + "/tmp/kxl-" + std::to_string(geteuid()) +
                               "\n" + root + "/home/.local/share\n" + root + "/var/lib\n" + root +
                               "/opt\n-\n";
  EXPECT_EQ(FoldersFound("keep", environment), "-\n-\n-\n-\n-\n-\n");
  EXPECT_EQ(FoldersFound("create", environment), expected);
  EXPECT_EQ(FoldersFound("keep", environment), expected);
  EXPECT_EQ(ModeOf(root + "/home/.local/share"), 0700U);
  EXPECT_EQ(ModeOf(root + "/var/lib"), ModeOf(root));
}

// Anybody may have made /tmp/kxl-<uid> before; only a private folder of one's own is used.
TEST(Folders, RefuseATemporaryFolderThatOthersMayWrite) {
  const std::string path = InTestFolder("tmp/kxl-" + std::to_string(geteuid()));
  const auto isUsed = [](std::string found = "") {
    return kxl::FindFolder(kxl::kLocalTemporaryItems, found, kxl::IfMissing::kCreate);
  };
  fs::create_directories(path);
  chmod(path.c_str(), 0770);
  EXPECT_FALSE(isUsed());
  chmod(path.c_str(), 0700);
  const bool isAnothers = chown(path.c_str(), 2000, 2000) == 0;
  EXPECT_NE(isUsed(), isAnothers);
  EXPECT_EQ(chown(path.c_str(), geteuid(), getegid()), 0);
  fs::rename(path, InTestFolder("elsewhere"));
  fs::create_directory_symlink(InTestFolder("elsewhere"), path);
  EXPECT_FALSE(isUsed());
}

TEST(Folders, NewLevelsTakeTheirParentsModeOrTheSharedOne) {
  using kxl::LevelMode;
  const std::tuple<mode_t, mode_t, LevelMode, mode_t> cases[] = {
      // of the base; of "Kelda" if it exists
      {0750, 0, LevelMode::kAsParent, 0750},
      {0700, 0, LevelMode::kShared, 0775},
      {0777, 0, LevelMode::kShared, 0775},
      {0750, 0710, LevelMode::kAsParent, 0710}};
  for (const auto& [base, existing, levelMode, expected] : cases) {
    std::string path = InTestFolder("base");
    const std::string first = path + "/Kelda";
    fs::create_directories(existing != 0 ? first : path);
    if (existing != 0) chmod(first.c_str(), existing);
    chmod(path.c_str(), base);
    ASSERT_TRUE(kxl::EnsureKeldaSubfolders(path, levelMode));
    EXPECT_EQ(path, first + "/Updater6");
    EXPECT_EQ(ModeOf(path), expected);
    EXPECT_EQ(ModeOf(first), expected);
    fs::remove_all(InTestFolder("base"));
  }
}

int FindWithoutAWorkingFolder(const Link& /*parent*/, const Arguments& arguments) {
  fs::create_directory(arguments[0]);
  fs::current_path(arguments[0]);
  fs::remove(arguments[0]);
  std::string found;
  return kxl::FindFolder(kxl::kLocalApplicationSupport, found, kxl::IfMissing::kFail) ||
         kxl::FindFolder(kxl::kLocalTemporaryItems, found, kxl::IfMissing::kCreate) ||
         !kxl::MachinePath("etc").empty();
}

// A prefix that leads nowhere must not lead to the real machine.
TEST(Folders, ARootThatCannotBeFoundIsNoRoot) {
  ChildProcess child(FindWithoutAWorkingFolder, {InTestFolder("gone")}, {{"KXL_ROOT", "relative"}});
  EXPECT_EQ(child.Exit(), 0);
}

// Starts the program given, this one's copy, with the same body; that answers what it found.
int FindInASetUserIdProgram(const Link& parent, const Arguments& arguments) {
  if (!arguments.empty()) {
    std::string line = ReadFile("/proc/self/cmdline");
    const char* const body = line.c_str() + line.find('\0') + 1;
    execl(arguments[0].c_str(), "child", body, nullptr);
    return 1;
  }
  std::string home;
  kxl::FindFolder(kxl::kUserApplicationSupport, home, kxl::IfMissing::kFail);
  parent.Write(kxl::MachinePath("etc") + "\n" + home);
  _exit(getauxval(AT_SECURE) == 0 ? 77 : 0);  // the leak detector cannot look at such a process
}

// Whoever starts such a program must not lead its owner's rights elsewhere.
TEST(Folders, ASetUserIdProgramDoesNotAskTheEnvironment) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to give a program away";
  const std::string program = InTestFolder("program");
  fs::copy_file("/proc/self/exe", program);
  ASSERT_EQ(chown(program.c_str(), 65534, 65534), 0);
  chmod(program.c_str(), 06755);
  fs::create_directories(InTestFolder("home/.local/share"));
  chmod(TestFolder().c_str(), 0755);
  ChildProcess child(FindInASetUserIdProgram, {program});
  const std::string found = child.ReadAll();
  const int status = child.Exit();
  if (status == 77) GTEST_SKIP() << "the temporary folder ignores set-id bits";
  EXPECT_EQ(status, 0);
  EXPECT_EQ(found.find(TestFolder()), std::string::npos) << found;
  EXPECT_EQ(found.substr(0, 5), "/etc\n");
}

int FindWithoutLooking(const Link& /*parent*/, const Arguments& /*arguments*/) {
  alarm(10);
  FailSystemCall(kStatCall, EACCES);
  std::string found;
  return kxl::FindFolder(kxl::kUserApplicationSupport, found, kxl::IfMissing::kCreate) ||
         kxl::FindFolder(kxl::kLocalApplicationSupport, found, kxl::IfMissing::kCreate);
}

// A sandbox may hide even the root: the walk up to the first folder that exists ends there.
TEST(Folders, TheSearchForAnExistingParentEnds) {
  EXPECT_EQ(ChildProcess(FindWithoutLooking).Exit(), 0);
}

}  // namespace
