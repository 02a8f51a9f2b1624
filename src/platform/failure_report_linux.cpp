#include "platform/failure_report.h"

#include <atomic>
#include <cstring>

namespace kxl {

namespace {

std::atomic<FailureListener> current = nullptr;

}  // namespace

void ListenToFailures(FailureListener listener) { current = listener; }

bool AreFailuresHeard() { return current != nullptr; }

void ReportFailure(const std::string& path, int error) noexcept {
  const FailureListener listener = current;
  if (listener == nullptr) return;
  const int before = errno;
  const char* const name = strerrorname_np(error);
  try {
    listener(name == nullptr ? "an unknown error" : name, path);
  } catch (...) {
    // Without memory to tell it with, the failure is answered all the same.
  }
  errno = before;
}

}  // namespace kxl
