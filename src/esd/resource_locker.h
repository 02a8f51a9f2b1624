// Machine-wide locks by name.
//
// A lock is a POSIX named semaphore: its existence is the lock, its count is never used. Whoever
// creates it exclusively holds it until it is unlinked. The kernel does not release it when the
// holder dies: such a lock stays until somebody unlocks it with force.
#ifndef KXL_ESD_RESOURCE_LOCKER_H
#define KXL_ESD_RESOURCE_LOCKER_H

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <utility>

namespace esd {

// The semaphore's name for a resource of any name: the MD5 digest of the resource name in standard
// base64, 24 characters with the padding. Where the system is asked for it, every '/' in it is
// written '_', since Linux allows none within a name; the file is then /dev/shm/sem.<that name>.
std::string SemaphoreName(const std::string& resourceName);

// The file that exists while the lock on a resource of that name is held.
std::string SemaphorePath(const std::string& resourceName);

enum class Force : bool { kNo, kYes };

class LockPolicyInterface {
 public:
  virtual ~LockPolicyInterface() = default;
  virtual bool Lock() = 0;
  virtual bool Unlock(Force force) = 0;
  virtual bool IsLocked() const = 0;
};

// Holds a lock for a scope, unless an outer scope holds it already. Without a policy there is
// nothing to hold, and it counts as held.
class ScopedLock {
 public:
  explicit ScopedLock(LockPolicyInterface* policy)
      : policy_(policy), tookIt_(policy != nullptr && !policy->IsLocked() && policy->Lock()) {}
  ~ScopedLock() {
    if (tookIt_) policy_->Unlock(Force::kNo);
  }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

  bool IsHeld() const { return policy_ == nullptr || policy_->IsLocked(); }

 private:
  LockPolicyInterface* policy_;
  bool tookIt_;
};

// A misuse of a lock.
class resource_lock_error : public std::exception {
 public:
  resource_lock_error(std::string resourceName, std::string message)
      : resourceName_(std::move(resourceName)), message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }
  const std::string& ResourceName() const { return resourceName_; }

 private:
  std::string resourceName_;
  std::string message_;
};

// The object holds its lock already.
class resource_lock_fail : public resource_lock_error {
  using resource_lock_error::resource_lock_error;
};

// The object holds no lock.
class no_resource_lock : public resource_lock_error {
  using resource_lock_error::resource_lock_error;
};

// One holder, or would-be holder, of the lock on a resource. Two objects exclude each other, in one
// process as in two. One object is used by one thread at a time.
class ResourceLocker : public LockPolicyInterface {
 public:
  ResourceLocker(std::string resourceName, std::uint32_t waitMilliseconds);
  ~ResourceLocker() override;  // releases a held lock
  ResourceLocker(const ResourceLocker&) = delete;
  ResourceLocker& operator=(const ResourceLocker&) = delete;

  // Tries at once and then, while somebody else holds the lock, every millisecond until the wait
  // time is over (0: once). True when this object holds the lock now; false at once when the system
  // refuses it. Throws resource_lock_fail when it did already.
  bool Lock() override;

  // True when the lock is removed. kYes removes it whoever holds it; kNo throws no_resource_lock
  // when this object does not. False when the system refuses; a lock held here stays held then.
  bool Unlock(Force force) override;

  bool IsLocked() const override;

 private:
  class ResourceLockerPlat;
  std::unique_ptr<ResourceLockerPlat> plat_;
};

}  // namespace esd

#endif  // KXL_ESD_RESOURCE_LOCKER_H
