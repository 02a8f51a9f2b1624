// Whether the calling user is an administrator.
#ifndef KXL_PLATFORM_ACCOUNTS_H
#define KXL_PLATFORM_ACCOUNTS_H

#include <cstdint>

namespace kxl {

// What makes the real user of a process an administrator.
enum class AdminRule {
  kNone,             // nothing does
  kAccountDatabase,  // the account database tells that he is a member of the group
  kProcessGroups,    // the process's own list of groups has that group
  kUnknownGroup,     // the process's list has a group that the database does not know
};

// Safe from any number of threads.
AdminRule FindAdminRule();

// The same for a given packed system version, which chooses the group: "wheel" before 0x1030,
// "admin" from it on. Version 0, an unknown one, asks the account database for "wheel" and the
// process's list for "admin".
AdminRule FindAdminRule(std::uint32_t systemVersion);

inline bool IsUserAdmin() { return FindAdminRule() != AdminRule::kNone; }
inline bool IsUserAdmin(std::uint32_t systemVersion) {
  return FindAdminRule(systemVersion) != AdminRule::kNone;
}

}  // namespace kxl

#endif  // KXL_PLATFORM_ACCOUNTS_H
