// Whether a folder takes what somebody writes there.
#ifndef KXL_TOOLS_KXL_WRITING_H
#define KXL_TOOLS_KXL_WRITING_H

#include <string>

namespace tool {

// Writes some kilobytes into a file without a name in the folder, which goes with this call. 0, or
// the errno of what has failed. Does not wait for the disk.
int TryWriting(const std::string& folder);

// Whether a log could be opened there and written to at its end; makes nothing. errno tells why
// not.
bool MayAppend(const std::string& path);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_WRITING_H
