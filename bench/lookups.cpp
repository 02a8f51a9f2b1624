// What a host asks often.
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <kxl/kxl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "bench/machine.h"
#include "bench/minimum.h"
#include "bench/rows.h"
#include "platform/processes.h"

namespace bench {

namespace {

// The administrator's list, which is not there, and the account database.
bool IsEnabledByHand(const std::string& list) {
  std::array<char, 1024> groupBuffer;
  std::array<char, 1024> userBuffer;
  group adminEntry;
  passwd userEntry;
  group* admin = nullptr;
  passwd* user = nullptr;
  if (open(list.c_str(), O_RDONLY | O_CLOEXEC) != -1) return false;
  getgrnam_r("admin", &adminEntry, groupBuffer.data(), groupBuffer.size(), &admin);
  if (admin == nullptr) return false;
  if (getuid() == 0) return true;
  getpwuid_r(getuid(), &userEntry, userBuffer.data(), userBuffer.size(), &user);
  if (user == nullptr) return false;
  for (char** member = admin->gr_mem; *member != nullptr; ++member) {
    if (std::strcmp(*member, user->pw_name) == 0) return true;
  }
  return user->pw_gid == admin->gr_gid;
}

void AddQueries() {
  constexpr int kBatch = 100;
  const auto enabled = [] {
    Check(KXLIsUpdateCheckEnabled() == 1, "this user is no administrator");
  };
  const auto enabledByHand = [list = Path("etc/com.kelda.updater6.Admin.plist")] {
    Check(IsEnabledByHand(list), "this user is no administrator");
  };
  AddRow("KXLIsUpdateCheckEnabled",
         {Timed(kLibrary, enabled, kBatch), Timed(kMinimum, enabledByHand, kBatch)});
  const auto query = [] {
    std::uint32_t seconds = 1;
    Check(KXLSuppressUpdates(nullptr, nullptr, &seconds, 1) == ESD_ERR_OK, "the query has failed");
  };
  const auto queryByHand = [holds = SuppressPath(), lockName = LockName(SuppressPath())] {
    const Lock lock(lockName);
    Check(open(holds.c_str(), O_RDONLY | O_CLOEXEC) == -1, "there are holds");
  };
  AddRow("KXLSuppressUpdates, a query without a file",
         {Timed(kLibrary, query), Timed(kMinimum, queryByHand)});
}

// Idle processes for as long as one lives.
class Crowd {
 public:
  explicit Crowd(std::size_t count) {
    while (processes_.size() < count) {
      const pid_t process = fork();
      Check(process != -1, "no more processes");
      if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) pause();
      }
      processes_.push_back(process);
    }
  }
  ~Crowd() {
    for (const pid_t process : processes_) kill(process, SIGKILL);
    for (const pid_t process : processes_) waitpid(process, nullptr, 0);
  }
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

 private:
  std::vector<pid_t> processes_;
};

bool ReadEveryName() {
  DIR* processes = opendir("/proc");
  bool found = false;
  while (const dirent* entry = readdir(processes)) {
    if (*entry->d_name < '0' || *entry->d_name > '9') continue;
    std::array<char, 300> name;
    std::snprintf(name.data(), name.size(), "/proc/%s/comm", entry->d_name);
    const int file = open(name.data(), O_RDONLY | O_CLOEXEC);
    const ssize_t size = read(file, name.data(), name.size());
    close(file);
    found = found || (size > 0 && std::string_view(name.data(), static_cast<std::size_t>(size)) ==
                                      "Kelda Updater\n");
  }
  closedir(processes);
  return found;
}

void AddFinding() {
  const auto crowd = std::make_shared<std::unique_ptr<Crowd>>();
  const auto library = [] {
    Check(!kxl::FindUpdaterProcess(kxl::BringToFront::kNo), "an updater runs");
  };
  const auto minimum = [crowd] { Check(!ReadEveryName(), "an updater runs"); };
  AddRow("finding the updater among 300 processes",
         {Timed(kLibrary, library), Timed(kMinimum, minimum)}, [crowd] {
           constexpr std::size_t kProcesses = 300;
           if (!*crowd) *crowd = std::make_unique<Crowd>(kProcesses);
         });
}

}  // namespace

void AddLookupRows() {
  AddQueries();
  AddFinding();
}

}  // namespace bench
