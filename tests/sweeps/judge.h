// What is to be found after a system call was tampered with.
#ifndef KXL_TESTS_SWEEPS_JUDGE_H
#define KXL_TESTS_SWEEPS_JUDGE_H

#include <string>
#include <vector>

#include "sweeps/machine.h"
#include "sweeps/operations.h"

namespace sweep {

// One operation with what it does when nothing happens to it.
struct Plan {
  Operation operation;
  Files before;
  Files after;
  std::vector<Injection> calls;
};

// Makes the operation once. No calls when it does not end as it should.
Plan MakePlan(const Machine& machine, Operation operation);

struct Verdict {
  bool isReached;     // whether the operation came to the system call
  std::string blame;  // what is wrong, empty for nothing
};

// Makes the operation with that done to it, looks at what is left, and makes it again.
Verdict Try(const Machine& machine, const Plan& plan, const Injection& injection);

}  // namespace sweep

#endif  // KXL_TESTS_SWEEPS_JUDGE_H
