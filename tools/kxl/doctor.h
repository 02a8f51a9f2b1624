// Finding what is wrong with the shared files.
#ifndef KXL_TOOLS_KXL_DOCTOR_H
#define KXL_TOOLS_KXL_DOCTOR_H

#include <string>
#include <vector>

#include "kxl/rights.h"

namespace tool {

enum class Severity { kWrong, kNote };

struct Finding {
  Severity severity;
  const char* kind;  // for programs: "stale-lock", "damaged", ...
  std::string path;  // or the lock's name, or the application's identifier
  std::string meaning;
  std::string advice;
  Repair repair;  // empty when only a person can decide
};

// In the order in which they are to be mended: locks first, since everything else waits for them.
// Looking changes nothing.
std::vector<Finding> Examine();

}  // namespace tool

#endif  // KXL_TOOLS_KXL_DOCTOR_H
