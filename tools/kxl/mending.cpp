#include "kxl/mending.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "kxl/doctor.h"
#include "kxl/locks.h"
#include "kxl/restoring.h"
#include "kxl/screen_text.h"
#include "platform/path.h"

namespace tool {

namespace {

struct Treated {
  Finding finding;
  Mended mended = false;
  bool isThere = true;  // at the last look

  bool IsFixed() const { return !isThere; }
};

// Findings of two looks with the same name are the same.
std::string NameOf(const Finding& finding) {
  return finding.path + '\0' + finding.kind + '\0' + finding.advice;
}

// Takes the findings of another look in. Whether it was different from the one before. There may be
// one for each of a hundred thousand applications.
bool LookAgain(std::vector<Treated>& all) {
  std::vector<Finding> found = Examine();
  std::unordered_multimap<std::string, Finding*> byName;
  for (Finding& finding : found) byName.emplace(NameOf(finding), &finding);
  bool hasChanged = false;
  for (Treated& treated : all) {
    const auto same = byName.find(NameOf(treated.finding));
    const bool isThere = same != byName.end();
    hasChanged = hasChanged || isThere != treated.isThere;
    treated.isThere = isThere;
    if (!isThere) continue;
    std::swap(treated.finding, *same->second);
    same->second->kind = nullptr;  // no news
    byName.erase(same);
  }
  for (Finding& finding : found) {
    if (finding.kind == nullptr) continue;
    all.push_back({std::move(finding)});
    hasChanged = true;
  }
  return hasChanged;
}

void Mend(Treated& treated) {
  errno = 0;
  treated.mended = treated.finding.repair();
  if (!treated.mended.isDone && treated.mended.reason.empty() && errno != 0) {
    treated.mended.reason = std::strerror(errno);
  }
}

// Why something that was mended is there all the same.
std::string WhyStillThere(const std::string& path) {
  const std::string folder = kxl::ParentPath(path);
  const bool isRefused = faccessat(AT_FDCWD, folder.c_str(), W_OK, AT_EACCESS) != 0;
  return isRefused ? std::strerror(errno) : "it is found again";
}

// One mending may be what another one waits for, or bring something else to light.
std::vector<Treated> MendAll() {
  constexpr int kMostRounds = 10;
  std::vector<Treated> all;
  for (int round = 0; LookAgain(all) && round < kMostRounds; ++round) {
    for (Treated& treated : all) {
      if (treated.isThere && treated.finding.repair) Mend(treated);
    }
  }
  for (Treated& treated : all) {
    if (!treated.isThere || !treated.finding.repair || !treated.mended.reason.empty()) continue;
    treated.mended.reason = WhyStillThere(treated.finding.path);
  }
  return all;
}

std::string Outcome(const Treated& treated, const DoctorOptions& options) {
  const std::string& advice = treated.finding.advice;
  if (treated.IsFixed()) return "fixed: " + advice;
  if (!treated.finding.repair) return advice;
  if (options.fix) return "could not " + advice + ": " + treated.mended.reason;
  return options.dryRun ? "would " + advice : advice;
}

}  // namespace

void RunDoctor(Output& output, const DoctorOptions& options) {
  std::vector<Treated> all;
  if (options.fix) {
    all = MendAll();
  } else {
    LookAgain(all);
  }
  bool isWell = true;
  for (const Treated& treated : all) {
    const Finding& finding = treated.finding;
    const bool isFixed = treated.IsFixed();
    const bool isWrong = finding.severity == Severity::kWrong;
    if (isWrong && !isFixed) output.SetFailed();
    isWell = isWell && !isWrong;
    Json object = {{"finding", finding.kind},
                   {"severity", isWrong ? "wrong" : "note"},
                   {"path", finding.path},
                   {"who", finding.who},
                   {"meaning", finding.meaning},
                   {"advice", finding.advice},
                   {"can_fix", static_cast<bool>(finding.repair)},
                   {"fixed", isFixed}};
    if (!isFixed && !treated.mended.reason.empty()) object["reason"] = treated.mended.reason;
    const auto inOneLine = [](const std::string& text) { return Visible(text, LineEnds::kEscape); };
    output.Row(
        object,
        {std::string(finding.kind) + ": " + inOneLine(finding.path) + "\n    hits " + finding.who +
         ": " + inOneLine(finding.meaning) + "\n    -> " + inOneLine(Outcome(treated, options))},
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
