#include <unistd.h>

#include <stdexcept>

#include "stores/updater_prefs.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;
using kxl::KeldaUpdaterPrefs;

// What a text reads as: a boolean and an integer, -1 for one that is not read.
std::pair<int, int> ReadAs(const std::string& text) {
  WriteSettings("<AutoCheck>" + text + "</AutoCheck><AutoCheckFreq>" + text + "</AutoCheckFreq>");
  const KeldaUpdaterPrefs prefs;
  bool boolean = false;
  std::int32_t integer = -1;
  const bool isBool = prefs.AutoCheck.Get(boolean);
  return {isBool ? boolean : -1, prefs.AutoCheckFreq.Get(integer) ? integer : -1};
}

TEST(Preferences, ParseWholeValuesOnly) {
  for (const char* text : {"1", " \n1 ", "+1", ""})
    EXPECT_EQ(ReadAs(text), std::pair(1, 1)) << text;
  for (const char* text : {"true", "1x", "1 1", "99999999999", "0x1"}) {
    EXPECT_EQ(ReadAs(text), std::pair(-1, -1)) << text;
  }
  EXPECT_EQ(ReadAs("0"), std::pair(0, 0));
  EXPECT_EQ(ReadAs("2"), std::pair(-1, 2));
}

TEST(Preferences, AreWrittenInPlaceBesideWhatStandsThere) {
  WriteSettings("<Foreign>f</Foreign><AutoCheck>1</AutoCheck>");
  KeldaUpdaterPrefs prefs;
  EXPECT_TRUE(prefs.AutoCheck.Set(false) && prefs.AutoCheckType.Set(-7));
  EXPECT_TRUE(prefs.ApplicationsEnabled.Write({{"b", true}, {"a", false}}));
  EXPECT_TRUE(prefs.ApplicationsEnabled.Write({{"b", true}, {"c", false}}));
  EXPECT_FALSE(prefs.NotificationMessage.Write({{"\"", "breaks the file"}}));
  EXPECT_EQ(ReadFile(PrefsPath()),
            std::string(kDeclaration) +
                "<KeldaUpdater>\n<Foreign>f</Foreign>\n<AutoCheck>0</AutoCheck>\n<AutoCheckType>-7"
                "</AutoCheckType>\n<ApplicationsEnabled>\n<MapPrefEntry MapPrefKey=\"b\">1"
                "</MapPrefEntry>\n<MapPrefEntry MapPrefKey=\"c\">0</MapPrefEntry>\n"
                "</ApplicationsEnabled>\n</KeldaUpdater>\n");
}

TEST(Preferences, AMapReadsAsAWhole) {
  const std::string entry = "<ApplicationsEnabled><MapPrefEntry MapPrefKey='a'>1</MapPrefEntry>";
  std::map<std::string, bool> enabled;
  WriteSettings(entry + "<MapPrefEntry MapPrefKey='a'>0</MapPrefEntry></ApplicationsEnabled>");
  EXPECT_TRUE(KeldaUpdaterPrefs().ApplicationsEnabled.Read(enabled));
  EXPECT_EQ(enabled, (std::map<std::string, bool>{{"a", false}}));
  WriteSettings(entry + "<MapPrefEntry/></ApplicationsEnabled>");
  EXPECT_FALSE(KeldaUpdaterPrefs().ApplicationsEnabled.Read(enabled));
  EXPECT_TRUE(enabled.empty());
}

TEST(Preferences, FollowTheFile) {
  WriteSettings("<Launch>Manual</Launch>");
  KeldaUpdaterPrefs prefs;
  const auto stamp = fs::last_write_time(PrefsPath());
  WriteSettings("<Launch>changed</Launch>");
  fs::last_write_time(PrefsPath(), stamp);  // within one tick of the clock
  EXPECT_TRUE(prefs.ReloadIfChanged() && prefs.Release());
  EXPECT_EQ(prefs.Launch.GetOr("?"), "changed");
  fs::remove(PrefsPath());
  EXPECT_TRUE(prefs.ReloadIfChanged() && prefs.Release());
  EXPECT_EQ(prefs.Launch.GetOr("?"), "");
  WriteFile(PrefsPath(), "<Other><Launch>no</Launch></Other>");
  EXPECT_TRUE(prefs.ReloadIfChanged() && prefs.Launch.Set("ours") && prefs.Release());
  EXPECT_EQ(ReadFile(PrefsPath()),
            std::string(kDeclaration) + "<KeldaUpdater>\n<Launch>ours</Launch>\n</KeldaUpdater>\n");
}

// Without the lock the file may be in the middle of being written.
TEST(Preferences, OnlyTheLocksHolderRemovesADamagedFile) {
  WriteFile(PrefsPath(), "<KeldaUpdater><Lau");
  KeldaUpdaterPrefs prefs;
  EXPECT_TRUE(fs::exists(PrefsPath()));
  EXPECT_TRUE(prefs.ReloadIfChanged() && prefs.Release());
  EXPECT_FALSE(fs::exists(PrefsPath()));
  fs::create_directory(PrefsPath());
  EXPECT_TRUE(prefs.ReloadIfChanged()) << "as good as none";
  EXPECT_FALSE(prefs.Launch.Set("x"));
  EXPECT_TRUE(prefs.Release() && fs::is_directory(PrefsPath()));
}

TEST(Preferences, AHeldLockFailsEveryOperation) {
  WriteSettings("<Launch>Manual</Launch>");
  KeldaUpdaterPrefs prefs;
  esd::ResourceLocker updater(PrefsPath(), 0);
  esd::ResourceLocker impatient(PrefsPath(), 0);
  ASSERT_TRUE(updater.Lock());
  prefs.SetLockPolicy(&impatient);
  std::string launch = "?";
  EXPECT_FALSE(prefs.ReloadIfChanged() || prefs.Launch.Get(launch) || prefs.Launch.Set("x"));
  EXPECT_EQ(launch, "?");
  EXPECT_EQ(ReadFile(PrefsPath()), "<KeldaUpdater><Launch>Manual</Launch></KeldaUpdater>");
  EXPECT_THROW(esd::PrefsWriter("r").Load(""), std::runtime_error);
}

int UseWithoutTheRightToRead(const Link& /*parent*/, const Arguments& /*arguments*/) {
  if (geteuid() == 0 && setuid(65534) != 0) return 2;
  KeldaUpdaterPrefs prefs;
  const bool hasDefaults = prefs.ReloadIfChanged() && prefs.Launch.GetOr("?").empty();
  return hasDefaults && !prefs.Launch.Set("x") && prefs.Release() ? 0 : 1;
}

// It may hold anything, and must not be written over from nothing.
TEST(Preferences, AFileThatMayNotBeOpenedCountsAsNoneAndIsNotWritten) {
  WriteSettings("<Launch>Manual</Launch>");
  const std::string text = ReadFile(PrefsPath());
  KeldaUpdaterPrefs();  // makes the folders
  fs::permissions(TestFolder(), fs::perms(0777));
  for (const auto& entry : fs::recursive_directory_iterator(TestFolder())) {
    if (entry.is_directory()) fs::permissions(entry, fs::perms(0777));
  }
  fs::permissions(PrefsPath(), geteuid() == 0 ? fs::perms(0602) : fs::perms(0200));
  EXPECT_EQ(ChildProcess(UseWithoutTheRightToRead, {}).Exit(), 0);
  fs::permissions(PrefsPath(), fs::perms(0600));
  EXPECT_EQ(ReadFile(PrefsPath()), text);
}

}  // namespace
