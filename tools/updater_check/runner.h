// Running checks, each on a private machine of its own.
#ifndef KXL_TOOLS_UPDATER_CHECK_RUNNER_H
#define KXL_TOOLS_UPDATER_CHECK_RUNNER_H

#include <optional>
#include <string>
#include <vector>

#include "updater_check/report.h"

namespace conformance {

// The option with which this program runs the body of a check, on the machine where it finds
// itself.
inline constexpr char kBodyOption[] = "--body";

// Runs the body, and prints what Unpack reads. The exit status.
int RunBody(const Check& check);

// One run: a temporary folder with the machines, removed at its end with all that has come of them.
// SIGINT, SIGTERM, SIGHUP and SIGPIPE are held from its making on, and end the check at hand.
class Runner {
 public:
  // The bundle is the updater's, an absolute path. Throws std::runtime_error when there is no
  // temporary folder.
  explicit Runner(std::string bundle);
  ~Runner();
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  // Nothing when a signal has ended it. Throws std::runtime_error when no machine can be made.
  std::optional<Result> Run(const Check& check);

  // The signal that has ended a check.
  int Interrupt() const { return interrupt_; }

 private:
  std::string bundle_;
  std::string folder_;
  int count_ = 0;
  int interrupt_ = 0;
};

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_RUNNER_H
