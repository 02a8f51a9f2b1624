#include <fcntl.h>
#include <semaphore.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "esd/resource_locker.h"
#include "platform/failure_report.h"
#include "platform/thread_guards.h"

namespace esd {

namespace {

std::string SystemName(const std::string& resourceName) {
  std::string name = SemaphoreName(resourceName);
  std::replace(name.begin(), name.end(), '/', '_');
  return name;
}

// The C library guards its list of open semaphores with a lock of its own, which a child would find
// held for ever that was forked while another thread was in there: none is, while a fork goes on.
kxl::ForkMutex inLibrary;
[[maybe_unused]] const bool isFreeAtFork = kxl::CallAroundFork(
    [] { inLibrary.Hold(); }, [] { inLibrary.LetGo(); }, [] { inLibrary.LetGo(); });

sem_t* Make(const std::string& name) {
  const kxl::FileSizeSignalBlock noSignal;  // a semaphore is a file of 32 bytes
  const kxl::ForkLock lock(inLibrary);
  if (!lock.IsHeld()) {
    errno = EDEADLK;
    return SEM_FAILED;
  }
  return sem_open(name.c_str(), O_CREAT | O_EXCL, 0700, 1);
}

void Close(sem_t* semaphore) {
  const kxl::ForkLock lock(inLibrary);
  if (lock.IsHeld()) sem_close(semaphore);
}

}  // namespace

std::string SemaphorePath(const std::string& resourceName) {
  return "/dev/shm/sem." + SystemName(resourceName);
}

class ResourceLocker::ResourceLockerPlat {
 public:
  ResourceLockerPlat(std::string resourceName, std::uint32_t waitMilliseconds)
      : resourceName_(std::move(resourceName)),
        systemName_(SystemName(resourceName_)),
        wait_(waitMilliseconds) {}

  ~ResourceLockerPlat() {
    // Somebody may have removed the semaphore under us; its memory has to go all the same.
    if (IsHeld() && !Release()) Close(semaphore_);
  }
  ResourceLockerPlat(const ResourceLockerPlat&) = delete;
  ResourceLockerPlat& operator=(const ResourceLockerPlat&) = delete;

  bool Lock() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + wait_;
    if (IsHeld()) throw resource_lock_fail(resourceName_, "A resource is already being locked");
    for (;;) {
      semaphore_ = Make(systemName_);
      if (IsHeld()) return true;
      const int error = errno;
      if (error == EEXIST) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      // What else refuses it now will do so later.
      if (error != EEXIST || Clock::now() >= deadline) {
        if (kxl::AreFailuresHeard()) kxl::ReportFailure(SemaphorePath(resourceName_), error);
        return false;
      }
    }
  }

  bool Unlock(Force force) {
    if (!IsHeld() && force == Force::kNo) {
      throw no_resource_lock("Resource unknown", "This object is not locking an item");
    }
    return Release();
  }

  bool IsHeld() const { return semaphore_ != SEM_FAILED; }

 private:
  bool Release() {
    if (sem_unlink(systemName_.c_str()) != 0) return false;
    if (IsHeld()) Close(semaphore_);
    semaphore_ = SEM_FAILED;
    return true;
  }

  sem_t* semaphore_ = SEM_FAILED;
  std::string resourceName_;
  std::string systemName_;
  std::chrono::milliseconds wait_;
};

ResourceLocker::ResourceLocker(std::string resourceName, std::uint32_t waitMilliseconds)
    : plat_(std::make_unique<ResourceLockerPlat>(std::move(resourceName), waitMilliseconds)) {}

ResourceLocker::~ResourceLocker() = default;

bool ResourceLocker::Lock() { return plat_->Lock(); }

bool ResourceLocker::Unlock(Force force) { return plat_->Unlock(force); }

bool ResourceLocker::IsLocked() const { return plat_->IsHeld(); }

}  // namespace esd
