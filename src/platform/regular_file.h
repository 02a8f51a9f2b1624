// Opening files that other users and programs may have put anything in the place of.
#ifndef KXL_PLATFORM_REGULAR_FILE_H
#define KXL_PLATFORM_REGULAR_FILE_H

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace kxl {

// Owns an open file descriptor, or none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.Release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  ~FileDescriptor();

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  // Hands the descriptor over to the caller, who closes it.
  int Release();

 private:
  int fd_ = -1;
};

enum class FileAccess {
  kRead,
  kReplace,  // for writing; emptied when it exists, made with mode 0666 less the umask otherwise
  kAppend,   // for writing at the end, made likewise
};

enum class OpenStatus {
  kOpened,
  kMissing,
  kNotRegular,   // a link, a FIFO, a socket or a device stands there
  kUnavailable,  // a folder, or it could not be opened (rights, descriptors, input/output)
};

struct OpenedFile {
  OpenStatus status = OpenStatus::kUnavailable;
  FileDescriptor descriptor;
  std::uint64_t size = 0;  // bytes, when it was opened
};

// Opens path when it is a regular file. Never follows a link in the last component, never waits
// (for the other end of a FIFO, say), never gives descriptors 0 to 2 (which a host may have closed
// and still print to) and closes the descriptor at exec.
OpenedFile OpenRegularFile(const std::string& path, FileAccess access);

// Waits until the file's data is on the disk. A file system without that notion is no failure.
bool SyncData(int descriptor);

// The open file's permission mode, changed whoever holds its name by now.
bool AddModeBits(int descriptor, mode_t bits);
bool SetMode(int descriptor, mode_t mode);

}  // namespace kxl

#endif  // KXL_PLATFORM_REGULAR_FILE_H
