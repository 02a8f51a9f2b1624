// The verbs that look and change nothing. None takes a lock: every file but the preferences is
// replaced as a whole, so that a reader finds the old state or the new one.
#ifndef KXL_TOOLS_KXL_INSPECTION_H
#define KXL_TOOLS_KXL_INSPECTION_H

#include "esd/xml_parser.h"
#include "kxl/output.h"

namespace tool {

void ShowStatus(Output& output);
void ShowApplications(Output& output);
void ShowComponents(Output& output);
void ShowHolds(Output& output);
void ShowPreferences(Output& output);
void ShowLocks(Output& output);

// What reading a file has met, in words; empty for one that was parsed or is missing.
std::string ReadProblem(esd::ReadStatus status);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_INSPECTION_H
