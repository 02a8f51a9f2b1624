#include "stores/admin_prefs.h"

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <filesystem>

#include "support/test_folder.h"

namespace {

using kxl_test::WriteFile;

std::string Binary(bool disable) {
  const plist_t list = plist_new_dict();
  plist_dict_set_item(list, "Disable.Update", plist_new_bool(disable));
  char* data = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(list, &data, &size);
  std::string text(data, size);
  plist_to_bin_free(data);
  plist_free(list);
  return text;
}

std::string Xml(const std::string& value) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<plist version=\"1.0\"><dict><key>Other</key><true/>" +
         value + "</dict></plist>\n";
}

TEST(AdminPrefs, OnlyABooleanCounts) {
  const std::string key = "<key>Disable.Update</key>";
  const std::pair<std::string, int> cases[] = {
      // 1 enabled, 0 disabled, -1 no answer
      {Xml(key + "<true/>"), 0},
      {Xml(key + "<false/>"), 1},
      {Binary(true), 0},
      {Binary(false), 1},
      {Xml(key + "<integer>1</integer>"), -1},
      {Xml(key + "<string>true</string>"), -1},
      {Xml(""), -1},
      {"<plist version=\"1.0\"><true/></plist>", -1},
      {"", -1},
      {"no list", -1},
      {Binary(true).substr(0, 20), -1},
      {"<plist version=\"1.0\"><dict><key>Disable.Update", -1}};
  bool enabled = true;
  EXPECT_FALSE(kxl::IsUpdateEnabledByAdmin(enabled)) << "no file";
  for (const auto& [text, answer] : cases) {
    WriteFile(kxl::AdminPrefsPath(), text);
    enabled = true;
    const bool answered = kxl::IsUpdateEnabledByAdmin(enabled);
    EXPECT_EQ(answered ? enabled : -1, answer) << text;
    EXPECT_EQ(enabled, answer != 0) << text;
  }
}

TEST(AdminPrefs, AreReadThroughALink) {
  WriteFile(kxl_test::InTestFolder("elsewhere"), Binary(true));
  std::filesystem::create_directory(kxl_test::InTestFolder("etc"));
  std::filesystem::create_symlink(kxl_test::InTestFolder("elsewhere"), kxl::AdminPrefsPath());
  bool enabled = true;
  EXPECT_TRUE(kxl::IsUpdateEnabledByAdmin(enabled) && !enabled);
}

}  // namespace
