// The throw-away machine on which the host's system calls are tampered with.
#ifndef KXL_TESTS_SWEEPS_MACHINE_H
#define KXL_TESTS_SWEEPS_MACHINE_H

#include <filesystem>
#include <string>
#include <vector>

#include "sweeps/operations.h"

namespace sweep {

namespace fs = std::filesystem;

inline const std::string kAllocation = "allocation";

// What is done to one system call or allocation of an operation.
struct Injection {
  std::string call;      // its name
  int number = 0;        // which of the calls of that name, from 1
  std::string error;     // what it fails with; empty: the process is killed
  bool forEver = false;  // all later ones of that name fail too

  // A call that is interrupted for ever is tried for ever; ten times will do.
  std::string Option() const {
    std::string when = std::to_string(number);
    if (forEver && error == "EINTR") when += ".." + std::to_string(number + 9);
    if (forEver && error != "EINTR") when += "+";
    return "inject=" + call + (error.empty() ? ":signal=KILL" : ":error=" + error) +
           ":when=" + when;
  }
  bool IsAllocation() const { return call == kAllocation; }
  std::string Text() const {
    if (error.empty()) return "killed at " + call + " " + std::to_string(number);
    return call + " " + std::to_string(number) + (forEver ? " and all later ones" : "") +
           " failing with " + error;
  }
  bool IsKill() const { return error.empty(); }
};

// A folder that stands for a machine, with its own accounts. What host and tool print goes nowhere.
class Machine {
 public:
  explicit Machine(const fs::path& folder) : folder_(folder) {}

  void Prepare(const Operation& operation) const;

  // The exit status, or the negated signal that ended it.
  int Run(std::vector<std::string> command, bool hasAccounts) const;
  // The host, with what was traced left in TracePath; null: nothing is done to its system calls.
  int TracedHost(const Operation& operation, const Injection* injection) const;
  int Host(const Operation& operation) const;
  bool Tool(const std::vector<std::string>& arguments) const;

  std::string TracePath() const { return folder_.string() + ".trace"; }

  // What is there, but for the times of holds.
  Files Look() const;

  // A folder that was made, but not given its mode, is the doctor's to mend.
  bool OthersMayRegister() const;

  bool UsesSecondChoice() const { return fs::exists(folder_ / kSecondChoice); }

  // The operation's locks that were left held, as the tool names them, with their semaphores.
  Files HeldLocks(const Operation& operation) const;

 private:
  fs::path folder_;
};

}  // namespace sweep

#endif  // KXL_TESTS_SWEEPS_MACHINE_H
