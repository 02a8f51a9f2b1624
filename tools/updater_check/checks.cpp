#include "updater_check/check.h"

namespace conformance {

std::vector<Check> AllChecks() {
  std::vector<Check> checks;
  for (const auto& group :
       {StartingChecks, QueryChecks, ListChecks, ComponentChecks, PreferenceChecks, HoldChecks,
        MessageChecks, AdministratorChecks, LockChecks, FailureChecks, EndingChecks}) {
    checks.insert(checks.end(), group().begin(), group().end());
  }
  return checks;
}

}  // namespace conformance
