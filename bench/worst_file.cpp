// How long a call takes, and how much memory, with the worst file in the place of each shared one.
//
//   worst_file [-v] [SIZE [SHAPE]]
//     SIZE    of the files in bytes, 16 MiB by default
//     SHAPE   part of a shape's name: no others
//
// Each call is made in a process of its own, with nobody else there, and once more, with a smaller
// file, on a thread with a small stack. Prints a table in Markdown, with -v a row for each call
// too. 1 when a call has taken longer or more than the marks, or its process has not survived it.
// Give it a throw-away machine (KXL_ROOT) where the user is an administrator and an updater is
// installed; scripts/worst_file.sh does. The tool is expected beside it.
#include <fcntl.h>
#include <kxl/kxl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "bench/shapes.h"

namespace {

namespace fs = std::filesystem;

constexpr double kLongest = 1000;                        // milliseconds
constexpr double kLargest = 300;                         // MiB
constexpr unsigned kPatience = 60;                       // seconds, for what takes too long
constexpr std::size_t kFileSize = 16UL * 1024 * 1024;    // as large as a shared file may be
constexpr std::size_t kAdministratorsSize = 256 * 1024;  // as large as the administrator's list may
// What takes of the stack as much as a file is large, or goes as deep, shows with this already.
constexpr std::size_t kStackFileSize = 256 * 1024;
constexpr std::size_t kSmallStack = 64 * 1024;  // what a host may leave a thread

// The calls, each one that reads, changes and writes all that it can.

int32_t Register() {
  return KXLRegisterApplication(shapes::kAppId, shapes::kName, "/opt/example/editor");
}

int32_t Unregister() { return KXLUnRegisterApplication(shapes::kAppId); }

int32_t Enabled() { return KXLIsUpdateCheckEnabled(); }

int32_t Check() {
  return KXLTriggerUpdateCheck(nullptr, nullptr, nullptr, "en_US", KXL_TRIGGER_SCHEDULED, false);
}

int32_t Available() {
  int32_t result = 0;
  return KXLIsUpdateAvailable(shapes::kAppId, shapes::kName, "/opt/example/editor", 1, &result,
                              false);
}

int32_t Missing() {
  const KXLMissingComponent component = {"Dictionary", "Spelling", "1.2"};
  const KXLMissingComponent* const components[] = {&component};
  const KXLMissingComponentList list = {1, components};
  return KXLDownloadMissingComponents(shapes::kAppId, shapes::kName, "/opt/example/editor", "en_US",
                                      &list, 0, false);
}

int32_t Act() { return KXLDoPluginAction(shapes::kAppId); }

int32_t Hold() {
  std::array<char, sizeof shapes::kAppId> identifier;
  std::copy_n(shapes::kAppId, identifier.size(), identifier.data());
  uint32_t seconds = 60;
  return KXLSuppressUpdates(identifier.data(), nullptr, &seconds, 0);
}

int32_t AskForHold() {
  std::array<char, 512> identifier = {};
  auto size = static_cast<uint32_t>(identifier.size());
  uint32_t seconds = 0;
  return KXLSuppressUpdates(identifier.data(), &size, &seconds, 1);
}

int32_t Version() { return KXLGetVersion() == 0; }

struct Call {
  const char* name;
  int32_t (*function)();
};

enum CallNumber {
  kRegister,
  kUnregister,
  kEnabled,
  kCheck,
  kAvailable,
  kMissing,
  kAct,
  kHold,
  kAsk,
  kVersion
};

constexpr Call kCalls[] = {
    {"KXLRegisterApplication", Register},
    {"KXLUnRegisterApplication", Unregister},
    {"KXLIsUpdateCheckEnabled", Enabled},
    {"KXLTriggerUpdateCheck", Check},
    {"KXLIsUpdateAvailable", Available},
    {"KXLDownloadMissingComponents", Missing},
    {"KXLDoPluginAction", Act},
    {"KXLSuppressUpdates", Hold},
    {"KXLSuppressUpdates, a query", AskForHold},
    {"KXLGetVersion, the first call", Version},
};

// The files.

// A journal that lacks its last byte is put beside an ordinary file.
enum class Place : bool { kFile, kTornJournal };

struct SharedFile {
  std::string name;
  std::string path;  // below the machine's root
  Place place;
  std::size_t limit;
  shapes::Shapes shapes;
  std::vector<CallNumber> calls;
};

const std::string kList = "var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml";
const std::string kData = "home/.local/share/Kelda/Updater6/";
const std::string kComponents = kData + "KeldaMissingComps.xml";
const std::string kPreferences = kData + "KeldaUpdaterPrefs.dat";
const std::string kHolds = kData + "suppress_all.dat";
const std::string kSwitch = "etc/com.kelda.updater6.Admin.plist";

std::vector<SharedFile> SharedFiles(std::size_t size) {
  const std::string answer = kData + "Data/UpdateAvailable/" + shapes::kAppId + "/1.xml";
  const std::size_t small = std::min(size, kAdministratorsSize);
  return {
      {"list of applications",
       kList,
       Place::kFile,
       size,
       shapes::ApplicationShapes(),
       {kRegister, kUnregister}},
      {"its journal, torn",
       kList,
       Place::kTornJournal,
       size,
       shapes::ApplicationShapes(),
       {kRegister}},
      {"missing components",
       kComponents,
       Place::kFile,
       size,
       shapes::MissingComponentShapes(),
       {kMissing}},
      {"its journal, torn",
       kComponents,
       Place::kTornJournal,
       size,
       shapes::MissingComponentShapes(),
       {kMissing}},
      {"preferences",
       kPreferences,
       Place::kFile,
       size,
       shapes::PreferenceShapes(),
       {kCheck, kAct, kVersion}},
      {"answer", answer, Place::kFile, size, shapes::AnswerShapes(), {kAvailable}},
      {"holds", kHolds, Place::kFile, size, shapes::HoldShapes(), {kHold, kAsk}},
      {"administrator's list, XML",
       kSwitch,
       Place::kFile,
       small,
       shapes::PropertyListShapes(),
       {kEnabled}},
      {"administrator's list, binary",
       kSwitch,
       Place::kFile,
       small,
       shapes::BinaryPropertyListShapes(),
       {kEnabled}},
  };
}

// The machine.

fs::path Root() { return std::getenv("KXL_ROOT"); }

void Write(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

// As it was before the first call: one application is listed.
void CleanMachine() {
  for (const char* folder : {"var", "home", "run", "etc"}) fs::remove_all(Root() / folder);
  for (const char* folder : {"home", "run", "etc"}) fs::create_directories(Root() / folder);
  Write(Root() / kList, "<KeldaUpdaterRegistrationManager><Application appID=\"" +
                            std::string(shapes::kAppId) +
                            "\"><InstallPath>/a</InstallPath></Application>"
                            "</KeldaUpdaterRegistrationManager>");
}

void Put(const SharedFile& file, const std::string& content) {
  const std::string path = Root() / file.path;
  if (file.place == Place::kFile) {
    Write(path, content);
  } else {
    Write(path + "_", content.substr(0, content.size() - 1));
  }
}

// A process that was killed in a call has left its locks behind.
void RemoveLocks() {
  const std::string tool = fs::read_symlink("/proc/self/exe").parent_path() / "kxl";
  const auto unlock = [&](const std::string& what) {
    const std::string command = tool + " unlock --force '" + what + "' >/dev/null 2>&1";
    if (std::system(command.c_str()) == -1) std::perror("kxl unlock");
  };
  for (const std::string& path : {kList, kComponents, kPreferences, kHolds}) unlock(Root() / path);
  unlock("request:" + std::string(shapes::kAppId));
}

// One call.

enum class Stack : bool { kUsual, kSmall };

struct Cost {
  double milliseconds = 0;
  double mebibytes = 0;  // the most that the process had
  int32_t code = 0;
  int signal = 0;  // that has ended the process; the rest is not known then
};

double PeakMebibytes() {
  constexpr double kKibibytes = 1024;
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double size = 0;
    if (word == "VmHWM:" && status >> size) return size / kKibibytes;
  }
  return 0;
}

Cost Measure(const Call& call) {
  Cost cost;
  const auto start = std::chrono::steady_clock::now();
  cost.code = call.function();
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
  cost.milliseconds = time.count();
  cost.mebibytes = PeakMebibytes();
  return cost;
}

struct Task {
  const Call* call;
  Cost cost;
};

void* Perform(void* task) {
  auto* const that = static_cast<Task*>(task);
  that->cost = Measure(*that->call);
  return nullptr;
}

// The body of the call's process, which writes the cost to its output. One that is under way is let
// end when the user interrupts: killed, it would leave a lock behind.
int MakeCall(const char* number, const char* stack) {
  for (const int signal : {SIGHUP, SIGINT, SIGPIPE, SIGTERM}) std::signal(signal, SIG_IGN);
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  alarm(kPatience);
  Task task = {&kCalls[std::strtoul(number, nullptr, 10)], {}};
  if (std::strcmp(stack, "small") == 0) {
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    const auto least = static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN));
    if (pthread_attr_setstacksize(&attributes, kSmallStack + least) != 0 ||
        pthread_create(&thread, &attributes, Perform, &task) != 0) {
      return EXIT_FAILURE;
    }
    pthread_join(thread, nullptr);
  } else {
    Perform(&task);
  }
  return write(STDOUT_FILENO, &task.cost, sizeof task.cost) == sizeof task.cost ? EXIT_SUCCESS
                                                                                : EXIT_FAILURE;
}

[[noreturn]] void Fail(const char* text) {
  std::perror(text);
  std::exit(EXIT_FAILURE);
}

// An updater that the call has started is waited for as well: the next call must not find it.
void WaitForAll(pid_t child, int& status) {
  int other = 0;
  while (true) {
    const pid_t ended = wait(&other);
    if (ended == -1 && errno == ECHILD) return;
    if (ended == child) status = other;
  }
}

Cost CallInProcess(CallNumber number, Stack stack) {
  std::array<int, 2> ends;
  if (pipe2(ends.data(), O_CLOEXEC) != 0) Fail("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::string program = "/proc/self/exe";
  std::string verb = "--call";
  std::string call = std::to_string(number);
  std::string size = stack == Stack::kSmall ? "small" : "usual";
  char* const arguments[] = {program.data(), verb.data(), call.data(), size.data(), nullptr};
  pid_t child;
  if (posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environ) != 0) {
    Fail("posix_spawn");
  }
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  Cost cost;
  const bool isComplete = read(ends[0], &cost, sizeof cost) == sizeof cost;
  close(ends[0]);
  int status = 0;
  WaitForAll(child, status);
  if (isComplete) return cost;
  if (!WIFSIGNALED(status)) Fail("a call has not answered");
  cost.signal = WTERMSIG(status);
  RemoveLocks();
  return cost;
}

bool IsWithinMarks(const Cost& cost) {
  return cost.signal == 0 && cost.milliseconds <= kLongest && cost.mebibytes <= kLargest;
}

// Without a file this is what the call costs by nature.
Cost CallWith(const SharedFile& file, const std::string* content, CallNumber number, Stack stack) {
  CleanMachine();
  if (content != nullptr) Put(file, *content);
  return CallInProcess(number, stack);
}

// Somebody else may have had the processor or the disk: too slow is what is so three times.
Cost LeastCost(const SharedFile& file, const std::string& content, CallNumber number, Stack stack,
               double mebibytesByNature) {
  constexpr int kTries = 3;
  constexpr double kHopeless = 2 * kLongest;
  Cost least;
  for (int i = 0; i < kTries; ++i) {
    const Cost cost = CallWith(file, &content, number, stack);
    if (i == 0 || cost.milliseconds < least.milliseconds) least = cost;
    if (cost.signal != 0 || cost.milliseconds <= kLongest || cost.milliseconds > kHopeless) break;
  }
  least.mebibytes = std::max(0.0, least.mebibytes - mebibytesByNature);
  return least;
}

// The table.

struct Worst {
  Cost cost;
  std::string what;
};

struct Summary {
  std::size_t shapes = 0;
  Worst longest;
  Worst largest;
  std::size_t failures = 0;

  void Add(const Cost& cost, const std::string& what) {
    if (!IsWithinMarks(cost)) ++failures;
    const auto isLonger = [](const Cost& one, const Cost& other) {
      return one.signal != other.signal ? one.signal > other.signal
                                        : one.milliseconds > other.milliseconds;
    };
    if (longest.what.empty() || isLonger(cost, longest.cost)) longest = {cost, what};
    if (largest.what.empty() || cost.mebibytes > largest.cost.mebibytes) largest = {cost, what};
  }
};

std::string Time(const Cost& cost) {
  if (cost.signal == SIGALRM) return "over " + std::to_string(kPatience) + " s";
  if (cost.signal != 0) return "signal " + std::to_string(cost.signal);
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.0f ms", cost.milliseconds);
  return text.data();
}

void Print(const std::string& file, const std::string& group, const Summary& summary) {
  std::printf("| %s | %s | %zu | %s | %s | %.0f MiB | %s |\n", file.c_str(), group.c_str(),
              summary.shapes, Time(summary.longest.cost).c_str(), summary.longest.what.c_str(),
              summary.largest.cost.mebibytes, summary.largest.what.c_str());
}

class Survey {
 public:
  Survey(bool isVerbose, std::string only) : isVerbose_(isVerbose), only_(std::move(only)) {}

  void Add(const SharedFile& file) {
    file_ = &file;
    groups_.clear();
    all_ = {};
    for (const CallNumber call : file.calls) {
      for (const Stack stack : {Stack::kUsual, Stack::kSmall}) {
        byNature_[{call, stack}] = CallWith(file, nullptr, call, stack).mebibytes;
      }
    }
    for (const shapes::Shape& shape : file.shapes) {
      if (std::string(shape.name).find(only_) != std::string::npos) Add(shape, file.limit);
    }
    for (const auto& [group, summary] : groups_) Print(file.name, group, summary);
    Print(file.name, "all", all_);
    failures_ += all_.failures;
    std::fflush(stdout);
  }

  std::size_t Failures() const { return failures_; }

 private:
  void Add(const shapes::Shape& shape, std::size_t limit) {
    ++groups_[shape.group].shapes;
    ++all_.shapes;
    for (const Stack stack : {Stack::kUsual, Stack::kSmall}) {
      const std::string content =
          shape.make(stack == Stack::kSmall ? std::min(limit, kStackFileSize) : limit);
      for (const CallNumber call : file_->calls) {
        Add(shape, call, stack, LeastCost(*file_, content, call, stack, byNature_[{call, stack}]));
      }
    }
  }

  void Add(const shapes::Shape& shape, CallNumber call, Stack stack, const Cost& cost) {
    std::string what = shape.name;
    if (file_->calls.size() > 1) what += std::string("; ") + kCalls[call].name;
    if (stack == Stack::kSmall) what += "; small stack";
    groups_[shape.group].Add(cost, what);
    all_.Add(cost, shape.group + ": " + what);
    if (!isVerbose_) return;
    std::printf("| %s | %s | | %s | %s | %.0f MiB | code %d%s |\n", file_->name.c_str(),
                shape.group.c_str(), Time(cost).c_str(), what.c_str(), cost.mebibytes,
                static_cast<int>(cost.code), IsWithinMarks(cost) ? "" : ", over a mark");
    std::fflush(stdout);
  }

  bool isVerbose_;
  std::string only_;
  const SharedFile* file_ = nullptr;
  std::map<std::pair<CallNumber, Stack>, double> byNature_;
  std::map<std::string, Summary> groups_;
  Summary all_;
  std::size_t failures_ = 0;
};

void OnSignal(int number) {
  while (wait(nullptr) > 0) {
  }
  _exit(128 + number);
}

// What the administrator's list may not have the size of is read by nobody.
SharedFile OversizedSwitch(std::size_t size) {
  return {"administrator's list, too large",
          kSwitch,
          Place::kFile,
          size,
          {shapes::PropertyListShapes().front(), shapes::BinaryPropertyListShapes().front()},
          {kEnabled}};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--call") == 0) return MakeCall(argv[2], argv[3]);
  const bool isVerbose = argc > 1 && std::strcmp(argv[1], "-v") == 0;
  const int first = isVerbose ? 2 : 1;
  if (std::getenv("KXL_ROOT") == nullptr || argc > first + 2) {
    std::fputs("usage: worst_file [-v] [SIZE [SHAPE]], with KXL_ROOT set\n", stderr);
    return 64;
  }
  const std::size_t bytes = argc > first ? std::strtoul(argv[first], nullptr, 10) : kFileSize;
  for (const int signal : {SIGHUP, SIGINT, SIGPIPE, SIGTERM}) std::signal(signal, OnSignal);
  prctl(PR_SET_CHILD_SUBREAPER, 1);

  std::puts(
      "| file | group | shapes | longest | with | most memory | with |\n"
      "|---|---|---|---|---|---|---|");
  Survey survey(isVerbose, argc > first + 1 ? argv[first + 1] : "");
  for (const SharedFile& file : SharedFiles(bytes)) survey.Add(file);
  survey.Add(OversizedSwitch(bytes));
  std::printf("\n%zu calls over a mark (%.0f ms, %.0f MiB)\n", survey.Failures(), kLongest,
              kLargest);
  return survey.Failures() == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
