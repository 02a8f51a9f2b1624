// Finding the updater among the running processes.
#ifndef KXL_PLATFORM_PROCESSES_H
#define KXL_PLATFORM_PROCESSES_H

#include "platform/session_bus.h"

namespace kxl {

// Whether a process named "Kelda Updater" of the same real and effective user runs, other than the
// caller and not one that has ended and only waits for its parent. False too when /proc cannot be
// read. kYes asks one that runs to come to the front, and waits for the session bus until the
// deadline.
enum class BringToFront : bool { kNo, kYes };
bool FindUpdaterProcess(BringToFront bringToFront, BusDeadline deadline = BusPatience());

}  // namespace kxl

#endif  // KXL_PLATFORM_PROCESSES_H
