// Every shared file cut at every length, and each of its bytes replaced: every reader answers, and
// the file can be used again.
#include <kxl/kxl.h>

#include <cstdio>
#include <ctime>

#include "api/availability.h"
#include "stores/admin_prefs.h"
#include "stores/missing_components.h"
#include "stores/registered_applications.h"
#include "stores/suppress_file.h"
#include "stores/updater_prefs.h"
#include "support/test_folder.h"
#include "util/utc_time.h"

namespace {

using namespace kxl_test;

template <typename Body>
void ForEveryDamage(const std::string& path, const std::string& text, Body body) {
  const auto use = [&](const std::string& damaged) {
    WriteFile(path, damaged);
    body(damaged);
  };
  for (std::size_t length = 0; length < text.size(); ++length) use(text.substr(0, length));
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (const char byte : {'\0', '\xFF', '<'}) {
      std::string damaged = text;
      damaged[at] = byte;
      use(damaged);
    }
  }
  std::printf("%zu damaged files\n", 4 * text.size());
}

kxl::KeldaUpdaterRegisteredApp App(const char* id) {
  kxl::KeldaUpdaterRegisteredApp app{std::string_view(id)};
  app.SetDisplayName("N");
  app.SetInstallPath("/f");
  return app;
}

TEST(DamagedFiles, OfApplicationsAreSetAsideWhole) {
  kxl::KeldaUpdaterRegistrationManager list;
  ASSERT_EQ(list.Register(App("a")), kxl::RegisterResult::kAdded);
  const std::string aside = ListPath() + ".damaged";
  ForEveryDamage(ListPath(), ReadFile(ListPath()), [&](const std::string& damaged) {
    std::vector<kxl::KeldaUpdaterRegisteredApp> apps;
    const bool isRead = list.GetRegisteredApps(apps);
    EXPECT_TRUE(isRead || ReadFile(ListPath()) == damaged) << damaged;
    EXPECT_TRUE(list.Recover()) << damaged;
    EXPECT_EQ(fs::exists(aside) ? ReadFile(aside) : "-", isRead ? "-" : damaged);
    EXPECT_EQ(list.Register(App("new")), kxl::RegisterResult::kAdded) << damaged;
    EXPECT_TRUE(list.GetRegisteredApps(apps)) << damaged;
    fs::remove(aside);
  });
}

kxl::AddResult AddNew() {
  return kxl::KeldaUpdaterMissingCompsManager().AddMissingComponent(
      {"new", "N", "/f", 2, "n", "c", "1"});
}

TEST(DamagedFiles, OfComponentsAreSetAsideWhole) {
  ASSERT_EQ(AddNew(), kxl::AddResult::kAdded);
  std::string text = ReadFile(ComponentsPath());
  text.replace(text.find("\"new\""), 5, "\"a\"");
  const std::string aside = ComponentsPath() + ".damaged";
  ForEveryDamage(ComponentsPath(), text, [&](const std::string& damaged) {
    if (AddNew() != kxl::AddResult::kAdded) {
      EXPECT_EQ(ReadFile(aside), damaged);
      EXPECT_EQ(AddNew(), kxl::AddResult::kAdded) << damaged;
      fs::remove(aside);
    }
    EXPECT_FALSE(fs::exists(aside)) << damaged;
    EXPECT_EQ(AddNew(), kxl::AddResult::kListed) << damaged;
  });
}

TEST(DamagedFiles, OfPreferencesCountAsTheDefaults) {
  const std::string text = kDeclaration + std::string(
                                              "<KeldaUpdater>\n<AutoCheck>0</AutoCheck>\n"
                                              "<Launch>Manual</Launch>\n</KeldaUpdater>\n");
  ForEveryDamage(PrefsPath(), text, [](const std::string& damaged) {
    kxl::KeldaUpdaterPrefs prefs;
    EXPECT_TRUE(prefs.ReloadIfChanged() && prefs.Launch.Set("new") && prefs.Release()) << damaged;
    EXPECT_EQ(kxl::KeldaUpdaterPrefs().Launch.GetOr("?"), "new") << damaged;
  });
}

// A time that cannot be read may have been meant to hold notices back: the file stays for somebody
// to mend.
TEST(DamagedFiles, OfHoldsAreSweptOrKept) {
  const std::time_t now = 1000000000;  // 2001-09-09 01:46:40
  const std::string text = "a\t2001-09-09 02:00:00\r\nb\t2001-09-09 03:00:00\r\n";
  ForEveryDamage(SuppressPath(), text, [&](const std::string& damaged) {
    kxl::SuppressFile file(SuppressPath());
    try {
      ASSERT_TRUE(file.Read(now));
    } catch (const std::exception&) {
      EXPECT_EQ(ReadFile(SuppressPath()), damaged);
      return;
    }
    file.Add("new", now + 5);
    EXPECT_TRUE(file.WriteBack()) << damaged;
    kxl::SuppressFile written(SuppressPath());
    EXPECT_TRUE(written.Read(now) && written.Find("new") != nullptr) << damaged;
    EXPECT_EQ(written.Holds().size(), file.Holds().size()) << damaged;
  });
  // By such a clock an end would be written that nobody can read.
  for (const std::time_t odd : {kxl::kFirstUtc - 1, kxl::kLastUtc}) {
    EXPECT_FALSE(kxl::SuppressFile(SuppressPath()).Read(odd));
  }
}

// A query's lock is the same on every test's machine: no other test asks for this application.
TEST(DamagedFiles, OfAnswersEndTheRequest) {
  const std::string folder =
      InTestFolder("home/.local/share/Kelda/Updater6/Data/UpdateAvailable/damaged");
  ForEveryDamage(
      folder + "/7.xml", "<UpdateInfo>\n<Result>12</Result>\n</UpdateInfo>\n",
      [&](const std::string& damaged) {
        std::int32_t number = 77;
        EXPECT_EQ(kxl::IsUpdateAvailable("damaged", "A", "/a", 7, &number, false), ESD_ERR_OK)
            << damaged;
        EXPECT_FALSE(fs::exists(folder)) << damaged;
      });
}

TEST(DamagedFiles, OfTheAdministratorSayWhatTheyStillSay) {
  // The dictionary's object, the key's and the value's, where they are, and where that is told.
  using namespace std::string_literals;
  const std::string binary = "bplist00\xD1\1\2\x5E"s + "Disable.Update\x09\x08\x0B\x1A" +
                             std::string(6, '\0') + "\1\1" + std::string(7, '\0') + '\3' +
                             std::string(15, '\0') + '\x1B';
  const std::string xml =
      "<plist version=\"1.0\"><dict><key>Disable.Update</key><true/></dict></plist>\n";
  for (const std::string& text : {binary, xml}) {
    bool isEnabled = true;
    WriteFile(AdminListPath(), text);
    EXPECT_TRUE(kxl::IsUpdateEnabledByAdmin(isEnabled) && !isEnabled);
    ForEveryDamage(AdminListPath(), text, [](const std::string& damaged) {
      bool enabled = true;
      const bool isRead = kxl::IsUpdateEnabledByAdmin(enabled);
      EXPECT_TRUE(isRead || enabled) << damaged;
      EXPECT_EQ(ReadFile(AdminListPath()), damaged);
    });
  }
}

}  // namespace
