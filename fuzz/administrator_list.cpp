// The administrator's list, XML or binary.
#include <array>

#include "fuzz/machine.h"
#include "stores/admin_prefs.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Put(kxl::AdminPrefsPath(), fuzz::Input(bytes, size).Rest());
  std::array<bool, 2> enabled = {false, true};
  const bool answered = kxl::IsUpdateEnabledByAdmin(enabled[0]);
  fuzz::Check(kxl::IsUpdateEnabledByAdmin(enabled[1]) == answered, "the answer is always the same");
  fuzz::Check((enabled[0] == enabled[1]) == answered, "only an answer changes the switch");
  return 0;
}
