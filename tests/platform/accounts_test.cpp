#include "platform/accounts.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <charconv>

#include "support/test_folder.h"

namespace {

std::uint32_t Number(const std::string& text, int base) {
  std::uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

// Becomes user arguments[1] with the only supplementary group arguments[2], then asks about the
// packed version arguments[0].
CHILD_BODY(AskWhetherAdmin) {
  const gid_t group = Number(arguments[2], 10);
  if (setgroups(1, &group) != 0 || setgid(group) != 0 || setuid(Number(arguments[1], 10)) != 0) {
    return 2;
  }
  return kxl::IsUserAdmin(Number(arguments[0], 16)) ? 1 : 0;
}

TEST(Accounts, AdministratorsAreFoundByDatabaseOrProcess) {
  // Group 77 has no entry.
  const char groups[] = "admin:x:5000:somebody,guest\nwheel:x:5001:\nusers:x:2000:\nother:x:100:\n";
  const char nobodysGroups[] = "admin:x:5000:\nwheel:x:5001:guest\nother:x:100:\n";
  const struct {
    const char* groups;
    const char* version;
    const char* user;
    const char* group;
    bool admin;
  } cases[] = {
      {groups, "1049", "2000", "100", true},          // listed by name
      {groups, "1029", "2000", "100", false},         // but not in the older group
      {nobodysGroups, "1029", "2000", "100", true},   // listed there
      {nobodysGroups, "1030", "2000", "100", false},  // the newer group from here on
      {nobodysGroups, "0", "2000", "100", true},      // unknown version: the database's wheel ...
      {nobodysGroups, "0", "3000", "5001", false},    // ... but the process's admin
      {nobodysGroups, "0", "3000", "5000", true},
      {nobodysGroups, "1029", "3000", "5001", true},  // by the process's groups
      {nobodysGroups, "1049", "3000", "5000", true},
      {nobodysGroups, "1049", "3000", "100", false},
      {nobodysGroups, "1049", "3000", "77", true},    // an unknown group proves membership
      {nobodysGroups, "1049", "0", "100", true},      // root, by nature
      {"other:x:100:\n", "1049", "0", "100", false},  // of a group that exists
      {"admin:x:2000:\nother:x:100:\n", "1049", "2000", "100", true},  // primary group
  };
  for (const auto& test : cases) {
    kxl_test::ChildProcess child("AskWhetherAdmin", {test.version, test.user, test.group},
                                 kxl_test::WithFreeIdentity(test.groups));
    EXPECT_EQ(child.Exit(), test.admin) << "version " << test.version << ", user " << test.user
                                        << ", group " << test.group << ", " << test.groups;
  }
}

}  // namespace
