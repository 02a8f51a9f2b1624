// The traces of the library and of the updater as one.
#ifndef KXL_TOOLS_KXL_LOG_VIEW_H
#define KXL_TOOLS_KXL_LOG_VIEW_H

#include "kxl/output.h"

namespace tool {

enum class Follow : bool { kNo, kYes };

// Prints both logs, merged by time. With kYes goes on with what is written later, until the process
// is ended.
void ShowLog(Output& output, Follow follow);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_LOG_VIEW_H
