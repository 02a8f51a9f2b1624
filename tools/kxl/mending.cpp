#include "kxl/mending.h"

#include <filesystem>

#include "kxl/doctor.h"
#include "kxl/locks.h"
#include "kxl/restoring.h"

namespace tool {

namespace {

std::string Outcome(const Finding& finding, const DoctorOptions& options, const Mended& mended) {
  if (mended.isDone) return "fixed: " + finding.advice;
  if (options.fix && finding.repair) {
    const std::string why = mended.reason.empty() ? mended.reason : ": " + mended.reason;
    return "could not " + finding.advice + why;
  }
  if (options.dryRun && finding.repair) return "would " + finding.advice;
  return finding.advice;
}

}  // namespace

void RunDoctor(Output& output, const DoctorOptions& options) {
  bool isWell = true;
  for (const Finding& finding : Examine()) {
    const Mended mended = options.fix && finding.repair ? finding.repair() : false;
    const bool isFixed = mended.isDone;
    const bool isWrong = finding.severity == Severity::kWrong;
    if (isWrong && !isFixed) output.SetFailed();
    isWell = isWell && !isWrong;
    const std::string outcome = Outcome(finding, options, mended);
    Json object = {{"finding", finding.kind},
                   {"severity", isWrong ? "wrong" : "note"},
                   {"path", finding.path},
                   {"who", finding.who},
                   {"meaning", finding.meaning},
                   {"advice", finding.advice},
                   {"can_fix", static_cast<bool>(finding.repair)},
                   {"fixed", isFixed}};
    if (!mended.reason.empty()) object["refused"] = mended.reason;
    output.Row(object,
               {std::string(finding.kind) + ": " + finding.path + "\n    " + "hits " + finding.who +
                ": " + finding.meaning + "\n    -> " + outcome},
               isFixed   ? Colour::kGood
               : isWrong ? Colour::kBad
                         : Colour::kNone);
  }
  if (isWell) output.Row({{"finding", nullptr}}, {"nothing is wrong"}, Colour::kGood);
  if (options.fix && options.restore) RestoreSetAside(output);
}

void Unlock(Output& output, const std::string& path, bool force) {
  const bool isPath = !path.starts_with("request:");
  const std::string name = isPath ? std::filesystem::absolute(path).string() : path;
  const Lock lock = LookAtLock(name);
  const bool isRefused =
      (lock.state == LockState::kHeld || lock.state == LockState::kUnknown) && !force;
  if (isRefused) {
    output.Error(name + " is " + HolderText(lock) + "; --force removes it all the same");
  } else if (lock.state != LockState::kFree && !BreakLock(name)) {
    output.Error("the lock on " + name + " cannot be removed");
  } else {
    const bool wasLocked = lock.state != LockState::kFree;
    output.Row({{"lock", name}, {"unlocked", wasLocked}},
               {name, wasLocked ? "unlocked" : "was not locked"});
  }
}

}  // namespace tool
