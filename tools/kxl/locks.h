// The machine-wide locks and who holds them.
#ifndef KXL_TOOLS_KXL_LOCKS_H
#define KXL_TOOLS_KXL_LOCKS_H

#include <sys/types.h>

#include <ctime>
#include <string>
#include <vector>

#include "kxl/output.h"

namespace tool {

struct Holder {
  pid_t id;
  std::string command;
};

enum class LockState {
  kFree,
  kHeld,     // by a process that lives
  kStale,    // by nobody: its holder was killed
  kUnknown,  // by nobody whom this user may look at; root can tell
};

struct Lock {
  std::string name;       // "request:<identifier>", or the path of what it guards
  std::string semaphore;  // the file that exists while the lock is held
  LockState state;
  std::vector<Holder> holders;
  std::time_t since;  // when it was taken; 0 for a free one
  uid_t owner;        // whoever took it
};

// The lock of that name. A holder is a process that has the semaphore mapped.
Lock LookAtLock(const std::string& name);

// Every lock that the files and requests of this user and machine have.
std::vector<Lock> AllLocks();

// Removes a lock, whoever holds it. False when the system refuses.
bool BreakLock(const std::string& name);

std::string StateName(LockState state);
Json ToJson(const Lock& lock);
std::string HolderText(const Lock& lock);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_LOCKS_H
