// Keeping what the host has arranged for its thread out of the library, and the other way round.
#ifndef KXL_PLATFORM_THREAD_GUARDS_H
#define KXL_PLATFORM_THREAD_GUARDS_H

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
// where no limit is set.
class FileSizeSignalBlock {
 public:
  FileSizeSignalBlock();
  ~FileSizeSignalBlock();
  FileSizeSignalBlock(const FileSizeSignalBlock&) = delete;
  FileSizeSignalBlock& operator=(const FileSizeSignalBlock&) = delete;

 private:
  bool blocked_ = false;
};

// Has the three functions called around every fork(2) of this process: before it, and after it in
// the parent and in the child. False when there is no memory for that. Ends with dlclose.
bool CallAroundFork(void (*before)(), void (*inParent)(), void (*inChild)());

}  // namespace kxl

#endif  // KXL_PLATFORM_THREAD_GUARDS_H
