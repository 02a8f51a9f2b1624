#include <kxl/kxl.h>

#include "support/host.h"
#include "support/updater.h"

namespace {

using namespace kxl_test;

constexpr char kLanguage[] = "de-de";

Call Missing(std::vector<std::optional<std::string>> components) {
  Call call = {"DownloadMissingComponents", "a", "A", "/a", kLanguage};
  call.insert(call.end(), components.begin(), components.end());
  return call;
}

TEST(MissingComponentsRequest, RefusesInOrder) {
  const std::string bytes512(512, 'x');
  const Call none = {"DownloadMissingComponents", "a", "A", "/a", kLanguage};
  EXPECT_EQ(CallsInHost({none,
                         {"DownloadMissingComponents", std::nullopt, "A", "/a", kLanguage, ""},
                         {"DownloadMissingComponents", "a", "", "/a", kLanguage, ""},
                         {"DownloadMissingComponents", "a", bytes512 + "x", "/a", kLanguage, ""},
                         {"DownloadMissingComponents", "a", "A", "", kLanguage, ""},
                         {"DownloadMissingComponents", "\x80", "A", "/a", kLanguage, ""},
                         {"DownloadMissingComponents", "a", "A", "/\xC0\x80", kLanguage, ""},
                         {"DownloadMissingComponents", "a", "\xC0\x80", "/a", kLanguage, ""}}),
            std::vector<int>(8, ESD_ERR_INVALIDDATA));
  EXPECT_EQ(CallsInHost(
                {{"DownloadMissingComponents", "a", bytes512, "/" + bytes512, "", "n", "c", "1"}}),
            std::vector{ESD_ERR_KX + 0});
  EXPECT_TRUE(fs::exists(ComponentsPath())) << "listed, although there is no updater";
  WriteFile(AdminListPath(),
            "<plist version=\"1.0\"><dict><key>Disable.Update</key><true/></dict></plist>");
  EXPECT_EQ(CallsInHost({none}), std::vector{ESD_ERR_NOTENABLED + 0});
}

TEST(MissingComponentsRequest, TellsWhatBecameOfTheList) {
  const StartedUpdater updater;
  const std::tuple<const char*, Call, int> cases[] = {
      {"an empty list", Missing({""}), ESD_ERR_OK},
      {"a new one", Missing({"n", "c", "1"}), ESD_ERR_OK},
      {"a listed one", Missing({"n", "c", "1.0"}), KXL_ALL_LISTED},
      {"listed and new", Missing({"n", "c", "1", "m", "c", "1"}), ESD_ERR_OK},
      {"new and listed", Missing({"o", "c", "1", "n", "c", "1"}), ESD_ERR_OK},
      {"all listed", Missing({"o", "c", "1", "*", "c", "1"}), KXL_ALL_LISTED}};
  for (const auto& [what, call, code] : cases) {
    EXPECT_EQ(CallsInHost({call}), std::vector{code}) << what;
    EXPECT_EQ(updater.Task(), "3 de_DE -") << what;
  }
  EXPECT_EQ(Count(ReadLog(LibraryLog()),
                  "MissingMedia Path = " + ComponentsPath() + "\nLaunching KXL.\n"),
            6U);
  const std::vector<std::vector<std::optional<std::string>>> failures = {
      {"p", "c", "1", "q", "c", "1.2.3.4.5", "r", "c", "1"}, {"p", "c", std::nullopt}};
  for (const auto& components : failures) {
    EXPECT_EQ(CallsInHost({Missing(components)}), std::vector{ESD_ERR_FAILURE + 0});
  }
  const std::string list = ReadFile(ComponentsPath());
  EXPECT_EQ(Count(list, "name=\"p\""), 1U) << "those before the failure stay";
  EXPECT_EQ(Count(list, "<AMissingComponent "), 4U);
}

}  // namespace
