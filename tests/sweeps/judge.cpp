#include "sweeps/judge.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <initializer_list>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

namespace sweep {

namespace {

constexpr int kLeak = 100;  // see host.c
constexpr char kLogOfLastResort[] = "/tmp/KX4.log";
const bool hadLogOfLastResort = fs::exists(kLogOfLastResort);

// The system calls on files that the operation makes when nothing happens to it, in their order.
std::vector<Injection> RecordCalls(const std::string& tracePath) {
  // Looking for the updater reads two files of every process: the first few stand for all.
  constexpr int kCallsOfWalk = 12;
  std::vector<Injection> calls;
  std::map<std::string, int> numbers;
  std::ifstream trace(tracePath);
  bool hasBegun = false;
  int inWalk = 0;
  for (std::string line; std::getline(trace, line);) {
    const std::string call = line.substr(0, line.find('('));
    if (call.size() == line.size()) continue;
    ++numbers[call];
    if (line.find("\"/proc\"") != std::string::npos) inWalk = 1;
    if (inWalk > 0) ++inWalk;
    const bool isTaken = hasBegun && inWalk <= kCallsOfWalk && call != "ppoll";
    if (isTaken) calls.push_back({call, numbers[call], {}, false});
    if (call == "getdents64" && line.ends_with("= 0")) inWalk = 0;
    if (line.find("the sweep begins here") != std::string::npos) hasBegun = true;
    constexpr std::string_view kCount = "allocations: ";
    const std::size_t count = line.find(kCount);
    if (count == std::string::npos) continue;
    const int allocations = std::stoi(line.substr(count + kCount.size()));
    for (int i = 1; i <= allocations; ++i) calls.push_back({kAllocation, i, {}, false});
    break;
  }
  return calls;
}

// What stands under the name; nothing for a file that is not there.
std::optional<std::string> Content(const Files& files, const std::string& path) {
  const auto found = files.find(path);
  return found == files.end() ? std::nullopt : std::optional(found->second);
}

class Judge {
 public:
  Judge(const Machine& machine, const Plan& plan, const Injection& injection)
      : machine_(machine), plan_(plan), injection_(injection) {}

  // What is wrong, empty for nothing.
  std::string Run() {
    machine_.Prepare(plan_.operation);
    const int status = machine_.TracedHost(plan_.operation, &injection_);
    JudgeStatus(status);
    const Files now = machine_.Look();
    JudgeState(now);
    if (!injection_.IsKill()) JudgeAnswer(status, now);
    JudgeLocks();
    if (!isTorn_ && !machine_.Tool({plan_.operation.reader})) Blame("the tool cannot read it");
    JudgeNextCall();
    // Where a log goes that has no folder.
    std::error_code notOurs;
    if (!hadLogOfLastResort) fs::remove(kLogOfLastResort, notOurs);
    return blame_;
  }

  // False when the call had ended before: looking for the updater takes more calls one time and
  // fewer another.
  bool IsReached() const { return isReached_; }

 private:
  void Blame(const std::string& what) { blame_ += (blame_.empty() ? "" : "; ") + what; }

  bool Hits(std::initializer_list<const char*> calls) const {
    return std::find(calls.begin(), calls.end(), injection_.call) != calls.end();
  }

  // stat, fstat, newfstatat or statx, by the machine and the version of the C library.
  static bool IsStat(const std::string& call) { return call.find("stat") != std::string::npos; }

  // When the disk takes no change of a name, a journal stays, and may come into force later.
  bool RefusesNames() const { return Hits({"unlink", "renameat2"}); }

  void JudgeStatus(int status) {
    if (injection_.IsKill()) {
      isReached_ = status == -SIGKILL;
      if (!isReached_ && status != plan_.operation.code) Blame("it was not killed");
      return;
    }
    // A close that strace lets fail does not close.
    if (status == kLeak && Hits({"close"})) return;
    if (status != plan_.operation.code && plan_.operation.codes.count(status) == 0) {
      Blame("the call ended with " + std::to_string(status));
    }
  }

  // Every file holds its old state or its new one, and there is no other.
  void JudgeState(const Files& now) {
    Files all = plan_.before;
    all.insert(plan_.after.begin(), plan_.after.end());
    all.insert(now.begin(), now.end());
    for (const auto& [path, text] : all) {
      const auto content = Content(now, path);
      if (path == kLockFile) continue;
      const bool isKnown = plan_.before.count(path) + plan_.after.count(path) > 0;
      if (path == kLog) {
        if (plan_.operation.name == "log" && !IsWholeLog(content.value_or(""))) {
          Blame("the log is not whole");
        }
      } else if (!isKnown) {
        // Nobody removes what he could not look at; an empty journal counts as none.
        const bool isUnseen = IsStat(injection_.call) && content == "";
        if (!injection_.IsKill() && !RefusesNames() && !isUnseen) Blame(path + " was left behind");
      } else if (content != Content(plan_.before, path) && content != Content(plan_.after, path)) {
        // The preferences are written in place.
        isTorn_ = path == kPreferences && (injection_.IsKill() || IsStat(injection_.call) ||
                                           Hits({"write", "writev", "close", "fcntl", "fcntl64"}));
        if (!isTorn_) Blame(path + " is neither old nor new");
      }
    }
  }

  bool IsWholeLog(const std::string& log) const {
    const std::string& old = plan_.operation.before.at(kLog);
    return log.starts_with(old) || log.starts_with(old.substr(old.size() - 30000));
  }

  // A success is on the disk, and a failure has changed nothing.
  void JudgeAnswer(int status, const Files& now) {
    if (status == kLeak) return;
    const bool hasSucceeded = status == plan_.operation.code;
    for (const std::string& path : {kList, kComponents, kHolds}) {
      if (path != kList && machine_.UsesSecondChoice()) continue;
      const Files& expected = hasSucceeded ? plan_.after : plan_.before;
      if (!hasSucceeded && RefusesNames()) continue;
      if (Content(now, path) != Content(expected, path)) {
        Blame(path + (hasSucceeded ? " is old after a success" : " is new after a failure"));
      }
    }
  }

  void JudgeLocks() {
    for (const auto& [name, semaphore] : machine_.HeldLocks(plan_.operation)) {
      if (injection_.IsKill()) {
        if (!machine_.Tool({"unlock", name}) || fs::exists(semaphore)) Blame("cannot unlock");
      } else if (!Hits({"unlink"}) && !FailedWhileLocking()) {
        Blame("the lock on " + name + " is still held");
      }
      fs::remove(semaphore);
    }
    // The C library makes a lock under a name of its own first.
    std::ifstream trace(machine_.TracePath());
    for (std::string line; std::getline(trace, line);) {
      const std::size_t start = line.find("\"/dev/shm/sem.");
      if (start == std::string::npos) continue;
      const std::string path = line.substr(start + 1, line.find('"', start + 1) - start - 1);
      if (!fs::exists(path)) continue;
      if (!injection_.IsKill() && !Hits({"unlink"})) Blame(path + " was left behind");
      fs::remove(path);
    }
  }

  // The C library cannot tell of a lock that it has made and then failed to look at.
  bool FailedWhileLocking() const {
    std::ifstream trace(machine_.TracePath());
    std::string before;
    for (std::string line; std::getline(trace, line); before = line) {
      if (line.find("INJECTED") == std::string::npos) continue;
      if (IsStat(line.substr(0, line.find('('))) &&
          before.find("/dev/shm/sem.") != std::string::npos) {
        return true;
      }
    }
    return false;
  }

  void JudgeNextCall() {
    const int status = machine_.Host(plan_.operation);
    if (status != plan_.operation.code && plan_.operation.again.count(status) == 0) {
      Blame("the next call ended with " + std::to_string(status));
    }
    if (machine_.UsesSecondChoice()) return;
    const Files now = machine_.Look();
    Files all = plan_.after;
    all.insert(now.begin(), now.end());
    for (const auto& [path, text] : all) {
      // A second question takes back its mark, since there is no updater to ask.
      if (path == kLog || path == kLockFile) continue;
      const auto content = Content(now, path);
      if (isTorn_ && path == kPreferences && content &&
          content->find("<Launch>Manual</Launch>") != std::string::npos) {
        continue;
      }
      if (content != Content(plan_.after, path)) Blame(path + " is wrong after the next call");
    }
    if (!machine_.HeldLocks(plan_.operation).empty()) Blame("the next call has left a lock");
    machine_.Tool({"doctor", "--fix"});
    if (!machine_.OthersMayRegister()) Blame("other administrators cannot register");
  }

  const Machine& machine_;
  const Plan& plan_;
  const Injection& injection_;
  std::string blame_;
  bool isTorn_ = false;
  bool isReached_ = true;
};

}  // namespace

Plan MakePlan(const Machine& machine, Operation operation) {
  Plan plan;
  plan.operation = std::move(operation);
  machine.Prepare(plan.operation);
  plan.before = machine.Look();
  const int code = machine.TracedHost(plan.operation, nullptr);
  plan.after = machine.Look();
  if (code == plan.operation.code) plan.calls = RecordCalls(machine.TracePath());
  return plan;
}

Verdict Try(const Machine& machine, const Plan& plan, const Injection& injection) {
  Judge judge(machine, plan, injection);
  const std::string blame = judge.Run();
  return {judge.IsReached(), blame};
}

}  // namespace sweep
