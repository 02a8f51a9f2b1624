#include "sweeps/machine.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "esd/resource_locker.h"

namespace sweep {

namespace {

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

std::string Identifiers(const std::string& holds) {
  std::istringstream lines(holds);
  std::string identifiers;
  for (std::string line; std::getline(lines, line);) {
    identifiers += line.substr(0, line.find('\t')) + "\n";
  }
  return identifiers;
}

}  // namespace

void Machine::Prepare(const Operation& operation) const {
  fs::remove_all(folder_);
  WriteFile(folder_ / "passwd",
            "kelly:x:" + std::to_string(getuid()) + ":4000::/nowhere:/bin/sh\n");
  WriteFile(folder_ / "group", "admin:x:5000:kelly\n");
  for (const auto& [path, text] : operation.before) WriteFile(folder_ / path, text);
}

int Machine::Run(std::vector<std::string> command, bool hasAccounts) const {
  std::vector<std::string> variables = {
      "PATH=/usr/bin:/bin", "KXL_ROOT=" + folder_.string(), "HOME=" + (folder_ / "home").string(),
      "XDG_RUNTIME_DIR=" + (folder_ / "run").string(), "LC_ALL=C",
      "doActionAppID=as the host has set it",
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

int Machine::Host(const Operation& operation) const {
  return Run({Programs() / "sweep_host", operation.name, kAsker}, true);
}

int Machine::TracedHost(const Operation& operation, const Injection* injection) const {
  if (injection != nullptr && injection->IsAllocation()) {
    fs::remove(TracePath());
    const std::string number = std::to_string(injection->number);
    return Run({Programs() / "sweep_host", operation.name, kAsker,
                number + (injection->forEver ? "+" : "")},
               true);
  }
  std::vector<std::string> command = {"strace",      "-s",        "300",
                                      "-o",          TracePath(), "-e",
                                      "signal=none", "-E",        "LD_PRELOAD=libnss_wrapper.so"};
  const std::string calls = injection == nullptr ? "%file,%desc" : injection->call + ",openat";
  command.insert(command.end(), {"-e", "trace=" + calls});
  if (injection != nullptr) command.insert(command.end(), {"-e", injection->Option()});
  command.insert(command.end(), {Programs() / "sweep_host", operation.name, kAsker});
  return Run(command, false);
}

bool Machine::Tool(const std::vector<std::string>& arguments) const {
  std::vector<std::string> command = {Programs() / "kxl"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return Run(command, false) == 0;
}

Files Machine::Look() const {
  Files files;
  for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
    const std::string path = entry.path().lexically_relative(folder_);
    if (path.starts_with(kSecondChoice)) continue;
    if (!entry.is_regular_file()) continue;
    files[path] = path == kHolds ? Identifiers(ReadFile(entry)) : ReadFile(entry);
    if (path == kHolds && files[path].empty()) files.erase(path);  // where it cannot be removed
  }
  return files;
}

bool Machine::OthersMayRegister() const {
  const fs::path shared = (folder_ / kList).parent_path();
  return !fs::exists(shared) ||
         (fs::status(shared).permissions() & fs::perms(0775)) == fs::perms(0775);
}

Files Machine::HeldLocks(const Operation& operation) const {
  Files locks;
  for (const std::string& path : {kList, kComponents, kPreferences, kHolds}) {
    const std::string name = folder_ / path;
    locks[name] = esd::SemaphorePath(name);
  }
  // Another machine may be asking just now.
  if (operation.before.count(kAnswerFile) > 0) {
    locks["request:" + kAsker] = esd::SemaphorePath("KeldaUpdater6" + kAsker);
  }
  std::erase_if(locks, [](const auto& lock) { return !fs::exists(lock.second); });
  return locks;
}

}  // namespace sweep
