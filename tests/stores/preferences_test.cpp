#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "stores/updater_prefs.h"
#include "support/test_folder.h"
#include "util/trace_log.h"

namespace {

namespace fs = std::filesystem;
using kxl::KeldaUpdaterPrefs;
using kxl_test::InTestFolder;
using kxl_test::PrefsPath;
using kxl_test::ReadFile;
using kxl_test::WriteFile;

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

void WriteSettings(const std::string& settings) {
  WriteFile(PrefsPath(), "<KeldaUpdater>" + settings + "</KeldaUpdater>");
}

TEST(Preferences, HaveDefaults) {
  const KeldaUpdaterPrefs prefs;
  const std::string data = InTestFolder("home/.local/share/Kelda/Updater6");
  EXPECT_TRUE(prefs.AutoCheck.GetOr(false) && prefs.IsFirstRun.GetOr(false));
  EXPECT_FALSE(prefs.InBackground.GetOr(true) || prefs.ShowNewProducts.GetOr(true));
  EXPECT_EQ(prefs.AutoCheckFreq.GetOr(-1), 1);
  EXPECT_EQ(prefs.ConnectionType.GetOr(-1), 0);
  EXPECT_EQ(prefs.logLevel.GetOr(-1), 2);
  EXPECT_EQ(prefs.DownloadDir.GetOr("?"), data + "/Install");
  EXPECT_EQ(prefs.logFile.GetOr("?"), data + "/kxl.log");
  EXPECT_EQ(prefs.logFileLib.GetOr("?"), data + "/kxlLib.log");
  EXPECT_TRUE(fs::is_directory(data + "/Install"));
  EXPECT_FALSE(fs::exists(PrefsPath())) << "reading writes nothing";
}

TEST(Preferences, ParseWholeValuesOnly) {
  const struct {
    const char* text;
    int asBool;  // -1: not read
    int asInt;
  } cases[] = {{"1", 1, 1},     {"0", 0, 0},      {" \n1 ", 1, 1},
               {"+1", 1, 1},    {"true", -1, -1}, {"2", -1, 2},
               {"1x", -1, -1},  {"1 1", -1, -1},  {"99999999999", -1, -1},
               {"0x1", -1, -1}, {"", 1, 1}};
  for (const auto& [text, asBool, asInt] : cases) {
    WriteSettings("<AutoCheck>" + std::string(text) + "</AutoCheck><AutoCheckFreq>" + text +
                  "</AutoCheckFreq>");
    const KeldaUpdaterPrefs prefs;
    bool boolean = false;
    std::int32_t integer = -1;
    EXPECT_EQ(prefs.AutoCheck.Get(boolean) ? boolean : -1, asBool) << text;
    EXPECT_EQ(prefs.AutoCheckFreq.Get(integer) ? integer : -1, asInt) << text;
  }
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
                "<KeldaUpdater>\n<Foreign>f</Foreign>\n<AutoCheck>0</AutoCheck>\n"
                "<AutoCheckType>-7</AutoCheckType>\n<ApplicationsEnabled>\n"
                "<MapPrefEntry MapPrefKey=\"b\">1</MapPrefEntry>\n"
                "<MapPrefEntry MapPrefKey=\"c\">0</MapPrefEntry>\n</ApplicationsEnabled>\n"
                "</KeldaUpdater>\n");
  const KeldaUpdaterPrefs second;
  std::map<std::string, bool> enabled;
  EXPECT_TRUE(second.ApplicationsEnabled.Read(enabled));
  EXPECT_EQ(enabled, (std::map<std::string, bool>{{"b", true}, {"c", false}}));
}

TEST(Preferences, AMapReadsAsAWhole) {
  const auto read = [](const std::string& entries, std::map<std::string, bool>& enabled) {
    WriteSettings("<ApplicationsEnabled>" + entries + "</ApplicationsEnabled>");
    return KeldaUpdaterPrefs().ApplicationsEnabled.Read(enabled);
  };
  std::map<std::string, bool> enabled;
  EXPECT_TRUE(
      read("<MapPrefEntry MapPrefKey='a'>1</MapPrefEntry>"
           "<MapPrefEntry MapPrefKey='a'>0</MapPrefEntry>",
           enabled));
  EXPECT_EQ(enabled, (std::map<std::string, bool>{{"a", false}}));
  EXPECT_FALSE(read("<MapPrefEntry MapPrefKey='a'>1</MapPrefEntry><MapPrefEntry/>", enabled));
  EXPECT_TRUE(enabled.empty());
}

TEST(Preferences, FollowTheFile) {
  WriteSettings("<Launch>Manual</Launch>");
  KeldaUpdaterPrefs prefs;
  WriteSettings("<Launch>changed</Launch>");  // perhaps within one tick of the clock
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
  EXPECT_TRUE(prefs.ReloadIfChanged() && prefs.Release());
  EXPECT_TRUE(fs::is_directory(PrefsPath()));
  EXPECT_FALSE(prefs.Launch.Set("x"));
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

}  // namespace
