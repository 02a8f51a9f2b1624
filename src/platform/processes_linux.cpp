#include "platform/processes.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "platform/regular_file.h"

namespace kxl {

namespace {

constexpr std::string_view kUpdaterName = "Kelda Updater";

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};

// Reads the start of a file of /proc into buffer; empty when the process has gone meanwhile.
template <std::size_t size>
std::string_view ReadProcFile(int directory, const char* process, const char* name,
                              std::array<char, size>& buffer) {
  std::string path = process;
  path += '/';
  path += name;
  const FileDescriptor file(openat(directory, path.c_str(), O_RDONLY | O_CLOEXEC));
  const ssize_t count = file.valid() ? read(file.get(), buffer.data(), buffer.size()) : -1;
  return {buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count)};
}

bool IsUpdaterName(int directory, const char* process) {
  std::array<char, 64> buffer;
  std::string_view name = ReadProcFile(directory, process, "comm", buffer);
  if (name.ends_with('\n')) name.remove_suffix(1);
  return name == kUpdaterName;
}

// The text behind "<field>:" and its tab in a /proc status file.
std::string_view StatusField(std::string_view status, std::string_view field) {
  const std::size_t start = status.find(field);
  return start == std::string_view::npos ? std::string_view() : status.substr(start + field.size());
}

// The status file names the real, then the effective user. Both count: the effective one alone is
// this user's, too, in a program with set-user-ID that somebody else has started under the name.
bool IsAliveForThisUser(int directory, const char* process) {
  std::array<char, 4096> buffer;
  const std::string_view status = ReadProcFile(directory, process, "status", buffer);
  const std::string_view state = StatusField(status, "\nState:\t");
  if (state.empty() || state.starts_with('Z') || state.starts_with('X')) return false;
  const std::string users = std::to_string(getuid()) + '\t' + std::to_string(geteuid()) + '\t';
  return StatusField(status, "\nUid:\t").starts_with(users);
}

bool IsUpdaterRunning() {
  const std::unique_ptr<DIR, DirectoryCloser> processes(opendir("/proc"));
  if (!processes) return false;
  const int directory = dirfd(processes.get());
  const std::string self = std::to_string(getpid());
  while (const dirent* entry = readdir(processes.get())) {
    const char* process = entry->d_name;
    if (*process < '0' || *process > '9' || self == process) continue;
    if (IsUpdaterName(directory, process) && IsAliveForThisUser(directory, process)) return true;
  }
  return false;
}

}  // namespace

bool FindUpdaterProcess(BringToFront bringToFront, BusDeadline deadline) {
  if (!IsUpdaterRunning()) return false;
  if (bringToFront == BringToFront::kYes) ActivateUpdater(deadline);
  return true;
}

}  // namespace kxl
