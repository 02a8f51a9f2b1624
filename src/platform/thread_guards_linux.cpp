#include "platform/thread_guards.h"

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
  const int error = errno;  // of what was done meanwhile
  const timespec now{};
  while (sigtimedwait(&signal, nullptr, &now) == -1 && errno == EINTR) {
  }
  pthread_sigmask(SIG_UNBLOCK, &signal, nullptr);
  errno = error;
}

bool ForkMutex::Lock() {
  const pthread_t self = pthread_self();  // the same in the child
  for (pthread_t holder = 0;
       !holder_.compare_exchange_strong(holder, self, std::memory_order_acquire); holder = 0) {
    if (holder == self) return false;
    holder_.wait(holder, std::memory_order_relaxed);
  }
  return true;
}

void ForkMutex::Unlock() {
  holder_.store(0, std::memory_order_release);
  holder_.notify_one();
}

void ForkMutex::Hold() {
  if (!Lock()) ++held_;
}

bool ForkMutex::LetGo() {
  if (held_ > 0) {
    --held_;
    return false;
  }
  Unlock();
  return true;
}

void ForkMutex::ForgetOthers() {
  if (holder_ != pthread_self()) holder_ = 0;
}

bool CallAroundFork(void (*before)(), void (*inParent)(), void (*inChild)()) {
  return pthread_atfork(before, inParent, inChild) == 0;
}

}  // namespace kxl
