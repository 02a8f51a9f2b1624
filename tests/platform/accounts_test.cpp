#include "platform/accounts.h"

#include <grp.h>
#include <unistd.h>

#include "support/test_folder.h"

namespace {

using namespace kxl_test;

// Becomes user arguments[1] with the only supplementary group arguments[2], then asks about the
// packed version arguments[0].
int AskWhetherAdmin(const Link& /*parent*/, const Arguments& arguments) {
  const auto user = static_cast<uid_t>(std::stoul(arguments[1]));
  const auto group = static_cast<gid_t>(std::stoul(arguments[2]));
  if (setgroups(1, &group) != 0 || setgid(group) != 0 || setuid(user) != 0) return 2;
  return kxl::IsUserAdmin(static_cast<std::uint32_t>(std::stoul(arguments[0], nullptr, 16)));
}

TEST(Accounts, AdministratorsAreFoundByDatabaseOrProcess) {
  // Group 77 has no entry.
  const char groups[] = "admin:x:5000:somebody,guest\nwheel:x:5001:\nusers:x:2000:\nother:x:100:\n";
  const char nobodysGroups[] = "admin:x:5000:\nwheel:x:5001:guest\nother:x:100:\n";
  const std::tuple<std::string, Arguments, bool> cases[] = {
      {groups, {"1049", "2000", "100"}, true},          // listed by name
      {groups, {"1029", "2000", "100"}, false},         // but not in the older group
      {nobodysGroups, {"1029", "2000", "100"}, true},   // listed there
      {nobodysGroups, {"1030", "2000", "100"}, false},  // the newer group from here on
      {nobodysGroups, {"0", "2000", "100"}, true},      // unknown version: the database's wheel ...
      {nobodysGroups, {"0", "3000", "5001"}, false},    // ... but the process's admin
      {nobodysGroups, {"0", "3000", "5000"}, true},
      {nobodysGroups, {"1029", "3000", "5001"}, true},  // by the process's groups
      {nobodysGroups, {"1049", "3000", "5000"}, true},
      {nobodysGroups, {"1049", "3000", "100"}, false},
      {nobodysGroups, {"1049", "3000", "77"}, true},    // an unknown group proves membership
      {nobodysGroups, {"1049", "0", "100"}, true},      // root, by nature
      {"other:x:100:\n", {"1049", "0", "100"}, false},  // of a group that exists
      {"admin:x:2000:\nother:x:100:\n", {"1049", "2000", "100"}, true}};  // primary group
  for (const auto& [database, question, admin] : cases) {
    ChildProcess child(AskWhetherAdmin, question, WithFreeIdentity(database));
    EXPECT_EQ(child.Exit(), admin) << testing::PrintToString(question) << " in " << database;
  }
}

}  // namespace
