#include "platform/folder_guard.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/regular_file.h"
#include "platform/thread_guards.h"

namespace kxl {

namespace {

std::atomic<int> held = -1;  // the folder's descriptor

// A copy of the descriptor in a child would keep the lock for as long as the child lives: none is
// made that the child does not know of, and close.
ForkMutex taking;
[[maybe_unused]] const bool endsInChild =
    CallAroundFork([] { taking.Hold(); }, [] { taking.LetGo(); },
                   [] {
                     taking.LetGo();
                     const FileDescriptor parents(held.exchange(-1));
                   });

}  // namespace

bool FolderGuard::TryTake(const std::string& folder) {
  const ForkLock lock(taking);
  if (!lock.IsHeld()) return true;  // a signal handler inside this call, which would wait for it
  if (held != -1) {
    errno = EWOULDBLOCK;
    return false;
  }
  FileDescriptor fd = OpenAt(AT_FDCWD, folder, O_RDONLY | O_DIRECTORY, 0);
  if (!fd.valid()) return true;
  if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) return errno != EWOULDBLOCK;
  held = fd.Release();
  isHeld_ = true;
  return true;
}

void FolderGuard::Release() {
  if (!isHeld_) return;
  isHeld_ = false;
  const ForkLock lock(taking);  // or a child may be made that has it, and finds nothing to close
  const FileDescriptor ours(held.exchange(-1));
}

}  // namespace kxl
