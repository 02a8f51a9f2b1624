// Telling that a file operation has failed on which a result depends. Layers that know nothing of
// the trace report; the trace listens while it is detailed enough to take the line.
#ifndef KXL_PLATFORM_FAILURE_REPORT_H
#define KXL_PLATFORM_FAILURE_REPORT_H

#include <cerrno>
#include <string>

namespace kxl {

// Gets the error's name, such as "EACCES", and what the operation was about.
using FailureListener = void (*)(const char* error, const std::string& path);

// null for nobody, as at the beginning. Safe from any thread.
void ListenToFailures(FailureListener listener);

// Whether somebody listens, for callers that would have to put the path together.
bool AreFailuresHeard();

// Tells the listener; costs a look at a variable when there is none. What the listener throws ends
// here, and errno stays as it was. For damaged content, which no operation of the system has
// refused, the error is EBADMSG.
void ReportFailure(const std::string& path, int error = errno) noexcept;

// Passes on whether it was done, and reports when not; errno tells why then.
inline bool DoneOrReport(bool isDone, const std::string& path) {
  if (!isDone) ReportFailure(path);
  return isDone;
}

}  // namespace kxl

#endif  // KXL_PLATFORM_FAILURE_REPORT_H
