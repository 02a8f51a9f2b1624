// Locks between processes.
#include <chrono>
#include <thread>

#include "bench/machine.h"
#include "bench/minimum.h"
#include "bench/rows.h"
#include "esd/resource_locker.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

// Seconds from the release by one holder to the other one's having the lock.
double HandOver(const std::string& name, int pause) {
  esd::ResourceLocker holder(name, 0);
  Check(holder.Lock(), "a lock is held");
  Clock::time_point taken;
  std::thread waiting([&] {
    esd::ResourceLocker waiter(name, 1000);
    Check(waiter.Lock(), "a lock was not handed over");
    taken = Clock::now();
  });
  // Whenever within the waiter's step of a millisecond.
  std::this_thread::sleep_for(std::chrono::microseconds(3000 + pause));
  const Clock::time_point released = Clock::now();
  holder.Unlock(esd::Force::kNo);
  waiting.join();
  return std::chrono::duration<double>(taken - released).count();
}

}  // namespace

void AddLockRows() {
  const std::string name = Path("locked");
  const auto library = [=] {
    esd::ResourceLocker locker(name, 0);
    Check(locker.Lock(), "a lock is held");
  };
  const auto minimum = [lockName = LockName(name)] { const Lock lock(lockName); };
  AddRow("lock and unlock", {Timed(kLibrary, library), Timed(kMinimum, minimum)});
  const auto handOver = [=, pause = 0]() mutable {
    pause = (pause + 337) % 1000;  // microseconds
    return HandOver(name, pause);
  };
  AddRow("hand-over of a held lock", {{kLibrary, handOver}, Microsecond()});
}

}  // namespace bench
