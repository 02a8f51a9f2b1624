// Runs every writing operation of a host application under strace, once for each of its system
// calls on files: killed at that call, and with that call failing, once or from then on. Looks then
// at what is on the disk, with the tool as a second process, and makes the call again.
//   sweep [--sample K]     every Kth system call only
// Needs beside it: the host (sweep_host) and the tool (kxl). Exits with 77 where strace cannot
// trace.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "esd/resource_locker.h"

namespace {

namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>;  // by path below the machine's folder

constexpr int kSkipped = 77;
constexpr int kLeak = 100;  // see host.c

const std::string kData = "home/.local/share/Kelda/Updater6/";
const std::string kList = "var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml";
const std::string kComponents = kData + "KeldaMissingComps.xml";
const std::string kPreferences = kData + "KeldaUpdaterPrefs.dat";
const std::string kHolds = kData + "suppress_all.dat";
// The lock on a question is named after the application alone: each run of the sweep asks as
// another.
const std::string kAsker = "editor" + std::to_string(getpid());
const std::string kAnswerFile = kData + "Data/UpdateAvailable/" + kAsker + "/7.xml";
const std::string kLog = kData + "kxlLib.log";
const std::string kLockFile = "run/Kelda/Updater6/Updater6/locked/lock." + kAsker;
constexpr char kLogOfLastResort[] = "/tmp/KX4.log";
const bool hadLogOfLastResort = fs::exists(kLogOfLastResort);
const std::string kSecondChoice = "tmp";  // where user data go that have no other place

std::string Document(const std::string& text) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n" + text;
}

std::string Entry(const std::string& id, const std::string& folder) {
  return "<Application appID=\"" + id + "\">\n<DisplayName>Editor</DisplayName>\n<InstallPath>" +
         folder + "</InstallPath>\n</Application>\n";
}

std::string List(const std::string& entries) {
  return Document("<KeldaUpdaterRegistrationManager>\n" + entries +
                  "</KeldaUpdaterRegistrationManager>\n");
}

std::string Hold(const std::string& id) {
  const std::time_t end = std::time(nullptr) + 3600;
  std::tm utc;
  gmtime_r(&end, &utc);
  std::array<char, 32> text;
  const std::size_t size = std::strftime(text.data(), text.size(), "\t%Y-%m-%d %T\r\n", &utc);
  return id + std::string(text.data(), size);
}

struct Operation {
  std::string name;     // as the host knows it
  Files before;         // the machine's files
  std::string reader;   // the tool's verb that reads what the operation writes
  int code;             // what the call answers when nothing happens to it
  std::set<int> codes;  // what it may answer when something fails
  std::set<int> again;  // what it may answer after a killed or failed one
};

std::vector<Operation> Operations() {
  const std::string others = Entry("a", "/a") + Entry("b", "/b");
  const std::string ours = Entry("com.example.editor", "/opt/editor");
  const std::string moved = Entry("com.example.editor", "/old");
  const std::string component =
      "<AMissingComponent category=\"c\" name=\"n\" version=\"1.2.0.0\"></AMissingComponent>\n";
  const std::string components = Document(
      "<KeldaUpdaterMissingCompsManager>\n"
      "<KeldaUpdaterMissingCompsApp AppID=\"a\" OperationType=\"2\" RedoCFU=\"1\">\n"
      "<DisplayName>A</DisplayName>\n<InstallPath>/a</InstallPath>\n" +
      component + "</KeldaUpdaterMissingCompsApp>\n</KeldaUpdaterMissingCompsManager>\n");
  const std::string preferences =
      Document("<KeldaUpdater>\n<AutoCheck>0</AutoCheck>\n</KeldaUpdater>\n");
  const std::string answer = "<UpdateInfo><Result>5</Result></UpdateInfo>";
  std::string log;
  while (log.size() <= 60000) log += "2008-03-17T09:05:41: " + std::to_string(log.size()) + "\n";
  // Without an updater, asking for one is answered 2.
  return {
      {"register-first", {}, "list", 0, {1, 4}, {5}},
      {"register", {{kList, List(others)}}, "list", 0, {1, 4}, {5}},
      {"register-moved", {{kList, List(moved + others)}}, "list", 0, {1, 4}, {5}},
      {"unregister", {{kList, List(others + ours)}}, "list", 0, {1, 4}, {6}},
      {"unregister-last", {{kList, List(ours)}}, "list", 0, {1, 4}, {4}},
      {"missing-first", {}, "components", 2, {1, 7}, {}},
      {"missing", {{kComponents, components}}, "components", 2, {1, 7}, {}},
      {"prefer-first", {}, "prefs", 2, {1, 7}, {}},
      {"prefer", {{kPreferences, preferences}}, "prefs", 2, {1, 7}, {}},
      {"hold-first", {}, "holds", 0, {1, 14}, {}},
      {"hold", {{kHolds, Hold("other")}}, "holds", 0, {1, 14}, {}},
      {"unhold", {{kHolds, Hold("com.example.editor") + Hold("other")}}, "holds", 0, {1, 14}, {}},
      {"unhold-last", {{kHolds, Hold("com.example.editor")}}, "holds", 0, {1, 14}, {}},
      {"answer", {{kAnswerFile, answer}, {kLockFile, "lock"}}, "status", 25, {1, 2, 8}, {2}},
      {"log", {{kLog, log}}, "log", 0, {}, {}},
  };
}

std::string ReadFile(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void WriteFile(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// Where host and tool were built.
fs::path Programs() { return fs::canonical("/proc/self/exe").parent_path(); }

// What is done to one system call of an operation.
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
  std::string Text() const {
    if (error.empty()) return "killed at " + call + " " + std::to_string(number);
    return call + " " + std::to_string(number) + (forEver ? " and all later ones" : "") +
           " failing with " + error;
  }
  bool IsKill() const { return error.empty(); }
};

// A folder that stands for a machine, with its own accounts.
class Machine {
 public:
  explicit Machine(const fs::path& folder) : folder_(folder) {}

  void Prepare(const Operation& operation) const {
    fs::remove_all(folder_);
    WriteFile(folder_ / "passwd",
              "kelly:x:" + std::to_string(getuid()) + ":4000::/nowhere:/bin/sh\n");
    WriteFile(folder_ / "group", "admin:x:5000:kelly\n");
    for (const auto& [path, text] : operation.before) WriteFile(folder_ / path, text);
  }

  // The exit status, or the negated signal that ended it.
  int Run(std::vector<std::string> command, bool hasAccounts) const {
    std::vector<std::string> variables = {
        "PATH=/usr/bin:/bin", "KXL_ROOT=" + folder_.string(), "HOME=" + (folder_ / "home").string(),
        "XDG_RUNTIME_DIR=" + (folder_ / "run").string(), "LC_ALL=C",
        // strace hands its own environment on, and is not to be given the wrapped accounts itself.
        "NSS_WRAPPER_PASSWD=" + (folder_ / "passwd").string(),
        "NSS_WRAPPER_GROUP=" + (folder_ / "group").string()};
    if (hasAccounts) variables.emplace_back("LD_PRELOAD=libnss_wrapper.so");
    const auto pointers = [](std::vector<std::string>& texts) {
      std::vector<char*> result;
      for (std::string& text : texts) result.push_back(text.data());
      result.push_back(nullptr);
      return result;
    };
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child;
    const int error = posix_spawnp(&child, command[0].c_str(), &actions, nullptr,
                                   pointers(command).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) return 127;
    int status;
    while (waitpid(child, &status, 0) == -1) {
    }
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }

  int Host(const Operation& operation) const {
    return Run({Programs() / "sweep_host", operation.name, kAsker}, true);
  }
  // With what was traced left in TracePath.
  int TracedHost(const Operation& operation, const Injection* injection) const {
    std::vector<std::string> command = {"strace",      "-s",        "300",
                                        "-o",          TracePath(), "-e",
                                        "signal=none", "-E",        "LD_PRELOAD=libnss_wrapper.so"};
    const std::string calls = injection == nullptr ? "%file,%desc" : injection->call + ",openat";
    command.insert(command.end(), {"-e", "trace=" + calls});
    if (injection != nullptr) command.insert(command.end(), {"-e", injection->Option()});
    command.insert(command.end(), {Programs() / "sweep_host", operation.name, kAsker});
    return Run(command, false);
  }
  bool Tool(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command = {Programs() / "kxl"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Run(command, false) == 0;
  }

  std::string TracePath() const { return folder_.string() + ".trace"; }

  // What is there, but for the times of holds.
  Files Look() const {
    Files files;
    for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
      const std::string path = entry.path().lexically_relative(folder_);
      if (path.starts_with(kSecondChoice)) continue;
      if (!entry.is_regular_file()) continue;
      files[path] = path == kHolds ? Identifiers(ReadFile(entry)) : ReadFile(entry);
    }
    return files;
  }

  // A folder that was made, but not given its mode, is the doctor's to mend.
  bool OthersMayRegister() const {
    const fs::path shared = (folder_ / kList).parent_path();
    return !fs::exists(shared) ||
           (fs::status(shared).permissions() & fs::perms(0775)) == fs::perms(0775);
  }

  bool UsesSecondChoice() const { return fs::exists(folder_ / kSecondChoice); }

  // The locks that were left held, as the tool names them, with their semaphores.
  Files HeldLocks() const {
    Files locks;
    for (const std::string& path : {kList, kComponents, kPreferences, kHolds}) {
      const std::string name = folder_ / path;
      locks[name] = esd::SemaphorePath(name);
    }
    locks["request:" + kAsker] = esd::SemaphorePath("KeldaUpdater6" + kAsker);
    std::erase_if(locks, [](const auto& lock) { return !fs::exists(lock.second); });
    return locks;
  }

 private:
  static std::string Identifiers(const std::string& holds) {
    std::istringstream lines(holds);
    std::string identifiers;
    for (std::string line; std::getline(lines, line);) {
      identifiers += line.substr(0, line.find('\t')) + "\n";
    }
    return identifiers;
  }

  fs::path folder_;
};

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
  }
  return calls;
}

// What stands under the name; nothing for a file that is not there.
std::optional<std::string> Content(const Files& files, const std::string& path) {
  const auto found = files.find(path);
  return found == files.end() ? std::nullopt : std::optional(found->second);
}

// One operation with what it does when nothing happens to it.
struct Plan {
  Operation operation;
  Files before;
  Files after;
  std::vector<Injection> calls;
};

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
        if (!injection_.IsKill() && !RefusesNames()) Blame(path + " was left behind");
      } else if (content != Content(plan_.before, path) && content != Content(plan_.after, path)) {
        // The preferences are written in place.
        isTorn_ =
            path == kPreferences &&
            (injection_.IsKill() || Hits({"write", "writev", "close", "newfstatat", "fcntl"}));
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
    for (const auto& [name, semaphore] : machine_.HeldLocks()) {
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
      return line.starts_with("newfstatat") && before.find("/dev/shm/sem.") != std::string::npos;
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
    if (!machine_.HeldLocks().empty()) Blame("the next call has left a lock");
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

// What one operation went through.
struct Outcome {
  int kills = 0;
  int faults = 0;
  int failures = 0;
};

struct Job {
  const Plan* plan;
  Outcome* outcome;
  Injection injection;
};

std::vector<Job> MakeJobs(const std::vector<Plan>& plans, std::vector<Outcome>& outcomes,
                          std::size_t sample) {
  std::vector<Job> jobs;
  for (std::size_t i = 0; i < plans.size(); ++i) {
    for (std::size_t call = i % sample; call < plans[i].calls.size(); call += sample) {
      Injection injection = plans[i].calls[call];
      jobs.push_back({&plans[i], &outcomes[i], injection});
      for (const char* error : {"ENOSPC", "EIO", "EACCES", "EMFILE", "EINTR"}) {
        for (const bool forEver : {false, true}) {
          injection.error = error;
          injection.forEver = forEver;
          jobs.push_back({&plans[i], &outcomes[i], injection});
        }
      }
    }
  }
  return jobs;
}

void Work(const Machine& machine, const std::vector<Job>& jobs, std::atomic<std::size_t>& next) {
  static std::mutex reporting;
  static std::mutex askers;  // one at a time, for the name of their lock
  for (std::size_t i = next++; i < jobs.size(); i = next++) {
    const Job& job = jobs[i];
    std::unique_lock<std::mutex> asking(askers, std::defer_lock);
    if (job.plan->operation.before.count(kAnswerFile) > 0) asking.lock();
    Judge judge(machine, *job.plan, job.injection);
    const std::string blame = judge.Run();
    if (asking.owns_lock()) asking.unlock();
    const std::lock_guard<std::mutex> guard(reporting);
    if (judge.IsReached()) ++(job.injection.IsKill() ? job.outcome->kills : job.outcome->faults);
    if (blame.empty()) continue;
    ++job.outcome->failures;
    std::cout << job.plan->operation.name << ", " << job.injection.Text() << ": " << blame
              << std::endl;
  }
}

void PrintRow(const std::string& name, const Outcome& outcome) {
  std::printf("%-16s %8d %8d %8d\n", name.c_str(), outcome.kills, outcome.faults, outcome.failures);
}

int Sweep(const fs::path& folder, std::size_t sample) {
  std::vector<Machine> machines;
  for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
    machines.emplace_back(folder / ("machine" + std::to_string(i)));
  }
  if (machines[0].Run({"strace", "-o", folder / "trace", "true"}, false) != 0) {
    std::puts("strace cannot trace here");
    return kSkipped;
  }
  std::vector<Plan> plans;
  for (Operation& operation : Operations()) {
    plans.push_back(MakePlan(machines[0], std::move(operation)));
    if (plans.back().calls.empty()) {
      std::cout << plans.back().operation.name << " fails though nothing happens to it\n";
      return 1;
    }
  }
  std::vector<Outcome> outcomes(plans.size());
  const std::vector<Job> jobs = MakeJobs(plans, outcomes, sample);
  std::atomic<std::size_t> next = 0;
  std::vector<std::thread> workers;
  for (const Machine& machine : machines) {
    workers.emplace_back([&] { Work(machine, jobs, next); });
  }
  for (std::thread& worker : workers) worker.join();

  Outcome total;
  std::printf("%-16s %8s %8s %8s\n", "operation", "kills", "faults", "failures");
  for (std::size_t i = 0; i < plans.size(); ++i) {
    PrintRow(plans[i].operation.name, outcomes[i]);
    total.kills += outcomes[i].kills;
    total.faults += outcomes[i].faults;
    total.failures += outcomes[i].failures;
  }
  PrintRow("all", total);
  return total.failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t sample = 1;
  if (argc == 3 && std::string(argv[1]) == "--sample") sample = std::strtoul(argv[2], nullptr, 10);
  if (sample == 0 || (argc != 1 && argc != 3)) {
    std::puts("usage: sweep [--sample K]");
    return 64;
  }
  umask(022);
  std::string folder = fs::temp_directory_path() / "kxl-sweep-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) return 1;
  const int status = Sweep(folder, sample);
  fs::remove_all(folder);
  return status;
}
