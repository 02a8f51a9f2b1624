// Keeping what the host has arranged for its thread out of the library, and the other way round.
#ifndef KXL_PLATFORM_THREAD_GUARDS_H
#define KXL_PLATFORM_THREAD_GUARDS_H

#include <pthread.h>

#include <atomic>

namespace kxl {

// While one lives, pthread_cancel on this thread takes effect only afterwards. Without it, a thread
// cancelled inside a call would leave its locks behind, or end the process in a handler that
// catches everything.
class CancellationBlock {
 public:
  CancellationBlock();
  ~CancellationBlock();
  CancellationBlock(const CancellationBlock&) = delete;
  CancellationBlock& operator=(const CancellationBlock&) = delete;

 private:
  int before_;
};

// While one lives, a write beyond the process's file-size limit (RLIMIT_FSIZE) by this thread is
// an error (EFBIG) rather than the signal SIGXFSZ, which would end the host. Costs one system call
// where no limit is set. errno is left as it was.
class FileSizeSignalBlock {
 public:
  FileSizeSignalBlock();
  ~FileSizeSignalBlock();
  FileSizeSignalBlock(const FileSizeSignalBlock&) = delete;
  FileSizeSignalBlock& operator=(const FileSizeSignalBlock&) = delete;

 private:
  bool blocked_ = false;
};

// A mutex that knows its thread. A signal handler of the host interrupts its thread anywhere, and
// may fork there, or call in here: what waited for the mutex then would wait for itself. The word
// that is the lock names the holder, so that there is no moment between the two.
//
// A fork either waits until nobody else is inside (Hold and LetGo), or leaves whoever is behind
// (ForgetOthers). A child whose own thread was inside finds it so: it may come back from the
// handler and go on there.
class ForkMutex {
 public:
  // Waits for other threads. False when this one is inside already: what the mutex guards is half
  // changed then, and not to be used.
  bool Lock();
  void Unlock();

  // Before a fork, and after it in the parent and in the child. LetGo answers whether nobody is
  // inside now.
  void Hold();
  bool LetGo();

  // In the child of a fork that has not waited.
  void ForgetOthers();

 private:
  std::atomic<pthread_t> holder_{0};
  int held_ = 0;  // forks from inside that go on; the holder's alone
};

// Holds the mutex for a scope, unless this thread was inside already.
class ForkLock {
 public:
  explicit ForkLock(ForkMutex& mutex) : mutex_(mutex), isHeld_(mutex.Lock()) {}
  ~ForkLock() {
    if (isHeld_) mutex_.Unlock();
  }
  ForkLock(const ForkLock&) = delete;
  ForkLock& operator=(const ForkLock&) = delete;

  bool IsHeld() const { return isHeld_; }

 private:
  ForkMutex& mutex_;
  bool isHeld_;
};

// Has the three functions called around every fork(2) of this process: before it, and after it in
// the parent and in the child. False when there is no memory for that. Ends with dlclose.
bool CallAroundFork(void (*before)(), void (*inParent)(), void (*inChild)());

}  // namespace kxl

#endif  // KXL_PLATFORM_THREAD_GUARDS_H
