#include "kxl/locks.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <string_view>
#include <system_error>

#include "esd/resource_locker.h"
#include "kxl/examinations.h"
#include "kxl/places.h"
#include "stores/lock_files.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kRequest = "request:";

std::string ResourceName(const std::string& name) {
  return name.starts_with(kRequest) ? kxl::RequestLockName(name.substr(kRequest.size())) : name;
}

// By device and inode: the name in the list of mappings is the one that the file had when it was
// made, before it became the lock.
bool Maps(const std::string& process, const struct stat& semaphore) {
  std::ifstream maps(process + "/maps");
  for (std::string line; std::getline(maps, line);) {
    unsigned deviceMajor;
    unsigned deviceMinor;
    std::uintmax_t inode;
    if (std::sscanf(line.c_str(), "%*s %*s %*s %x:%x %ju", &deviceMajor, &deviceMinor, &inode) ==
            3 &&
        inode == semaphore.st_ino && deviceMajor == major(semaphore.st_dev) &&
        deviceMinor == minor(semaphore.st_dev)) {
      return true;
    }
  }
  return false;
}

std::vector<Holder> FindHolders(const struct stat& semaphore) {
  std::vector<Holder> holders;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc", error)) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    if (!Maps(entry.path(), semaphore)) continue;
    std::string command;
    std::getline(std::ifstream(entry.path() / "comm"), command);
    holders.push_back({static_cast<pid_t>(std::stol(name)), command});
  }
  return holders;
}

}  // namespace

Lock LookAtLock(const std::string& name) {
  Lock lock = {name, esd::SemaphorePath(ResourceName(name)), LockState::kFree, {}, 0, 0};
  struct stat semaphore;
  struct stat now;
  // Anybody can lay a link there, which nobody takes for a semaphore but which is in the way of
  // one. A holder has the semaphore mapped for as long as it has its name. One that went away
  // during the search was released, and tells nothing about the next one.
  do {
    if (lstat(lock.semaphore.c_str(), &semaphore) != 0) return lock;
    lock.holders = FindHolders(semaphore);
    if (lstat(lock.semaphore.c_str(), &now) != 0) now.st_ino = 0;
  } while (now.st_ino != semaphore.st_ino);
  lock.since = semaphore.st_mtime;
  lock.owner = semaphore.st_uid;
  if (!lock.holders.empty()) {
    lock.state = LockState::kHeld;
  } else if (geteuid() == 0 || semaphore.st_uid == geteuid()) {
    lock.state = LockState::kStale;
  } else {
    lock.state = LockState::kUnknown;
  }
  return lock;
}

std::vector<Lock> AllLocks() {
  constexpr std::string_view kLockFile = "lock.";
  std::vector<Lock> locks;
  for (const std::string& path :
       {ApplicationsPath(), ComponentsPath(), PreferencesPath(), HoldsPath()}) {
    if (!path.empty()) locks.push_back(LookAtLock(path));
  }
  std::error_code error;
  std::set<std::string> requests;
  for (const fs::directory_entry& entry : fs::directory_iterator(LockFolder(), error)) {
    const std::string file = entry.path().filename();
    if (file.starts_with(kLockFile)) requests.insert(file.substr(kLockFile.size()));
  }
  for (const std::string& id : requests) locks.push_back(LookAtLock(std::string(kRequest) + id));
  return locks;
}

void ExamineLocks(Findings& findings) {
  constexpr std::time_t kLong = 60;  // seconds; a file's lock is held for milliseconds
  for (const Lock& lock : AllLocks()) {
    const std::string name = lock.name;
    const bool isOfFile = !name.starts_with(kRequest);
    const bool isOld = std::time(nullptr) - lock.since > kLong;
    if (lock.state == LockState::kStale) {
      findings.push_back({Severity::kWrong, "stale-lock", name, kEverybody,
                          "its holder was killed, and everybody else waits for it in vain",
                          "remove the lock", [name] {
                            // Somebody may have mended it and taken it since.
                            return LookAtLock(name).state != LockState::kStale || BreakLock(name);
                          }});
    } else if (lock.state == LockState::kUnknown && isOfFile && isOld) {
      findings.push_back({Severity::kWrong,
                          "foreign-lock",
                          name,
                          kEverybody,
                          "another user's process has held it for more than a minute; if it was "
                          "killed, everybody waits in vain",
                          "root, or the user of number " + std::to_string(lock.owner) +
                              ", can tell and remove it: kxl doctor --fix",
                          {}});
    }
  }
}

bool BreakLock(const std::string& name) {
  return esd::ResourceLocker(ResourceName(name), 0).Unlock(esd::Force::kYes);
}

std::string StateName(LockState state) {
  switch (state) {
    case LockState::kFree:
      return "free";
    case LockState::kHeld:
      return "held";
    case LockState::kStale:
      return "stale";
    case LockState::kUnknown:
      break;
  }
  return "unknown";
}

Json ToJson(const Lock& lock) {
  Json holders = Json::array();
  for (const Holder& holder : lock.holders) {
    holders.push_back({{"pid", holder.id}, {"command", holder.command}});
  }
  return {{"lock", lock.name},
          {"state", StateName(lock.state)},
          {"holders", std::move(holders)},
          {"semaphore", lock.semaphore}};
}

std::string HolderText(const Lock& lock) {
  switch (lock.state) {
    case LockState::kFree:
      return "free";
    case LockState::kStale:
      return "stale: its holder was killed";
    case LockState::kUnknown:
      return "held by another user; root can see by whom";
    case LockState::kHeld:
      break;
  }
  std::string text = "held by";
  for (const Holder& holder : lock.holders) {
    text += " " + holder.command + " (" + std::to_string(holder.id) + ")";
  }
  return text;
}

}  // namespace tool
