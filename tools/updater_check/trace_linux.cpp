#include "updater_check/trace.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "esd/resource_locker.h"
#include "updater_check/check.h"

namespace conformance {

namespace {

constexpr char kSemaphores[] = "/dev/shm";
constexpr std::uint32_t kNames = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

}  // namespace

Trace::Trace(const std::vector<std::string>& folders, const std::vector<std::string>& resources)
    : notices_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  for (const std::string& resource : resources) {
    resources_[esd::SemaphorePath(resource)] = resource;
  }
  const auto watch = [this](const std::string& folder, std::uint32_t events) {
    const int number = inotify_add_watch(notices_.get(), folder.c_str(), events | IN_ONLYDIR);
    if (number < 0) throw std::runtime_error("cannot watch " + folder);
    folders_[number] = folder;
  };
  watch(kSemaphores, kNames);
  for (const std::string& folder : folders) watch(folder, kNames | IN_OPEN | IN_MODIFY);
}

std::vector<Step> Trace::Steps() {
  std::vector<Step> steps;
  alignas(inotify_event) std::array<char, 65536> buffer;
  for (ssize_t size; (size = read(notices_.get(), buffer.data(), buffer.size())) > 0;) {
    for (const char* at = buffer.data(); at < buffer.data() + size;) {
      const auto& notice = *reinterpret_cast<const inotify_event*>(at);
      at += sizeof notice + notice.len;
      if ((notice.mask & IN_Q_OVERFLOW) != 0) throw std::runtime_error("too much has happened");
      if (notice.len == 0) continue;  // the folder itself
      const std::string path = folders_.at(notice.wd) + "/" + notice.name;
      if (folders_.at(notice.wd) == kSemaphores) {
        const auto resource = resources_.find(path);
        if (resource == resources_.end()) continue;
        const bool isTaken = (notice.mask & (IN_CREATE | IN_MOVED_TO)) != 0;
        steps.push_back({isTaken ? Event::kTaken : Event::kGiven, resource->second});
        continue;
      }
      const Event event = (notice.mask & IN_OPEN) != 0         ? Event::kOpened
                          : (notice.mask & IN_MODIFY) != 0     ? Event::kModified
                          : (notice.mask & IN_CREATE) != 0     ? Event::kCreated
                          : (notice.mask & IN_MOVED_TO) != 0   ? Event::kReplaced
                          : (notice.mask & IN_MOVED_FROM) != 0 ? Event::kMoved
                                                               : Event::kDeleted;
      steps.push_back({event, path});
    }
  }
  return steps;
}

void RequireUnderLock(const std::vector<Step>& steps, const std::string& path, Touch touch) {
  bool isHeld = false;
  for (const Step& step : steps) {
    if (step.event == Event::kTaken || step.event == Event::kGiven) {
      if (step.path == path) isHeld = step.event == Event::kTaken;
      continue;
    }
    if (isHeld || (step.path != path && step.path != path + "_")) continue;
    if (touch == Touch::kChange && step.event == Event::kOpened) continue;
    throw Broken("a file is opened and changed by whoever holds its lock, and nobody else",
                 step.event == Event::kOpened ? "it was opened while the lock was free"
                                              : "it was changed while the lock was free",
                 {step.path, esd::SemaphorePath(path)});
  }
}

}  // namespace conformance
