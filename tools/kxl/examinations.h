// What the doctor looks at. Each adds to the findings and changes nothing.
#ifndef KXL_TOOLS_KXL_EXAMINATIONS_H
#define KXL_TOOLS_KXL_EXAMINATIONS_H

#include <vector>

#include "kxl/doctor.h"

namespace tool {

using Findings = std::vector<Finding>;

// Locks that nobody gives back.
void ExamineLocks(Findings& findings);

// What stands where something else belongs, and folders that are missing.
void ExamineObstacles(Findings& findings);

// Owners, groups and modes, and the administrators' group.
void ExamineOwnership(Findings& findings);

// Whether the folders can be written to. Not for those that have a finding by now, which tells why.
void ExamineDisks(Findings& findings);

// What a sandbox around this process does not share with the machine, as far as that can be told.
void ExamineSandbox(Findings& findings);

// The shared files' content: damaged, oversized and unreadable ones, left companions, and what was
// set aside.
void ExamineContent(Findings& findings);

// What the calls go by besides: the administrator's switch, the settings, the logs, the updater and
// its answers, the applications' folders.
void ExamineSurroundings(Findings& findings);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_EXAMINATIONS_H
