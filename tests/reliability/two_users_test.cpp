// Two accounts that share the list of applications through their group, as far as one can make
// them.
#include <grp.h>
#include <kxl/kxl.h>
#include <unistd.h>

#include "support/host.h"

namespace {

using namespace kxl_test;

constexpr uid_t kUsers[] = {2000, 2001};
constexpr gid_t kAdministrators = 5000;

Environment EnvironmentOf(uid_t user) {
  Environment environment = WithAccounts("admin:x:5000:guest,nina\n");
  environment["HOME"] = InTestFolder(std::to_string(user));
  environment["XDG_RUNTIME_DIR"] = environment["HOME"];
  return environment;
}

bool Become(const std::string& user) {
  const auto id = static_cast<uid_t>(std::stoul(user));
  return setgroups(1, &kAdministrators) == 0 && setgid(id) == 0 && setuid(id) == 0;
}

int RegisterMany(const Link& parent, const Arguments& arguments) {
  if (!Become(arguments[0])) return 1;
  parent.Tell();
  parent.Await();
  for (int i = 0; i < 40; ++i) {
    const std::string id = arguments[0] + "." + std::to_string(i);
    const int code = KXLRegisterApplication(id.c_str(), "N", "/f");
    if (code != ESD_ERR_OK) return code;
  }
  return 0;
}

int RegisterOne(const Link& /*parent*/, const Arguments& arguments) {
  return Become(arguments[0]) ? KXLRegisterApplication(arguments[0].c_str(), "N", "/f") : 100;
}

class TwoUsers : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to become two others";
    fs::permissions(TestFolder(), fs::perms(0755));
    for (const uid_t user : kUsers) {
      const std::string home = InTestFolder(std::to_string(user));
      fs::create_directory(home);
      fs::permissions(home, fs::perms(0700));
      ASSERT_EQ(chown(home.c_str(), user, user), 0);
    }
    fs::create_directories(folder_);
    ASSERT_EQ(chown(folder_.c_str(), 0, kAdministrators), 0);
    fs::permissions(folder_, fs::perms(02775));
  }

  const fs::path folder_ = fs::path(ListPath()).parent_path();
};

TEST_F(TwoUsers, KeepOneListTogether) {
  ChildProcess one(RegisterMany, {"2000"}, EnvironmentOf(2000));
  ChildProcess other(RegisterMany, {"2001"}, EnvironmentOf(2001));
  for (ChildProcess* user : {&one, &other}) ASSERT_TRUE(user->Await());
  for (ChildProcess* user : {&one, &other}) user->Tell();
  for (ChildProcess* user : {&one, &other}) EXPECT_EQ(user->Exit(), 0);
  EXPECT_EQ(Count(ReadFile(ListPath()), "<Application "), 80U);
  EXPECT_EQ(ModeOf(ListPath()), 0664U);
}

// A folder that the group shares without the bit that hands the group on.
TEST_F(TwoUsers, ShareTheFoldersThatTheFirstOneMakes) {
  const std::string base = InTestFolder("var/lib");
  fs::remove_all(base + "/Kelda");
  ASSERT_EQ(chown(base.c_str(), 0, kAdministrators), 0);
  fs::permissions(base, fs::perms(0775));
  for (const uid_t user : kUsers) {
    EXPECT_EQ(ChildProcess(RegisterOne, {std::to_string(user)}, EnvironmentOf(user)).Exit(), 0);
  }
}

// One member of the group lays a link where another one is about to write. A companion is a newer
// list, so that one's own files would be shown to the group.
TEST_F(TwoUsers, DoNotUseEachOthersFilesThroughLinks) {
  const std::string diary = InTestFolder("2001/diary");
  const std::string text =
      "<KeldaUpdaterRegistrationManager><Application "
      "appID=\"private\"><InstallPath>/p</InstallPath>"
      "</Application></KeldaUpdaterRegistrationManager>";
  for (const char* name :
       {"KeldaESDGlobalApps.xml_", "KeldaESDGlobalApps.xml", "KeldaESDGlobalApps.xml.damaged"}) {
    WriteFile(diary, text);
    ASSERT_EQ(chown(diary.c_str(), 2001, 2001), 0);
    fs::permissions(diary, fs::perms(0600));
    fs::create_symlink(diary, folder_ / name);
    ASSERT_EQ(lchown((folder_ / name).c_str(), 2000, 2000), 0);
    if (name == std::string_view("KeldaESDGlobalApps.xml.damaged"))
      WriteFile(ListPath(), "no list");
    ChildProcess(RegisterOne, {"2001"}, EnvironmentOf(2001)).Exit();
    EXPECT_EQ(ReadFile(diary), text) << name;
    EXPECT_EQ(ModeOf(diary), 0600U) << name;
    if (name == std::string_view("KeldaESDGlobalApps.xml_")) {
      EXPECT_EQ(Count(ReadFile(ListPath()), "private"), 0U);
    }
    for (const auto& entry : fs::directory_iterator(folder_)) fs::remove(entry);
  }
}

}  // namespace
