#include "stores/missing_components.h"

#include "support/test_folder.h"

namespace {

using namespace kxl_test;
using kxl::AddResult;
using kxl::ComponentRequest;
using kxl::KeldaUpdaterAMissingComponent;
using kxl::KeldaUpdaterMissingCompsApp;
using kxl::KeldaUpdaterMissingCompsManager;

AddResult AddMissing(const char* name, const char* category, const char* version,
                     const char* displayName = "A", const char* path = "/a",
                     std::int32_t type = 2) {
  return KeldaUpdaterMissingCompsManager().AddMissingComponent(
      {"a", displayName, path, type, name, category, version});
}

std::string Record(const std::string& id, const std::string& name, const std::string& components) {
  return "<KeldaUpdaterMissingCompsApp AppID=\"" + id +
         "\" OperationType=\"2\" RedoCFU=\"1\">\n<DisplayName>" + name +
         "</DisplayName>\n<InstallPath>/a</InstallPath>\n" + components +
         "</KeldaUpdaterMissingCompsApp>\n";
}

std::string List(const std::string& records) {
  return kDeclaration + ("<KeldaUpdaterMissingCompsManager>\n" + records) +
         "</KeldaUpdaterMissingCompsManager>\n";
}

constexpr char kComponent[] =
    "<AMissingComponent category=\"c\" name=\"n\" version=\"1.2.0.0\"></AMissingComponent>\n";

TEST(MissingComponents, AreListedOnce) {
  EXPECT_EQ(AddMissing("n", "c", "1,2"), AddResult::kAdded);
  const std::string text = ReadFile(ComponentsPath());
  EXPECT_EQ(text, List(Record("a", "A", kComponent)));
  EXPECT_EQ(ModeOf(ComponentsPath()), 0664U);
  const auto written = fs::last_write_time(ComponentsPath());
  for (const char* version : {"1.2", "1 2 0-0", "1.2.0.0x", "1.2."}) {
    EXPECT_EQ(AddMissing("n", "c", version), AddResult::kListed) << version;
  }
  EXPECT_EQ(AddMissing("*", "c", "1.2"), AddResult::kListed);
  EXPECT_EQ(fs::last_write_time(ComponentsPath()), written) << "nothing has changed";
  for (const char* version : {"1.2.0.0.0", "1.b.2", "x.1"}) {
    EXPECT_EQ(AddMissing("n", "c", version), AddResult::kFailed) << version;
  }
  EXPECT_EQ(AddMissing("n", "c\"", "1"), AddResult::kFailed) << "no attribute can hold that";
  EXPECT_EQ(AddMissing(nullptr, "c", "1"), AddResult::kFailed);
  EXPECT_EQ(AddMissing("n", "c", "1", ""), AddResult::kFailed) << "the record would be dropped";
  EXPECT_EQ(ReadFile(ComponentsPath()), text);

  EXPECT_EQ(AddMissing("n", "c", "1.2", "A<", "/b", 3), AddResult::kListed);
  EXPECT_EQ(Count(ReadFile(ComponentsPath()),
                  "OperationType=\"3\" RedoCFU=\"1\">\n"
                  "<DisplayName>A&lt;</DisplayName>\n"
                  "<InstallPath>/b</InstallPath>\n"),
            1U);
  EXPECT_EQ(AddMissing("*", "d", "1"), AddResult::kAdded);
  EXPECT_EQ(AddMissing("any", "d", "1"), AddResult::kListed);
  EXPECT_EQ(AddMissing("any", "d", "2"), AddResult::kAdded);
}

TEST(MissingComponents, RecordsAndTheirRemoval) {
  KeldaUpdaterMissingCompsManager list;
  KeldaUpdaterMissingCompsApp app("a", 2);
  EXPECT_EQ(list.Add(app), AddResult::kFailed) << "without a name";
  app.SetDisplayName("first");
  app.SetInstallPath("/a");
  EXPECT_TRUE(app.AppendComponent({"c", "n", kxl::Version("1.2")}));
  EXPECT_EQ(list.Add(app), AddResult::kAdded);
  app.SetDisplayName("second");
  EXPECT_EQ(list.Add(app), AddResult::kAdded) << "no test for the same identifier";
  WriteFile(ComponentsPath(),
            List(Record("a", "first", kComponent) + Record("b", "", kComponent) +
                 Record("b", "B", "<AMissingComponent category=\"c\" name=\"n\"/>\n")));
  KeldaUpdaterMissingCompsApp found{esd::XMLNodePointer()};
  std::vector<KeldaUpdaterAMissingComponent> components;
  ASSERT_TRUE(list.Find("b", found) && found.GetComponents(components));
  std::string name;
  kxl::Version version("9");
  bool redo = false;
  EXPECT_TRUE(found.GetDisplayName(name) && found.GetRedoCFU(redo) && redo);
  EXPECT_EQ(name, "B") << "the one without a name is dropped";
  EXPECT_TRUE(components.at(0).GetVersion(version) && version == kxl::Version());
  EXPECT_FALSE(list.Find("c", found));

  EXPECT_TRUE(list.RemoveComponents("a", components)) << "another version";
  EXPECT_EQ(Count(ReadFile(ComponentsPath()), "\"a\""), 1U);
  EXPECT_TRUE(list.RemoveComponents("b", components));
  EXPECT_EQ(ReadFile(ComponentsPath()), List(Record("a", "first", kComponent)));
  ASSERT_TRUE(list.Find("a", found) && found.GetComponents(components));
  EXPECT_TRUE(list.RemoveComponents("a", components));
  EXPECT_FALSE(fs::exists(ComponentsPath()));
}

TEST(MissingComponents, ARecordsFieldsThatAreNone) {
  KeldaUpdaterMissingCompsApp app("a", -12);
  std::string name = "old";
  std::int32_t type = 7;
  EXPECT_TRUE(app.GetOperationType(type) && type == -12);
  app.Node()->SetAttribute("OperationType", "1x");
  EXPECT_FALSE(app.GetOperationType(type) || app.GetDisplayName(name));
  app.Node()->AddChild(esd::XMLDocumentNode::NewElement("DisplayName"));
  app.Node()->AddChild(esd::XMLDocumentNode::NewElement("DisplayName"));
  EXPECT_FALSE(app.GetDisplayName(name)) << "two of a name";
  EXPECT_EQ(name + std::to_string(type), "old-12");
  EXPECT_TRUE(app.SetDisplayName("first"));
  EXPECT_EQ(app.Node()->GetChildren()[0]->GetText(), "first");
}

TEST(MissingComponents, TheEndOfAListLeavesNoEmptyFileAndLosesNothing) {
  const auto end = [](const std::string& text) {
    WriteFile(ComponentsPath(), text);
    KeldaUpdaterMissingCompsManager();
    return fs::exists(ComponentsPath());
  };
  EXPECT_FALSE(end(List("<Other/>")));
  EXPECT_FALSE(fs::exists(ComponentsPath() + ".damaged"));
  EXPECT_TRUE(end(List(Record("a", "A", kComponent))));
  WriteFile(ComponentsPath(), List(""));
  esd::ResourceLocker somebody(ComponentsPath(), 0);
  ASSERT_TRUE(somebody.Lock());
  EXPECT_EQ(AddMissing("n", "c", "1"), AddResult::kFailed);
  EXPECT_EQ(ReadFile(ComponentsPath()), List(""));
  somebody.Unlock(esd::Force::kNo);
  fs::remove(ComponentsPath());
  fs::create_directory(ComponentsPath());
  EXPECT_EQ(AddMissing("n", "c", "1"), AddResult::kFailed);
  EXPECT_TRUE(fs::exists(ComponentsPath())) << "a folder is never ours";
}

}  // namespace
