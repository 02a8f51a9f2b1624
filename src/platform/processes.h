// Finding the updater among the running processes.
#ifndef KXL_PLATFORM_PROCESSES_H
#define KXL_PLATFORM_PROCESSES_H

namespace kxl {

// Whether a process named "Kelda Updater" of the same effective user runs, other than the caller
// and not one that has ended and only waits for its parent. False too when /proc cannot be read.
// kYes asks one that runs to come to the front, which may wait for half a second.
enum class BringToFront : bool { kNo, kYes };
bool FindUpdaterProcess(BringToFront bringToFront);

}  // namespace kxl

#endif  // KXL_PLATFORM_PROCESSES_H
