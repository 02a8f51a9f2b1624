// What a careful person would write by hand, without a library: the least that the same work costs
// on this machine.
#ifndef KXL_BENCH_MINIMUM_H
#define KXL_BENCH_MINIMUM_H

#include <semaphore.h>

#include <string>
#include <string_view>

namespace bench {

// The name of the machine-wide lock on a path. Never measured: whoever writes by hand for one file
// writes it down.
std::string LockName(const std::string& path);

// That lock, for as long as one lives. The name has to live as long.
class Lock {
 public:
  explicit Lock(const std::string& name);
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  const std::string& name_;
  sem_t* semaphore_;
};

// Has expat parse the file, which it reads into expat's own buffer at once, with the handlers that
// the library needs, which do nothing.
void Parse(const std::string& path);

// Replaces the file as a whole, durably: sets the mode of its companion, writes and syncs it,
// exchanges the two names and removes the old content.
void Replace(const std::string& path, std::string_view text);

}  // namespace bench

#endif  // KXL_BENCH_MINIMUM_H
