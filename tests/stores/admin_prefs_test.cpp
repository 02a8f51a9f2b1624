#include "stores/admin_prefs.h"

#include <plist/plist.h>

#include "support/test_folder.h"

namespace {

using namespace kxl_test;

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
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
         "<key>Other</key><true/><key>Disable.Update</key>" +
         value + "</dict></plist>\n";
}

// 1 enabled, 0 disabled, -1 no answer.
int AnswerFrom(const std::string& text) {
  WriteFile(AdminListPath(), text);
  bool enabled = true;
  const bool answered = kxl::IsUpdateEnabledByAdmin(enabled);
  EXPECT_TRUE(answered || enabled) << "no answer changes nothing";
  return answered ? enabled : -1;
}

TEST(AdminPrefs, OnlyABooleanCounts) {
  bool enabled = true;
  EXPECT_FALSE(kxl::IsUpdateEnabledByAdmin(enabled)) << "no file";
  WriteFile(AdminListPath() + ".target", "");
  fs::create_symlink(AdminListPath() + ".target", AdminListPath());  // links are followed
  for (const auto& text : {Xml("<true/>"), Binary(true)}) EXPECT_EQ(AnswerFrom(text), 0) << text;
  for (const auto& text : {Xml("<false/>"), Binary(false)}) EXPECT_EQ(AnswerFrom(text), 1) << text;
  for (const auto& text :
       {Xml("<integer>1</integer>"), Xml("<string>true</string>"), Binary(true).substr(0, 20),
        std::string("<plist version=\"1.0\"><dict></dict></plist>"), std::string("no list"),
        std::string("<plist version=\"1.0\"><true/></plist>"), std::string(),
        std::string("<plist version=\"1.0\"><dict><key>Disable.Update")}) {
    EXPECT_EQ(AnswerFrom(text), -1) << text;
  }
}

}  // namespace
