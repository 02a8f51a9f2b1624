// Whether the shared files can be read, and setting aside what cannot.
#ifndef KXL_TOOLS_KXL_DAMAGE_H
#define KXL_TOOLS_KXL_DAMAGE_H

#include <vector>

#include "kxl/doctor.h"

namespace tool {

// Damaged, oversized and unreadable files, left companions, and files that were set aside.
std::vector<Finding> FindDamage();

}  // namespace tool

#endif  // KXL_TOOLS_KXL_DAMAGE_H
