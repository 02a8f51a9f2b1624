#include "platform/launcher.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string_view>

#include "platform/environment.h"
#include "platform/failure_report.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/regular_file.h"
#include "platform/thread_guards.h"

namespace kxl {

namespace {

// fork, but the child's end sends this process no SIGCHLD: the host's handler does not see it and
// the host's wait does not take it away. In the child only the kernel is asked, by number: the C
// library's functions may be wrapped by a tool (a race detector in the host) whose locks another
// thread held when the child was made.
pid_t ForkQuietly() {
  const auto fork = [](int signal) {
    return syscall(SYS_clone, signal, nullptr, nullptr, nullptr, 0);
  };
  const long child = fork(0);
  // An emulator of another machine may know children that send SIGCHLD only.
  return static_cast<pid_t>(child == -1 && errno == EINVAL ? fork(SIGCHLD) : child);
}

// Waits for a child of ForkQuietly. Its wait status; -1 when there is none.
int WaitFor(pid_t child) {
  int status;
  while (syscall(SYS_wait4, child, &status, __WALL, nullptr) == -1) {
    if (errno != EINTR) return -1;
  }
  return status;
}

[[noreturn]] void EndChild(int status) {
  for (;;) syscall(SYS_exit_group, status);
}

// In the child: what is above the standard streams closes at exec, which a failed one can still be
// reported through.
void CloseDescriptorsAtExec() {
  constexpr int kFirst = STDERR_FILENO + 1;
  if (syscall(SYS_close_range, kFirst, UINT_MAX, CLOSE_RANGE_CLOEXEC) == 0) return;
  // An older kernel, or a sandbox. Hosts with more descriptors than that are not known.
  constexpr int kEnd = 65536;
  for (int file = kFirst; file < kEnd; ++file) syscall(SYS_fcntl, file, F_SETFD, FD_CLOEXEC);
}

// In the child: a program started by the library owns nothing of the host, neither descriptors nor
// signal settings.
void DetachFromHost() {
  const auto null = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR));
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    syscall(SYS_dup3, null, stream, 0);  // one that is the null device already stays as it is
  }
  CloseDescriptorsAtExec();
  // The kernel's own structure, in which all zeros are the default action and the empty mask.
  constexpr std::array<unsigned long, 8> kDefaultAction{};
  constexpr std::uint64_t kNoSignals = 0;
  for (int number = 1; number < NSIG; ++number) {
    syscall(SYS_rt_sigaction, number, kDefaultAction.data(), nullptr, sizeof kNoSignals);
  }
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &kNoSignals, nullptr, sizeof kNoSignals);
}

// A pipe whose ends are no standard streams, since those are replaced in the child.
bool MakePipe(FileDescriptor& readEnd, FileDescriptor& writeEnd) {
  std::array<int, 2> ends;
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  const FileDescriptor first(ends[0]);
  const FileDescriptor second(ends[1]);
  readEnd = FileDescriptor(fcntl(first.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  writeEnd = FileDescriptor(fcntl(second.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  return readEnd.valid() && writeEnd.valid();
}

// Starts the program as a child of init. The pipe closes without a byte when its exec succeeds, and
// carries the error otherwise, which errno is then.
bool StartDetached(const std::string& program) {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;
  if (!MakePipe(readEnd, writeEnd)) return false;
  std::array<char*, 2> arguments = {const_cast<char*>(program.c_str()), nullptr};

  const pid_t child = ForkQuietly();
  if (child == -1) return false;
  if (child == 0) {
    syscall(SYS_setsid);
    const pid_t grandchild = ForkQuietly();
    if (grandchild == 0) {
      DetachFromHost();
      syscall(SYS_execve, program.c_str(), arguments.data(), environ);
    }
    if (grandchild <= 0) {
      const int error = errno;
      syscall(SYS_write, writeEnd.get(), &error, sizeof error);
      EndChild(EXIT_FAILURE);
    }
    EndChild(EXIT_SUCCESS);
  }
  writeEnd = FileDescriptor();
  WaitFor(child);
  // A process that another thread of the host has forked meanwhile may keep the pipe open.
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(2);
  pollfd failure = {readEnd.get(), POLLIN, 0};
  for (auto left = deadline - Clock::now(); left > Clock::duration();
       left = deadline - Clock::now()) {
    const auto patience = std::chrono::ceil<std::chrono::milliseconds>(left);
    if (poll(&failure, 1, static_cast<int>(patience.count())) != -1 || errno != EINTR) break;
  }
  if ((failure.revents & POLLIN) == 0) return true;
  int error = 0;
  if (read(readEnd.get(), &error, sizeof error) == 0) return true;
  errno = error;
  return false;
}

// system(3) for a guest in somebody else's process: it leaves the host's handling of SIGINT,
// SIGQUIT and SIGCHLD alone, and what the shell prints does not appear on the host's streams. A
// program that was executed sends SIGCHLD whatever it was forked with, so one that was not waits
// for it in between.
bool RunShell(const std::string& command) {
  std::array<char*, 4> arguments = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                                    const_cast<char*>(command.c_str()), nullptr};
  const pid_t child = ForkQuietly();
  if (child == -1) return false;
  if (child == 0) {
    syscall(SYS_setsid);
    DetachFromHost();
    const pid_t shell = ForkQuietly();
    if (shell == 0) {
      syscall(SYS_execve, "/bin/sh", arguments.data(), environ);
      EndChild(EXIT_FAILURE);
    }
    EndChild(shell != -1 && WaitFor(shell) == 0 ? EXIT_SUCCESS : EXIT_FAILURE);
  }
  return WaitFor(child) == 0;
}

// Held while a launch changes the environment: two at once would hand each other's task on, and put
// back what the other one had set.
ForkMutex launching;

// A child forked while another thread was launching begins anew: that thread is not in it.
[[maybe_unused]] const bool resetsInChild =
    CallAroundFork(nullptr, nullptr, [] { launching.ForgetOthers(); });

// Sets variables for a scope and puts back what was there.
class ScopedEnvironment {
 public:
  // An object from here on: what was set is put back also when memory for the rest runs out.
  explicit ScopedEnvironment(const EnvironmentList& environment) : ScopedEnvironment() {
    for (const auto& [name, value] : environment) {
      before_.emplace(name, FindVariable(name));
      SetVariable(name, value);
    }
  }
  ~ScopedEnvironment() {
    for (const auto& [name, assignment] : before_) RestoreVariable(name, assignment);
  }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  ScopedEnvironment() = default;

  std::map<std::string, char*> before_;  // of a repeated name, the first
};

// Escapes the single quotes that stand before the limit, which may or may not grow with the text.
template <typename Limit>
std::string Quote(std::string text, Limit limit) {
  constexpr std::string_view kEscape = "'\\'";
  for (std::size_t i = 0; i < limit(text); ++i) {
    if (text[i] != '\'') continue;
    text.insert(i, kEscape);
    i += kEscape.size();
  }
  return "'" + text + "'";
}

}  // namespace

bool OpenUpdaterApplication(const EnvironmentList& environment) {
  std::string bundle;
  return GetUpdaterBundlePath(bundle) && LaunchApplication(bundle, environment);
}

bool LaunchApplication(const std::string& path, const EnvironmentList& environment) {
  const ForkLock lock(launching);
  if (!lock.IsHeld()) return false;
  for (const auto& [name, value] : environment) SetVariable(name, value);
  if (!DoneOrReport(PathExists(path), path)) return RunShell(path);
  const std::string program = IsFolder(path) ? ExecutableInBundle(path) : path;
  if (DoneOrReport(StartDetached(program), program)) return true;
  return PathExists(path) && RunShell(QuoteLaunchPath(path) + " &");
}

bool RunUpdaterExecutable(const EnvironmentList& environment, Background background) {
  std::string bundle;
  if (!GetUpdaterBundlePath(bundle)) return false;
  const ForkLock lock(launching);
  if (!lock.IsHeld()) return false;
  const ScopedEnvironment variables(environment);
  const std::string executable = ExecutableInBundle(bundle);
  if (!DoneOrReport(PathExists(executable), executable)) return false;
  return RunShell(QuoteForShell(executable) + (background == Background::kYes ? " &" : ""));
}

std::string QuoteForShell(const std::string& path) {
  return Quote(path, [](const std::string& text) { return text.size(); });
}

std::string QuoteLaunchPath(const std::string& path) {
  return Quote(path, [&path](const std::string& /*text*/) { return path.size(); });
}

}  // namespace kxl
