// Finding what keeps a call of somebody on this machine from succeeding.
#ifndef KXL_TOOLS_KXL_DOCTOR_H
#define KXL_TOOLS_KXL_DOCTOR_H

#include <string>
#include <vector>

#include "kxl/rights.h"

namespace tool {

// A note keeps nothing from working.
enum class Severity { kWrong, kNote };

struct Finding {
  Severity severity;
  const char* kind;     // for programs: "stale-lock", "damaged", ...
  std::string path;     // or the lock's name, or the application's identifier
  const char* who;      // whose calls it hits: kEverybody, ...
  std::string meaning;  // what is wrong, in words
  std::string advice;   // what the repair does, or a person has to do where there is none
  Repair repair;        // empty when only a person can decide
};

inline constexpr char kEverybody[] = "everybody";
inline constexpr char kAdministrators[] = "administrators";
inline constexpr char kOrdinaryUsers[] = "ordinary users";
inline constexpr char kThisUser[] = "this user";

// In the order in which they are to be mended: locks first, since everything else waits for them.
// Looking changes nothing: what is tried by writing has no name and goes with this process. Waits
// for nobody.
std::vector<Finding> Examine();

}  // namespace tool

#endif  // KXL_TOOLS_KXL_DOCTOR_H
