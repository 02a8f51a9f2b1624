// Putting back what can still be read of lists that were set aside.
#ifndef KXL_TOOLS_KXL_RESTORING_H
#define KXL_TOOLS_KXL_RESTORING_H

#include "kxl/output.h"

namespace tool {

// Reads what was set aside for each list, the newest first, entry by entry and past the damage, and
// adds to the list what it does not hold by now. A file all of whose entries the list holds then is
// removed, any other one stays.
void RestoreSetAside(Output& output);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_RESTORING_H
