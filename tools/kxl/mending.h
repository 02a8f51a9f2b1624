// The verbs that mend.
#ifndef KXL_TOOLS_KXL_MENDING_H
#define KXL_TOOLS_KXL_MENDING_H

#include <string>

#include "kxl/output.h"

namespace tool {

struct DoctorOptions {
  bool fix = false;
  bool dryRun = false;   // tells what fix would do
  bool restore = false;  // with fix: entries of lists that were set aside, too
};

// Prints what is wrong. The exit status is 1 when something is, and with fix when something still
// is.
void RunDoctor(Output& output, const DoctorOptions& options);

// Removes the lock on path, or on "request:<identifier>". Refused while somebody holds it, unless
// forced.
void Unlock(Output& output, const std::string& path, bool force);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_MENDING_H
