#include "platform/launcher.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>

#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/regular_file.h"

namespace kxl {

namespace {

// fork, but the child's end sends this process no SIGCHLD: the host's handler does not see it and
// the host's wait does not take it away. Only async-signal-safe calls may follow in the child.
pid_t ForkQuietly() {
  return static_cast<pid_t>(syscall(SYS_clone, 0, nullptr, nullptr, nullptr, 0));
}

// Waits for a child of ForkQuietly. Its wait status; -1 when there is none.
int WaitFor(pid_t child) {
  int status;
  while (waitpid(child, &status, __WALL) == -1) {
    if (errno != EINTR) return -1;
  }
  return status;
}

// In the child: a program started by the library owns nothing of the host, neither descriptors nor
// signal settings. Descriptors close at exec, so that one of them can still report its failure.
void DetachFromHost() {
  const int null = open("/dev/null", O_RDWR);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
  close_range(STDERR_FILENO + 1, UINT_MAX, CLOSE_RANGE_CLOEXEC);
  struct sigaction defaultAction {};
  defaultAction.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) sigaction(number, &defaultAction, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
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

// Starts the program as a child of init. The pipe closes without a byte when its exec succeeds.
bool StartDetached(const std::string& program) {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;
  if (!MakePipe(readEnd, writeEnd)) return false;
  std::array<char*, 2> arguments = {const_cast<char*>(program.c_str()), nullptr};

  const pid_t child = ForkQuietly();
  if (child == -1) return false;
  if (child == 0) {
    setsid();
    const pid_t grandchild = ForkQuietly();
    if (grandchild == 0) {
      DetachFromHost();
      execv(program.c_str(), arguments.data());
    }
    if (grandchild <= 0) {
      const char failed = 1;
      const ssize_t reported = write(writeEnd.get(), &failed, 1);
      _exit(reported == 1 ? EXIT_FAILURE : EXIT_FAILURE + 1);
    }
    _exit(EXIT_SUCCESS);
  }
  writeEnd = FileDescriptor();
  WaitFor(child);
  char byte;
  ssize_t count;
  do {
    count = read(readEnd.get(), &byte, 1);
  } while (count == -1 && errno == EINTR);
  return count == 0;
}

// system(3) for a guest in somebody else's process: it leaves the host's handling of SIGINT,
// SIGQUIT and SIGCHLD alone, and what the shell prints does not appear on the host's streams.
bool RunShell(const std::string& command) {
  std::array<char*, 4> arguments = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                                    const_cast<char*>(command.c_str()), nullptr};
  const pid_t child = ForkQuietly();
  if (child == -1) return false;
  if (child == 0) {
    DetachFromHost();
    execv("/bin/sh", arguments.data());
    _exit(127);
  }
  return WaitFor(child) == 0;
}

}  // namespace

bool OpenUpdaterApplication(const EnvironmentList& environment) {
  std::string bundle;
  return GetUpdaterBundlePath(bundle) && LaunchApplication(bundle, environment);
}

bool LaunchApplication(const std::string& path, const EnvironmentList& environment) {
  for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
  if (!PathExists(path)) return RunShell(path);
  if (StartDetached(IsFolder(path) ? ExecutableInBundle(path) : path)) return true;
  return PathExists(path) && RunShell(QuoteLaunchPath(path) + " &");
}

std::string QuoteLaunchPath(const std::string& path) {
  constexpr std::string_view kEscape = "'\\'";
  std::string quoted = path;
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (quoted[i] != '\'') continue;
    quoted.insert(i, kEscape);
    i += kEscape.size();
  }
  return "'" + quoted + "'";
}

}  // namespace kxl
