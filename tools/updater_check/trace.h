// What happens to locks and files while updaters are at work, in its order. Seen from outside, and
// by the kernel's own account (inotify): nothing that happens is missed.
#ifndef KXL_TOOLS_UPDATER_CHECK_TRACE_H
#define KXL_TOOLS_UPDATER_CHECK_TRACE_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/regular_file.h"

namespace conformance {

enum class Event {
  kTaken,     // a lock
  kGiven,     // ... back
  kOpened,    // a file, for whatever purpose
  kCreated,   // a name that was new
  kModified,  // written or cut, in place
  kReplaced,  // a name that stands for another file now, by a rename or an exchange
  kMoved,     // a name that a file had
  kDeleted,
};

struct Step {
  Event event;
  std::string path;  // of the file; a lock's is that of what it locks
};

// Watches the folders, which have to exist, and the locks on these resources. Begins when it is
// made.
class Trace {
 public:
  Trace(const std::vector<std::string>& folders, const std::vector<std::string>& resources);

  // What has happened since, or since the last call. Throws std::runtime_error when it was more
  // than the kernel remembers.
  std::vector<Step> Steps();

 private:
  kxl::FileDescriptor notices_;
  std::map<int, std::string> folders_;            // by watch
  std::map<std::string, std::string> resources_;  // by the path of the semaphore
};

// Requires that nobody has opened the file or its journal, or only changed them, but under its
// lock.
enum class Touch : bool { kOpen, kChange };
void RequireUnderLock(const std::vector<Step>& steps, const std::string& path, Touch touch);

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_TRACE_H
