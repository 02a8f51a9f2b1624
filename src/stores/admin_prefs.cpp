#include "stores/admin_prefs.h"

#include "platform/base_folders.h"
#include "platform/regular_file.h"
#include "stores/property_list.h"

namespace kxl {

std::string AdminPrefsPath() { return MachinePath("etc/com.kelda.updater6.Admin.plist"); }

bool IsUpdateEnabledByAdmin(bool& enabled) {
  // What cannot be read says nothing: an administrator's slip must not cut users off from updates.
  std::string text;
  bool isDisabled = false;
  if (ReadRegularFile(AdminPrefsPath(), text, kMaximumAdminListSize) != OpenStatus::kOpened ||
      !FindBoolean(text, "Disable.Update", isDisabled)) {
    return false;
  }
  enabled = !isDisabled;
  return true;
}

}  // namespace kxl
