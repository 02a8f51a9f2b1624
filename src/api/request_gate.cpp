#include "api/request_gate.h"

#include "platform/accounts.h"
#include "stores/admin_prefs.h"
#include "util/trace_log.h"

namespace kxl {

bool IsRequestAllowed() {
  bool enabled = true;
  IsUpdateEnabledByAdmin(enabled);
  const bool isAdmin = IsUserAdmin();
  LogMessage(kLogNormal, Flush::kYes, isAdmin ? "Has admin priv." : "Do not have admin priv.");
  return enabled && isAdmin;
}

}  // namespace kxl
