// Whether the calling user is an administrator.
#ifndef KXL_PLATFORM_ACCOUNTS_H
#define KXL_PLATFORM_ACCOUNTS_H

#include <cstdint>

namespace kxl {

// Whether the real user of the process belongs to the administrator group by the account database,
// or by the process's own list of groups. Safe from any number of threads.
bool IsUserAdmin();

// The same for a given packed system version, which chooses the group: "wheel" before 0x1030,
// "admin" from it on. Version 0, an unknown one, asks the account database for "wheel" and the
// process's list for "admin". A group in the process's list that the database does not know proves
// membership.
bool IsUserAdmin(std::uint32_t systemVersion);

}  // namespace kxl

#endif  // KXL_PLATFORM_ACCOUNTS_H
