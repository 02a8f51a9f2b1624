#include "stores/registered_applications.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "support/test_folder.h"
#include "util/trace_log.h"

namespace {

namespace fs = std::filesystem;
using kxl::KeldaUpdaterRegisteredApp;
using kxl::KeldaUpdaterRegistrationManager;
using kxl::RegisterResult;
using kxl::UnregisterResult;
using kxl_test::ListPath;
using kxl_test::ReadFile;
using kxl_test::WriteFile;

KeldaUpdaterRegisteredApp App(const char* id, const char* name, const char* path) {
  KeldaUpdaterRegisteredApp app{std::string_view(id)};
  app.SetDisplayName(name);
  app.SetInstallPath(path);
  return app;
}

std::string Entry(const std::string& id, const std::string& name, const std::string& path) {
  return "<Application appID=\"" + id + "\">\n<DisplayName>" + name +
         "</DisplayName>\n<InstallPath>" + path + "</InstallPath>\n</Application>\n";
}

std::string List(const std::string& entries) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<KeldaUpdaterRegistrationManager>\n" +
         entries + "</KeldaUpdaterRegistrationManager>\n";
}

TEST(RegisteredApplications, AddReplaceAndLeaveAlone) {
  KeldaUpdaterRegistrationManager list;
  EXPECT_EQ(list.Register(App("a", "A", "/a")), RegisterResult::kAdded);
  EXPECT_EQ(list.Register(App("A", "A", "/a")), RegisterResult::kAdded);
  EXPECT_EQ(ReadFile(ListPath()), List(Entry("a", "A", "/a") + Entry("A", "A", "/a")));
  EXPECT_EQ(fs::status(ListPath()).permissions(), fs::perms(0664));
  const auto written = fs::last_write_time(ListPath());
  EXPECT_EQ(list.Register(App("a", "A", "/a")), RegisterResult::kUnchanged);
  EXPECT_EQ(fs::last_write_time(ListPath()), written);
  EXPECT_EQ(list.Register(App("a", "A", "/b<&>")), RegisterResult::kReplaced);
  const std::string text = ReadFile(ListPath());
  EXPECT_EQ(text, List(Entry("A", "A", "/a") + Entry("a", "A", "/b&lt;&amp;&gt;")));

  for (const auto& app : {App("", "A", "/a"), App("x", "", "/a"), App("x", "A", "")}) {
    EXPECT_EQ(list.Register(app), RegisterResult::kFailed);
  }
  EXPECT_EQ(ReadFile(ListPath()), text);
}

TEST(RegisteredApplications, ListAndFindHandOutCopies) {
  WriteFile(ListPath(),
            List(Entry("a", "A", "/a") + Entry("b", "B", "/b") + Entry("a", "2", "/2")));
  std::vector<KeldaUpdaterRegisteredApp> apps;
  KeldaUpdaterRegisteredApp found{std::string_view()};
  {
    KeldaUpdaterRegistrationManager list;
    ASSERT_TRUE(list.GetRegisteredApps(apps));
    ASSERT_TRUE(list.Find("a", found));
    EXPECT_FALSE(list.Find("c", found));
    EXPECT_FALSE(list.Find("KeldaUpdater", found)) << "no folder for the bundle";
  }
  ASSERT_EQ(apps.size(), 3U);
  std::string text;
  EXPECT_TRUE(found.GetDisplayName(text) && text == "A");
  EXPECT_TRUE(apps[2].GetInstallPath(text) && text == "/2");
  EXPECT_TRUE(apps[2].SetInstallPath("elsewhere") && apps[1].GetAppId(text) && text == "b");

  fs::remove(ListPath());
  fs::create_directory(kxl_test::InTestFolder("opt"));
  KeldaUpdaterRegistrationManager list;
  EXPECT_TRUE(list.Find("KeldaUpdater", found));
  EXPECT_TRUE(found.GetDisplayName(text) && text == "Kelda Updater");
  EXPECT_TRUE(found.GetInstallPath(text) && text.ends_with("/Kelda Updater.app"));
  EXPECT_TRUE(list.GetRegisteredApps(apps) && apps.empty());
}

TEST(RegisteredApplications, UnregisterRemovesEveryEntryAndTheLastOneTheFile) {
  WriteFile(ListPath(),
            List(Entry("a", "A", "/a") + Entry("b", "B", "/b") + Entry("a", "2", "/2")));
  KeldaUpdaterRegistrationManager list;
  EXPECT_EQ(list.Unregister("KeldaUpdater"), UnregisterResult::kFailed);
  EXPECT_EQ(list.Unregister("c"), UnregisterResult::kNotFound);
  EXPECT_EQ(list.Unregister("a"), UnregisterResult::kRemoved);
  EXPECT_EQ(ReadFile(ListPath()), List(Entry("b", "B", "/b")));
  EXPECT_EQ(list.Unregister("b"), UnregisterResult::kRemoved);
  EXPECT_FALSE(fs::exists(ListPath()));
  EXPECT_EQ(list.Unregister("b"), UnregisterResult::kFailed) << "no file";
}

TEST(RegisteredApplications, LoadingPrunesEntriesWithoutAPath) {
  const std::string twoPaths =
      "<Application appID=\"p\"><InstallPath>/1</InstallPath><InstallPath>/2</InstallPath>"
      "</Application>";
  const std::string noPath = "<Application appID=\"n\"><DisplayName>N</DisplayName></Application>";
  const std::string foreign = "<Other></Other>\n";
  std::vector<KeldaUpdaterRegisteredApp> apps;
  KeldaUpdaterRegistrationManager list;
  WriteFile(ListPath(), List(twoPaths + Entry("a", "A", "/a") + foreign + Entry("e", "E", "")));
  EXPECT_TRUE(list.GetRegisteredApps(apps));
  EXPECT_EQ(apps.size(), 1U);
  EXPECT_EQ(ReadFile(ListPath()), List(Entry("a", "A", "/a") + foreign));

  WriteFile(ListPath(), List(noPath));
  EXPECT_EQ(list.Unregister("n"), UnregisterResult::kNotFound);
  EXPECT_EQ(ReadFile(ListPath()), List("")) << "only a save erases";
}

TEST(RegisteredApplications, AForeignRootIsReplacedAtTheNextSave) {
  WriteFile(ListPath(), "<Other>text</Other>");
  std::vector<KeldaUpdaterRegisteredApp> apps;
  KeldaUpdaterRegistrationManager list;
  EXPECT_TRUE(list.GetRegisteredApps(apps) && apps.empty());
  EXPECT_EQ(ReadFile(ListPath()), "<Other>text</Other>");
  EXPECT_EQ(list.Register(App("a", "A", "/a")), RegisterResult::kAdded);
  EXPECT_EQ(ReadFile(ListPath()), List(Entry("a", "A", "/a")));
}

TEST(RegisteredApplications, TraceTheListingInDetail) {
  const std::string log = kxl_test::InTestFolder("log");
  kxl::IsLogOpen(log, 3);
  std::vector<KeldaUpdaterRegisteredApp> apps;
  KeldaUpdaterRegistrationManager().GetRegisteredApps(apps);
  kxl::TraceLog::Instance("", 0, kxl::TraceLog::Mode::kClose);
  EXPECT_NE(ReadFile(log).find(": GetRegisteredApps(" + ListPath() + ") : return = 1\n"),
            std::string::npos);
}

TEST(RegisteredApplications, CannotBeWithoutAFolder) {
  WriteFile(kxl_test::InTestFolder("var"), "a file");
  try {
    KeldaUpdaterRegistrationManager list;
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Unable to determine registration filepath!");
  }
}

}  // namespace
