#include "stores/registered_applications.h"

#include "support/test_folder.h"
#include "util/trace_log.h"

namespace {

using namespace kxl_test;
using kxl::KeldaUpdaterRegisteredApp;
using kxl::KeldaUpdaterRegistrationManager;
using kxl::RegisterResult;
using kxl::UnregisterResult;

KeldaUpdaterRegisteredApp App(const char* id, const char* name, const char* path) {
  KeldaUpdaterRegisteredApp app{std::string_view(id)};
  app.SetDisplayName(name);
  app.SetInstallPath(path);
  return app;
}

TEST(RegisteredApplications, ListAndFindHandOutCopiesAndUnregisterRemovesEveryEntry) {
  const std::string b = ApplicationEntry("b", "B", "/b");
  WriteFile(ListPath(), ApplicationList(ApplicationEntry("a", "A", "/a") + b +
                                        ApplicationEntry("a", "2", "/2")));
  std::vector<KeldaUpdaterRegisteredApp> apps;
  KeldaUpdaterRegisteredApp found{std::string_view()};
  std::string text;
  KeldaUpdaterRegistrationManager list;
  ASSERT_TRUE(list.GetRegisteredApps(apps) && list.Find("a", found));
  EXPECT_TRUE(found.SetInstallPath("elsewhere") && apps[0].GetInstallPath(text) && text == "/a");
  for (const auto& app : {App("", "A", "/a"), App("x", "", "/a"), App("x", "A", "")}) {
    EXPECT_EQ(list.Register(app), RegisterResult::kRefused);
  }
  EXPECT_EQ(list.Unregister("a"), UnregisterResult::kRemoved);
  EXPECT_EQ(ReadFile(ListPath()), ApplicationList(b));
  EXPECT_EQ(list.Unregister("b"), UnregisterResult::kRemovedLast);
  EXPECT_FALSE(fs::exists(ListPath()));
  EXPECT_EQ(list.Unregister("b"), UnregisterResult::kFailed) << "no file";
  ASSERT_EQ(apps.size(), 3U);
  EXPECT_TRUE(found.GetDisplayName(text) && text == "A") << "the first of two";
  EXPECT_TRUE(apps[2].GetInstallPath(text) && text == "/2");

  EXPECT_FALSE(list.Find("a", found));
  EXPECT_FALSE(list.Find("KeldaUpdater", found)) << "no folder for the bundle";
  fs::create_directory(InTestFolder("opt"));
  EXPECT_TRUE(list.Find("KeldaUpdater", found));
  EXPECT_TRUE(found.GetDisplayName(text) && text == "Kelda Updater");
  EXPECT_TRUE(found.GetInstallPath(text) && text.ends_with("/Kelda Updater.app"));

  kxl::IsLogOpen(InTestFolder("log"), 3);
  EXPECT_TRUE(list.GetRegisteredApps(apps) && apps.empty());
  KeldaUpdaterRegistrationManager holder;
  EXPECT_TRUE(holder.Lock());
  EXPECT_FALSE(list.GetRegisteredApps(apps));
  kxl::TraceLog::Instance("", 0, kxl::TraceLog::Mode::kClose);
  for (const char* result : {"1", "0"}) {
    text = "\nGetRegisteredApps(" + ListPath() + ") : return = " + result + "\n";
    EXPECT_EQ(Count(ReadLog(InTestFolder("log")), text), 1U);
  }
}

TEST(RegisteredApplications, LoadingPrunesEntriesWithoutAPath) {
  const std::string twoPaths =
      "<Application appID=\"p\"><InstallPath>/1</InstallPath><InstallPath>/2</InstallPath>"
      "</Application>";
  const std::string noPath = "<Application appID=\"n\"><DisplayName>N</DisplayName></Application>";
  const std::string kept = ApplicationEntry("a", "A", "/a") + "<Other></Other>\n";
  std::vector<KeldaUpdaterRegisteredApp> apps;
  KeldaUpdaterRegistrationManager list;
  WriteFile(ListPath(), ApplicationList(twoPaths + kept + ApplicationEntry("e", "E", "")));
  EXPECT_TRUE(list.GetRegisteredApps(apps));
  EXPECT_EQ(apps.size(), 1U);
  EXPECT_EQ(ReadFile(ListPath()), ApplicationList(kept));
  WriteFile(ListPath(), ApplicationList(noPath));
  EXPECT_EQ(list.Unregister("n"), UnregisterResult::kNotFound);
  EXPECT_EQ(ReadFile(ListPath()), ApplicationList("")) << "only a save erases";
  WriteFile(ListPath(), "<Other>text</Other>");
  EXPECT_TRUE(list.GetRegisteredApps(apps) && apps.empty());
  EXPECT_EQ(ReadFile(ListPath()), "<Other>text</Other>") << "a foreign root waits for a save";
}

}  // namespace
