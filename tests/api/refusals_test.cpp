// What is refused, to whom, and with which answer.
#include <kxl/kxl.h>

#include "support/host.h"

namespace {

using namespace kxl_test;

std::size_t CountInLog(const std::string& text) { return Count(ReadLog(LibraryLog()), text); }

TEST(Refusals, OfTexts) {
  const std::string x256(256, 'x');
  const Text none;
  // Identifier, name and folder, and what registering, a check, a query and missing components
  // answer. There is no updater, and the longest identifier makes no file name.
  const std::tuple<Text, Text, Text, std::vector<int>> cases[] = {
      {x256, "A", "/a", {0, 2, 1, 2}},
      {"a", x256 + x256, x256.substr(1), {0, 2, 2, 2}},
      {"a", "A", "/" + x256 + x256, {3, 3, 3, 2}},
      {"a", "A", x256, {3, 3, 3, 2}},
      {none, "A", "/a", {3, 2, 3, 3}},
      {"", "A", "/a", {3, 3, 3, 3}},
      {x256 + "x", "A", "/a", {3, 3, 3, 3}},
      {"caf\xE9", "A", "/a", {3, 3, 3, 3}},
      {"a", none, "/a", {3, 3, 3, 3}},
      {"a", "", "/a", {3, 3, 3, 3}},
      {"a", x256 + x256 + "x", "/a", {3, 3, 3, 3}},
      {"a", "\xC0\x80", "/a", {3, 3, 3, 3}},
      {"a", "A", none, {3, 3, 3, 3}},
      {"a", "A", "", {3, 3, 3, 3}},
      {"a", "A", "/\xC0\x80", {3, 3, 3, 3}}};
  for (const auto& [id, name, folder, answers] : cases) {
    EXPECT_EQ(CallsInHost({{"RegisterApplication", id, name, folder},
                           {"TriggerUpdateCheck", id, name, folder, "", "0"},
                           {"IsUpdateAvailable", id, name, folder},
                           {"DownloadMissingComponents", id, name, folder, "", "n", "c", "1"}}),
              answers)
        << testing::PrintToString(std::tie(id, name, folder));
  }
  EXPECT_TRUE(fs::exists(ComponentsPath())) << "listed, although there is no updater";
  for (const Text& id : {none, Text(""), Text(x256 + "x")}) {
    EXPECT_EQ(CallsInHost({{"UnRegisterApplication", id}, {"DoPluginAction", id}}),
              (std::vector{3, 3}));
  }
  EXPECT_EQ(CallsInHost({{"DownloadMissingComponents", "a", "A", "/a", ""}}), std::vector{3});
  // A missing folder is traced by a query only, one that is too long by a registration too.
  for (const auto& [line, count] :
       {std::pair("\nSpecified app directory is more than or equal to 255 chars.", 6U),
        {"\nApp ID must only contain ANSI character values 0-127.", 4U},
        {"\nApp ID must be less than 256 characters.", 6U}}) {
    EXPECT_EQ(CountInLog(line + std::string(" Will reject processing request.\n")), count) << line;
  }
}

TEST(Refusals, OfUsersAndByTheAdministrator) {
  const std::vector<Call> calls = {{"IsUpdateCheckEnabled"},
                                   {"TriggerUpdateCheck", "", "A", "/a", "", "0"},
                                   {"TriggerUpdateCheck", "", "A", "/a", "", "1"},
                                   {"TriggerUpdateCheck", "", "A", "/a", "", "2"},
                                   {"DownloadMissingComponents", "", "A", "/a", ""},
                                   {"DoPluginAction", ""},
                                   {"RegisterApplication", "", "A", "/a"},
                                   {"IsUpdateAvailable", "", "A", "/a"},
                                   {"RegisterApplication", "a", "A", "/a"},
                                   {"UnRegisterApplication", "a"},
                                   {"IsUpdateAvailable", "a", "A", "/a", "refresh"}};
  EXPECT_EQ(CallsInHost(calls), (std::vector{1, 3, 3, 3, 3, 3, 3, 3, 0, 0, 2}));
  const std::string list = ApplicationList(ApplicationEntry("a", "B", "/a"));
  WriteFile(ListPath(), list);
  EXPECT_EQ(CallsInHost(calls, WithFreeIdentity("admin:x:5000:kelly\nguest:x:2000:\n"), "guest"),
            (std::vector{0, 7, 7, 7, 7, 7, 3, 3, 4, 4, 6}));
  EXPECT_EQ(ReadFile(ListPath()), list);
  WriteFile(AdminListPath(),
            "<plist version=\"1.0\"><dict><key>Disable.Update</key><true/></dict></plist>");
  EXPECT_EQ(CallsInHost(calls), (std::vector{0, 7, 7, 7, 7, 7, 3, 7, 0, 0, 7}));
}

}  // namespace
