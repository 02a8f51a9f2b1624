// A second guard beside the named lock of a file. Named locks are seen by those who share /dev/shm
// only: a sandbox with its own one holds the lock of a file at the same time as somebody outside,
// and so does who comes after a lock was broken while its holder lives. Whoever shares the file
// shares its folder, on which this is an advisory lock (flock), given back by the kernel when its
// holder dies.
#ifndef KXL_PLATFORM_FOLDER_GUARD_H
#define KXL_PLATFORM_FOLDER_GUARD_H

#include <string>

namespace kxl {

// Among copies of the library only: nobody else needs to know it. A process holds one at a time,
// for whatever folder, and no child that it forks meanwhile does. An object is for one thread at a
// time; objects of several threads exclude each other.
class FolderGuard {
 public:
  FolderGuard() = default;
  ~FolderGuard() { Release(); }
  FolderGuard(const FolderGuard&) = delete;
  FolderGuard& operator=(const FolderGuard&) = delete;

  // Tries once, and does not wait. False while somebody else holds it, or another object of this
  // process does; errno is EWOULDBLOCK then. True also where there is nothing to hold: in a folder
  // that cannot be opened, on a file system without such locks. Two calls of the system.
  bool TryTake(const std::string& folder);

  // One call of the system, if it is held.
  void Release();

 private:
  bool isHeld_ = false;
};

}  // namespace kxl

#endif  // KXL_PLATFORM_FOLDER_GUARD_H
