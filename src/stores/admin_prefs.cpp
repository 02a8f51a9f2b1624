#include "stores/admin_prefs.h"

#include "platform/base_folders.h"
#include "platform/failure_report.h"
#include "platform/regular_file.h"
#include "stores/property_list.h"

namespace kxl {

std::string AdminPrefsPath() { return MachinePath("etc/com.kelda.updater6.Admin.plist"); }

bool IsUpdateEnabledByAdmin(bool& enabled) {
  // What cannot be read says nothing: an administrator's slip must not cut users off from updates.
  const std::string path = AdminPrefsPath();
  std::string text;
  bool isDisabled = false;
  const OpenStatus status = ReadRegularFile(path, text, kMaximumAdminListSize);
  if (status != OpenStatus::kOpened && status != OpenStatus::kMissing) ReportFailure(path);
  if (status != OpenStatus::kOpened ||
      FindBoolean(text, kDisableUpdate, isDisabled) != BooleanSearch::kFound) {
    return false;
  }
  enabled = !isDisabled;
  return true;
}

}  // namespace kxl
