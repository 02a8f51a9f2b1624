#include "updater_check/runner.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "esd/resource_locker.h"
#include "platform/regular_file.h"
#include "stores/lock_files.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/places.h"

namespace conformance {

namespace {

constexpr int kNoMachine = 125;                // what kxl-test-machine answers then
constexpr std::chrono::seconds kLongest{180};  // a check, by far

sigset_t EndRequests() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) sigaddset(&signals, signal);
  return signals;
}

// A process whose standard output is read.
class Reader {
 public:
  explicit Reader(const std::vector<std::string>& command);

  // What it has printed, after its end or that of the limit, when it is ended. It is ended too when
  // one of the signals has come, which is left for the next read.
  std::string ReadAll(const kxl::FileDescriptor& signals, int& interrupt);
  int Status() const { return status_; }

 private:
  pid_t id_ = 0;
  int status_ = 0;
  kxl::FileDescriptor output_;
};

Reader::Reader(const std::vector<std::string>& command) {
  std::array<int, 2> ends;
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("there is no pipe");
  output_ = kxl::FileDescriptor(ends[0]);
  const kxl::FileDescriptor input(ends[1]);
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, input.get(), STDOUT_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setpgroup(&attributes, 0);  // a terminal's ^C is passed on, once
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  const int error = posix_spawn(&id_, arguments[0], &files, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  if (error != 0) throw std::runtime_error("cannot run " + command[0]);
}

std::string Reader::ReadAll(const kxl::FileDescriptor& signals, int& interrupt) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + kLongest;
  std::string text;
  std::array<pollfd, 2> sources = {{{output_.get(), POLLIN, 0}, {signals.get(), POLLIN, 0}}};
  for (bool isEnding = false;;) {
    poll(sources.data(), sources.size(), 1000);
    signalfd_siginfo signal;
    if ((sources[1].revents & POLLIN) != 0 &&
        read(signals.get(), &signal, sizeof signal) == sizeof signal) {
      interrupt = static_cast<int>(signal.ssi_signo);
    }
    if (!isEnding && (interrupt != 0 || Clock::now() > end)) {
      isEnding = true;
      kill(id_, SIGTERM);
    }
    if ((sources[0].revents & (POLLIN | POLLHUP)) == 0) continue;
    std::array<char, 4096> buffer;
    const ssize_t count = read(output_.get(), buffer.data(), buffer.size());
    if (count <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  int status = 0;
  while (waitpid(id_, &status, 0) == -1 && errno == EINTR) {
  }
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return text;
}

// Beside this program, in a build as in /usr/bin.
std::string BesideThis(const char* name) {
  return fs::read_symlink("/proc/self/exe").parent_path() / name;
}

void FreeLock(const std::string& resource) {
  esd::ResourceLocker(resource, 0).Unlock(esd::Force::kYes);
}

// The locks that a killed updater, or a killed check, has left.
void FreeLocks(const Places& places) {
  for (const std::string& path :
       {places.applications, places.components, places.preferences, places.holds}) {
    FreeLock(path);
  }
  std::istringstream identifiers(ReadFile(places.identifiers));
  for (std::string id; std::getline(identifiers, id, '\0');) FreeLock(kxl::RequestLockName(id));
}

}  // namespace

int RunBody(const Check& check) {
  Result result;
  Machine machine;
  try {
    check.body(machine);
  } catch (const Broken& broken) {
    result = {Result::Kind::kBroken, broken.expected, broken.seen, broken.files, {}};
  } catch (const Skipped& skipped) {
    result = {Result::Kind::kSkipped, {}, {}, {}, skipped.reason};
  } catch (const std::exception& error) {
    result = {Result::Kind::kBroken, "the check comes to its end", error.what(), {}, {}};
  }
  machine.KillAll();
  std::cout << Pack(result) << std::endl;
  return EXIT_SUCCESS;
}

Runner::Runner(std::string bundle) : bundle_(std::move(bundle)) {
  const sigset_t signals = EndRequests();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  folder_ = fs::temp_directory_path() / "kxl-updater-check-XXXXXX";
  if (mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("cannot make " + folder_);
  folder_ = fs::canonical(folder_);
}

Runner::~Runner() {
  std::error_code error;
  fs::remove_all(folder_, error);
  if (error) std::cerr << "kxl-updater-check: " << folder_ << " was left behind" << std::endl;
}

std::optional<Result> Runner::Run(const Check& check) {
  const Places places(folder_ + "/" + std::to_string(++count_));
  const std::string utilities = places.root + "/opt/Kelda Utilities.localized/Kelda Updater6";
  fs::create_directories(utilities);
  fs::create_directory_symlink(bundle_, utilities + "/Kelda Updater.app");

  std::vector<std::string> command = {BesideThis("kxl-test-machine"), places.root};
  if (check.bus == Bus::kYes) command.emplace_back("--bus");
  command.insert(command.end(),
                 {"--", fs::read_symlink("/proc/self/exe"), kBodyOption, std::string(check.name)});
  const sigset_t signals = EndRequests();
  const kxl::FileDescriptor requests(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  Reader body(command);
  const std::string text = body.ReadAll(requests, interrupt_);
  FreeLocks(places);
  fs::remove_all(places.root);
  if (interrupt_ != 0) return std::nullopt;
  if (body.Status() == kNoMachine && check.bus == Bus::kYes) {
    return Result{Result::Kind::kSkipped, {}, {}, {}, "there is no session bus"};
  }
  if (body.Status() == kNoMachine) throw std::runtime_error("no private machine can be made");
  return Unpack(text);
}

}  // namespace conformance
