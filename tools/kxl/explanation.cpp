#include "kxl/explanation.h"

#include <kxl/kxl.h>

#include <algorithm>

#include "esd/resource_locker.h"
#include "kxl/doctor.h"
#include "kxl/locks.h"
#include "kxl/policy.h"
#include "platform/accounts.h"
#include "stores/admin_prefs.h"

namespace tool {

namespace {

bool IsInside(const std::string& path, const std::string& folder) {
  return path.starts_with(folder) && path.size() > folder.size() && path[folder.size()] == '/';
}

// The file, its companion, what is in it, or a folder above it.
bool IsAbout(const Finding& finding, const std::string& subject) {
  return !subject.empty() && (finding.path == subject || finding.path == subject + "_" ||
                              IsInside(finding.path, subject) ||
                              (!finding.path.empty() && IsInside(subject, finding.path)));
}

bool IsFailure(std::int32_t code) {
  switch (code) {
    case ESD_ERR_FAILURE:
    case ESD_ERR_KX:
    case ESD_ERR_REGISTRATIONFAILED:
    case ESD_ERR_NOTREGISTERED:
    case ESD_ERR_NOTENABLED:
    case ESD_ERR_NOTIFY_PENDING:  // it stays so where nobody will answer
    case KXL_SUPPRESS_FILE_BUSY:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::vector<std::string> Explain(std::int32_t code, std::vector<std::string> subjects) {
  std::vector<std::string> reasons;
  if (!IsFailure(code)) return reasons;
  bool isEnabled = true;
  kxl::IsUpdateEnabledByAdmin(isEnabled);
  if (code == ESD_ERR_NOTENABLED && !isEnabled) {
    reasons.push_back(kxl::AdminPrefsPath() + " switches updates off");
  }
  const kxl::AdminRule rule = kxl::FindAdminRule();
  if ((code == ESD_ERR_NOTENABLED || code == ESD_ERR_REGISTRATIONFAILED ||
       code == ESD_ERR_NOTREGISTERED) &&
      rule == kxl::AdminRule::kNone) {
    reasons.push_back("you are " + RuleText(rule));
  }
  if (!reasons.empty()) return reasons;
  for (const std::string& subject : subjects) {
    const Lock lock = LookAtLock(subject);
    if (subject.empty() || lock.state == LockState::kFree || lock.state == LockState::kStale)
      continue;
    reasons.push_back(subject + ": " + HolderText(lock));
  }
  subjects.push_back(esd::SemaphorePath({}));  // where all the locks lie
  for (const Finding& finding : Examine()) {
    const bool isAbout =
        std::any_of(subjects.begin(), subjects.end(),
                    [&](const std::string& subject) { return IsAbout(finding, subject); });
    if (finding.severity == Severity::kWrong && isAbout) {
      reasons.push_back(finding.path + ": " + finding.meaning);
    }
  }
  return reasons;
}

}  // namespace tool
