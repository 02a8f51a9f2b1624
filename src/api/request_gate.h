// The gate before update checks, missing components and plug-in actions. Asking whether an update
// waits is open to every user, and asks the administrator's switch alone.
#ifndef KXL_API_REQUEST_GATE_H
#define KXL_API_REQUEST_GATE_H

namespace kxl {

// Whether this user may run update checks: the administrator has not switched them off, and the
// user is an administrator, which is traced.
bool IsRequestAllowed();

}  // namespace kxl

#endif  // KXL_API_REQUEST_GATE_H
