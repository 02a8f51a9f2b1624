// What a careful person would write by hand, without a library: the least that the same work costs
// on this machine.
#ifndef KXL_BENCH_MINIMUM_H
#define KXL_BENCH_MINIMUM_H

#include <semaphore.h>

#include <string>
#include <string_view>

namespace bench {

// The machine-wide lock on a path, for as long as one lives.
class Lock {
 public:
  explicit Lock(const std::string& path);
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  std::string name_;
  sem_t* semaphore_;
};

// The file's content, by one open, stat, read and close.
std::string Read(const std::string& path);

// Has expat read the text in pieces of 1024 bytes, with handlers that do nothing.
void ParseForNothing(std::string_view text);

// Replaces the file as a whole, durably: writes and syncs its companion, sets its mode, exchanges
// the two names and removes the old content.
void Replace(const std::string& path, std::string_view text);

}  // namespace bench

#endif  // KXL_BENCH_MINIMUM_H
