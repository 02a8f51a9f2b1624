// Opening files that other users and programs may have put anything in the place of.
#ifndef KXL_PLATFORM_REGULAR_FILE_H
#define KXL_PLATFORM_REGULAR_FILE_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace kxl {

// No file of ours is larger (bytes); one that is counts as damaged.
inline constexpr std::size_t kMaximumFileSize = 16UL * 1024 * 1024;

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
  // False when the system has failed at it: a write that it had taken may be lost.
  bool Close();

 private:
  int fd_ = -1;
};

// Opens a path that begins at the open folder (or at AT_FDCWD) with the flags of open. Never waits
// (for the other end of a FIFO, say), never gives descriptors 0 to 2 (which a host may have closed
// and still print to) and closes the descriptor at exec. Not valid on failure; errno tells why.
FileDescriptor OpenAt(int folder, const std::string& path, int flags, mode_t mode = 0);

enum class FileAccess {
  kRead,
  // For writing; emptied when it exists, made with mode 0666 less the umask otherwise. Whatever the
  // umask is, a file of the user's own is made readable and writable for him.
  kReplace,
  kAppend,  // for writing at the end, made likewise
};

// Whether a link in the last component is followed. It is not where somebody else may have laid
// one: in shared folders, under the predictable names of companions, in answers. Nor is a file
// replaced there that has a second name elsewhere (a hard link).
enum class Links { kFollow, kRefuse };

enum class OpenStatus {
  kOpened,
  kMissing,
  kFolder,
  kNotRegular,   // a FIFO, a socket, a device or a refused link stands there
  kDenied,       // it may not be opened (rights), and will not be later
  kUnavailable,  // something is short for the moment: descriptors, memory, or the disk fails
};

struct OpenedFile {
  OpenStatus status = OpenStatus::kUnavailable;
  FileDescriptor descriptor;
  std::size_t size = 0;  // bytes, when it was opened
};

// The size of a file as memory counts, in bytes: the largest there is for one that is larger.
std::size_t SizeInMemory(off_t size);

// Opens path when it is a regular file; the descriptor is one as OpenAt gives. errno tells why a
// status other than kOpened was answered.
OpenedFile OpenRegularFile(const std::string& path, FileAccess access, Links links);

// Reads the whole file, through a link too. text is as it was unless the answer is kOpened; a file
// that was opened and cannot be read, or is larger than maximum (bytes, EFBIG), is kUnavailable.
// errno tells why a status other than kOpened was answered.
OpenStatus ReadRegularFile(const std::string& path, std::string& text,
                           std::size_t maximum = kMaximumFileSize);

// Reads until the end of the file or until there are size bytes in buffer; count tells how many.
// False when that fails.
bool ReadUpTo(int descriptor, char* buffer, std::size_t size, std::size_t& count);

// Reads an open regular file, of that size when it was opened, from its beginning to its end; the
// terms are the same.
bool ReadToEnd(int descriptor, std::size_t size, std::string& text);

// Whether the open file has lost its last name.
bool IsUnlinked(int descriptor);

// Waits until the file's data is on the disk. A file system without that notion is no failure.
bool SyncData(int descriptor);

// The open file's permission mode, changed whoever holds its name by now.
bool AddModeBits(int descriptor, mode_t bits);
bool SetMode(int descriptor, mode_t mode);

// Gives the open object to that owner and that group, each on its own and as far as the caller may:
// only root gives away, an owner may choose among his groups, and a user namespace does not know
// every number. Whether it has both at the end.
bool SetOwner(int descriptor, uid_t owner, gid_t group);

// Writes all of the text at the descriptor's position. False on a failure, after a part of it; a
// file that would grow beyond the process's limit is one, and no signal SIGXFSZ, which would end
// the host.
bool WriteAll(int descriptor, std::string_view text);

}  // namespace kxl

#endif  // KXL_PLATFORM_REGULAR_FILE_H
