#include "stores/admin_prefs.h"

#include <plist/plist.h>

#include <memory>

#include "esd/xml_parser.h"
#include "platform/base_folders.h"
#include "platform/regular_file.h"

namespace kxl {

namespace {

struct PlistDeleter {
  void operator()(void* list) const { plist_free(list); }
};
using Plist = std::unique_ptr<void, PlistDeleter>;

// libplist follows nested elements without a limit, so they are counted first.
bool IsWithinLimits(const std::string& path) {
  esd::ExpatDOMBuilder builder;
  return builder.Init() && builder.ParseFile(path, false);
}

Plist Parse(const std::string& path, const std::string& text) {
  plist_t list = nullptr;
  const auto size = static_cast<std::uint32_t>(text.size());
  if (text.starts_with("bplist00")) {
    plist_from_bin(text.data(), size, &list);
  } else if (IsWithinLimits(path)) {
    plist_from_xml(text.data(), size, &list);
  }
  return Plist(list);
}

bool IsType(plist_t node, plist_type type) {
  return node != nullptr && plist_get_node_type(node) == type;
}

}  // namespace

std::string AdminPrefsPath() { return MachinePath("etc/com.kelda.updater6.Admin.plist"); }

bool IsUpdateEnabledByAdmin(bool& enabled) {
  const std::string path = AdminPrefsPath();
  std::string text;
  ReadRegularFile(path, text);
  const Plist list = Parse(path, text);
  if (!IsType(list.get(), PLIST_DICT)) return false;
  const plist_t disable = plist_dict_get_item(list.get(), "Disable.Update");
  if (!IsType(disable, PLIST_BOOLEAN)) return false;
  std::uint8_t isDisabled = 0;
  plist_get_bool_val(disable, &isDisabled);
  enabled = isDisabled == 0;
  return true;
}

}  // namespace kxl
