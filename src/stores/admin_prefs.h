// The administrator's switch: com.kelda.updater6.Admin.plist in <root>/etc, a property list (XML or
// binary) whose dictionary may hold the boolean "Disable.Update".
#ifndef KXL_STORES_ADMIN_PREFS_H
#define KXL_STORES_ADMIN_PREFS_H

#include <cstddef>
#include <string>

namespace kxl {

std::string AdminPrefsPath();
inline constexpr char kDisableUpdate[] = "Disable.Update";

// libplist takes seconds for a list of a megabyte that somebody has made up for that.
inline constexpr std::size_t kMaximumAdminListSize = 256UL * 1024;  // bytes

// True when the list gives an answer; then enabled is the negation of "Disable.Update". False, with
// enabled as it was, when there is no list, it cannot be read or is larger than that, or the key is
// missing or no boolean.
// Reads the file at every call; a link to it is followed.
bool IsUpdateEnabledByAdmin(bool& enabled);

}  // namespace kxl

#endif  // KXL_STORES_ADMIN_PREFS_H
