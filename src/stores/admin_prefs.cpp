#include "stores/admin_prefs.h"

#include <plist/plist.h>

#include <memory>

#include "platform/base_folders.h"
#include "platform/regular_file.h"

namespace kxl {

namespace {

struct PlistDeleter {
  void operator()(void* list) const { plist_free(list); }
};
using Plist = std::unique_ptr<void, PlistDeleter>;

Plist Parse(const std::string& text) {
  plist_t list = nullptr;
  plist_from_memory(text.data(), static_cast<std::uint32_t>(text.size()), &list);
  return Plist(list);
}

bool IsType(plist_t node, plist_type type) {
  return node != nullptr && plist_get_node_type(node) == type;
}

}  // namespace

std::string AdminPrefsPath() { return MachinePath("etc/com.kelda.updater6.Admin.plist"); }

bool IsUpdateEnabledByAdmin(bool& enabled) {
  std::string text;
  ReadRegularFile(AdminPrefsPath(), text);
  const Plist list = Parse(text);
  if (!IsType(list.get(), PLIST_DICT)) return false;
  const plist_t disable = plist_dict_get_item(list.get(), "Disable.Update");
  if (!IsType(disable, PLIST_BOOLEAN)) return false;
  std::uint8_t isDisabled = 0;
  plist_get_bool_val(disable, &isDisabled);
  enabled = isDisabled == 0;
  return true;
}

}  // namespace kxl
