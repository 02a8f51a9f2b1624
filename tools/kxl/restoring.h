// Putting back what can still be read of lists that were set aside.
#ifndef KXL_TOOLS_KXL_RESTORING_H
#define KXL_TOOLS_KXL_RESTORING_H

#include "kxl/output.h"

namespace tool {

// Reads <list>.damaged entry by entry, past the damage, and adds to the list what it does not hold
// by now. The file that was set aside stays.
void RestoreSetAside(Output& output);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_RESTORING_H
