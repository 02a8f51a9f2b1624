// Two accounts that share the list of applications through their group, as far as one can make
// them.
#include <fcntl.h>
#include <grp.h>
#include <kxl/kxl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "esd/resource_locker.h"
#include "platform/regular_file.h"
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

// Exchanges the names of each pair until told to stop.
int KeepExchanging(const Link& parent, const Arguments& arguments) {
  if (!Become("2000")) return 1;
  parent.Tell();
  for (pollfd stop = {parent.ReadEnd(), POLLIN, 0}; poll(&stop, 1, 0) == 0;) {
    for (auto name = arguments.begin(); name != arguments.end(); name += 2) {
      renameat2(AT_FDCWD, name[0].c_str(), AT_FDCWD, name[1].c_str(), RENAME_EXCHANGE);
    }
  }
  return 0;
}

std::string OutputOf(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "re");
  std::string text;
  for (int byte; (byte = getc(pipe)) != EOF;) text += static_cast<char>(byte);
  pclose(pipe);
  return text;
}

// What root's doctor prints who has the first user's HOME.
std::string Mend() {
  std::string command = "env ASAN_OPTIONS=verify_asan_link_order=0";
  for (const auto& [name, value] : EnvironmentOf(2000)) command += " " + name + "=" + value;
  return OutputOf(command + " '" TOOL "' doctor --fix --restore 2>&1");
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

// Root's doctor mends the files of a user who lays links, hard links and what he can move.
class MendedByRoot : public TwoUsers {
 protected:
  void SetUp() override {
    TwoUsers::SetUp();
    if (IsSkipped()) return;
    for (const char* name : {"kxl.log", "KeldaMissingComps.xml", "KeldaMissingComps.xml.damaged"}) {
      MakePrivate(roots_ / name);
    }
    WriteFile(roots_ / "kxlLib.log", "open to all");
    MakePrivate(roots_ / "list", "KeldaUpdaterRegistrationManager");
    before_ = DescribeRoots();
  }

  static std::string List(const std::string& id, const std::string& root = "A") {
    const std::string rest =
        "=\"" + id + "\"><DisplayName>S</DisplayName><InstallPath>/</InstallPath></Application>";
    return "<" + root + "><Application appID" + rest + "<Application AppID" + rest +
           "<Application appID=\"incomplete\"/></" + root + ">";
  }

  static void MakePrivate(const fs::path& path, const std::string& root = "A") {
    WriteFile(path, List("secret", root));
    fs::permissions(path, fs::perms(0600));
  }

  // A user's folder, and in both folders something to put back.
  void Begin() const {
    for (const auto& entry : fs::directory_iterator(folder_)) fs::remove(entry);
    fs::remove_all(data_.parent_path());
    WriteFile(data_ / "KeldaMissingComps.xml.damaged", List("good"));
    WriteFile(folder_ / "KeldaESDGlobalApps.xml.damaged", List("good"));
    for (fs::path path = data_; path != InTestFolder("2000"); path = path.parent_path()) {
      ASSERT_EQ(chown(path.c_str(), 2000, 2000), 0);
    }
  }

  std::string DescribeRoots() const {
    const std::string folder = roots_.parent_path();
    return OutputOf("find " + folder + " -printf '%p %U %G %m\\n'; cat $(find " + folder +
                    " -type f)");
  }

  void ExpectSecretsKept(const std::string& what) const {
    EXPECT_EQ(DescribeRoots(), before_) << what;
    EXPECT_EQ(OutputOf("find " + InTestFolder("2000") + " " + folder_.native() +
                       " -type f ! '(' -uid 0 -perm 600 ')' -exec grep -l secret '{}' +"),
              "")
        << what;
  }

  const fs::path roots_ = InTestFolder("root/Updater6");
  const fs::path data_ = InTestFolder("2000/.local/share/Kelda/Updater6");
  std::string before_;
};

TEST_F(MendedByRoot, GetNothingOfRootsThatTheyName) {
  enum Trap { kLink, kHardLink, kMoved };
  const fs::path secret = roots_ / "kxl.log";
  const fs::path log = data_ / "kxl.log";
  const fs::path list = folder_ / "KeldaESDGlobalApps.xml";
  const fs::path components = data_ / "KeldaMissingComps.xml";
  const std::pair<fs::path, fs::path> names[] = {{data_, roots_},
                                                 {data_.parent_path(), roots_.parent_path()},
                                                 {log, secret},
                                                 {log, roots_ / "kxlLib.log"},
                                                 {components, secret},
                                                 {components.native() + "_", secret},
                                                 {components.native() + ".damaged", secret},
                                                 {list, roots_ / "list"},
                                                 {list.native() + "_", roots_ / "list"},
                                                 {list.native() + ".damaged", secret}};
  for (const auto& [name, target] : names) {
    for (const Trap trap : {kLink, kHardLink, kMoved}) {
      if (trap != kLink && fs::is_directory(target)) continue;
      Begin();
      fs::remove_all(name);
      if (trap == kMoved && name == list) fs::remove(list.native() + ".damaged");
      if (trap == kLink) fs::create_symlink(target, name);
      if (trap == kHardLink) fs::create_hard_link(target, name);
      const bool isList = name == list || name == list.native() + "_";
      if (trap == kMoved) MakePrivate(name, isList ? "A" : "KeldaUpdaterRegistrationManager");
      const std::string text = Mend();
      ExpectSecretsKept(name.native() + " " + std::to_string(trap) + "\n" + text);
      if (fs::exists(list.native() + "_")) fs::remove(list.native() + "_");
    }
  }
}

TEST_F(MendedByRoot, GetWhatIsTheirs) {
  Begin();
  WriteFile(data_ / "kxl.log", "x");
  const std::string above = InTestFolder("2000/.local");
  ASSERT_EQ(chown(above.c_str(), 2001, 2001), 0);
  Mend();
  EXPECT_EQ(OutputOf("find " + data_.native() + "/kxl.log ! -uid 0"), "")
      << "below another's folder";
  ASSERT_EQ(chown(above.c_str(), 2000, 2000), 0);
  WriteFile(data_ / "suppress_all.dat", "b\t2999-02-30 00:00:00\r\n");
  fs::permissions(TestFolder(), fs::perms(0777));
  EXPECT_EQ(Count(Mend(), "fixed: "), 0U) << "everybody can change where the paths lead";
  fs::permissions(TestFolder(), fs::perms(0755));
  ASSERT_EQ(chown(data_.c_str(), 0, 0), 0);
  WriteFile(folder_ / "KeldaESDGlobalApps.xml", "<KeldaUpdaterRegistrationManager/>");
  fs::permissions(folder_ / "KeldaESDGlobalApps.xml", fs::perms(0600));
  fs::create_symlink("/nowhere", esd::SemaphorePath(ListPath()));  // keeps all from the lock
  const std::string text = Mend();
  EXPECT_EQ(Count(text, "fixed: "), 8U) << text;
  EXPECT_EQ(OutputOf("find " + InTestFolder("2000") + " ! -uid 2000"), "") << text;
  EXPECT_EQ(Count(ReadFile(folder_ / "KeldaESDGlobalApps.xml"), "good"), 1U) << text;
}

// Between the doctor's look and his deed.
TEST_F(MendedByRoot, GetNothingBySwapping) {
  Begin();
  WriteFile(data_ / "kxl.log", "x");
  const fs::path other = data_.parent_path() / "other";
  fs::create_symlink(roots_, other);
  ASSERT_EQ(lchown(other.c_str(), 2000, 2000), 0);
  // What others may see, for what they may not.
  const fs::path list = folder_ / "KeldaESDGlobalApps.xml";
  fs::remove(list.native() + ".damaged");
  WriteFile(list, "<KeldaUpdaterRegistrationManager/>");
  MakePrivate(folder_ / "moved");
  const kxl::FileDescriptor shown(open(list.c_str(), O_RDONLY | O_CLOEXEC));
  const kxl::FileDescriptor log(open((data_ / "kxl.log").c_str(), O_RDONLY | O_CLOEXEC));
  ChildProcess user(KeepExchanging, {data_, other, list, folder_ / "moved"});
  ASSERT_TRUE(user.Await());
  for (int i = 0; i < 40; ++i) {
    ASSERT_EQ(fchmod(shown.get(), 0600) + fchown(log.get(), 0, 0), 0);
    Mend();
  }
  user.Tell();
  EXPECT_EQ(user.Exit(), 0);
  ExpectSecretsKept("swapped");
}

}  // namespace
