// Trimming of a log file that several processes append to.
#ifndef KXL_PLATFORM_LOG_TRIM_H
#define KXL_PLATFORM_LOG_TRIM_H

#include <cstdint>
#include <string>

namespace kxl {

// Cuts a log of more than `above` bytes to its last `kept` bytes. These take its place in a new
// file of the same mode, owner and group, in one step; whoever has the old one open learns it by
// IsUnlinked, and what he writes until TrimLog returns is taken over. A link stays and its target
// is cut. The log stays as it is on any failure, when the caller cannot give the new file its owner
// and group, while another process is at it, and in a temporary folder (IsInTemporaryFolder). Never
// waits.
//
// The new file begins as <path>_. One that a killed process has left is removed under the lock on
// the log; where the file system has no locks, or the name is taken by anything but a regular file
// that may be written, it is left and the log is not cut.
void TrimLog(const std::string& path, std::uint64_t above, std::uint64_t kept);

}  // namespace kxl

#endif  // KXL_PLATFORM_LOG_TRIM_H
