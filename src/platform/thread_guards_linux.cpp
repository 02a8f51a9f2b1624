#include "platform/thread_guards.h"

#include <pthread.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace kxl {

CancellationBlock::CancellationBlock() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }

CancellationBlock::~CancellationBlock() { pthread_setcancelstate(before_, nullptr); }

namespace {

sigset_t FileSizeSignal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGXFSZ);
  return set;
}

}  // namespace

FileSizeSignalBlock::FileSizeSignalBlock() {
  rlimit limit;
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return;
  const sigset_t signal = FileSizeSignal();
  sigset_t before;
  blocked_ = pthread_sigmask(SIG_BLOCK, &signal, &before) == 0 && !sigismember(&before, SIGXFSZ);
}

FileSizeSignalBlock::~FileSizeSignalBlock() {
  if (!blocked_) return;
  // The kernel sends the signal to the writing thread, so one that came meanwhile is ours to take.
  const sigset_t signal = FileSizeSignal();
  const timespec now{};
  while (sigtimedwait(&signal, nullptr, &now) == -1 && errno == EINTR) {
  }
  pthread_sigmask(SIG_UNBLOCK, &signal, nullptr);
}

bool CallAroundFork(void (*before)(), void (*inParent)(), void (*inChild)()) {
  return pthread_atfork(before, inParent, inChild) == 0;
}

}  // namespace kxl
