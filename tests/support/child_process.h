// Real child processes whose bodies stand in the test binary itself. Parent and child go step by
// step over a pair of pipes; nobody sleeps.
#ifndef KXL_TESTS_SUPPORT_CHILD_PROCESS_H
#define KXL_TESTS_SUPPORT_CHILD_PROCESS_H

#include <sys/syscall.h>
#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kxl_test {

using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

// One end of the pair of pipes.
class Link {
 public:
  Link(int readEnd, int writeEnd) : readEnd_(readEnd), writeEnd_(writeEnd) {}
  void Tell() const { Write("."); }
  bool Await() const;  // false when the other side has gone
  void Write(std::string_view text) const;
  std::string ReadAll() const;  // until the other side closes
  int ReadEnd() const { return readEnd_; }

 protected:
  int readEnd_;
  int writeEnd_;
};

// A function of the test binary; its answer is the child's exit status.
using ChildBody = int (*)(const Link& parent, const Arguments& arguments);

// Runs the body that argv asks for, if it asks for one.
bool RunsChildBody(int argc, char** argv, int& status);

class ChildProcess : public Link {
 public:
  // Runs the body with this process's environment, changed by the given variables.
  explicit ChildProcess(ChildBody body, const Arguments& arguments = {},
                        const Environment& environment = {});
  ~ChildProcess();  // kills a child that still runs
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t Id() const { return id_; }
  int Exit();  // waits; the exit status, or the negated signal that ended it

 private:
  pid_t id_;
};

// Lets no file of the calling process grow beyond so many bytes, as a full disk would.
void LimitFileSize(const std::string& bytes);

// What the C library calls for these; others where a word has 32 bits.
#ifdef SYS_fcntl64
inline constexpr int kFcntlCall = SYS_fcntl64;
inline constexpr int kStatCall = SYS_statx;
#else
inline constexpr int kFcntlCall = SYS_fcntl;
inline constexpr int kStatCall = SYS_newfstatat;
#endif

// Lets the system call of that number, or only with that first argument, fail with the error in the
// calling process and what it starts from now on.
void FailSystemCall(int number, int error, std::optional<std::uint32_t> argument = std::nullopt);

}  // namespace kxl_test

#endif  // KXL_TESTS_SUPPORT_CHILD_PROCESS_H
