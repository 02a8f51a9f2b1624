#include "platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <utility>

#include "platform/thread_guards.h"

namespace kxl {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  FileDescriptor previous(std::exchange(fd_, other.Release()));
  return *this;
}

FileDescriptor::~FileDescriptor() {
  if (fd_ >= 0) close(fd_);
}

int FileDescriptor::Release() { return std::exchange(fd_, -1); }

bool FileDescriptor::Close() { return close(Release()) == 0; }

namespace {

int OpenFlags(FileAccess access) {
  switch (access) {
    case FileAccess::kRead:
      return O_RDONLY;
    case FileAccess::kReplace:
      return O_WRONLY | O_CREAT;  // emptied once it is known what was opened
    case FileAccess::kAppend:
      return O_WRONLY | O_CREAT | O_APPEND;
  }
  return O_RDONLY;
}

OpenStatus StatusOf(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:  // a file stands where the folder belongs
      return OpenStatus::kMissing;
    case EISDIR:
      return OpenStatus::kFolder;
    case ELOOP:  // a link
    case ENXIO:  // a socket, a FIFO without a reader, a device without a driver
    case ENODEV:
      return OpenStatus::kNotRegular;
    case EMFILE:
    case ENFILE:
    case ENOMEM:
    case EIO:
      return OpenStatus::kUnavailable;
    default:
      return OpenStatus::kDenied;
  }
}

}  // namespace

FileDescriptor OpenAt(int folder, const std::string& path, int flags, mode_t mode) {
  FileDescriptor fd(openat(folder, path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode));
  if (fd.valid() && fd.get() <= STDERR_FILENO) {
    fd = FileDescriptor(fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }
  return fd;
}

std::size_t SizeInMemory(off_t size) {
  return static_cast<std::size_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(size),
                                                          std::numeric_limits<std::size_t>::max()));
}

OpenedFile OpenRegularFile(const std::string& path, FileAccess access, Links links) {
  OpenedFile file;
  const int noLink = links == Links::kRefuse ? O_NOFOLLOW : 0;
  FileDescriptor fd = OpenAt(AT_FDCWD, path, OpenFlags(access) | noLink, 0666);
  if (!fd.valid()) {
    file.status = StatusOf(errno);
    return file;
  }
  struct stat info;
  if (fstat(fd.get(), &info) != 0) return file;
  if (!S_ISREG(info.st_mode)) {
    const bool isFolder = S_ISDIR(info.st_mode);
    file.status = isFolder ? OpenStatus::kFolder : OpenStatus::kNotRegular;
    errno = isFolder ? EISDIR : EINVAL;
    return file;
  }
  if (access == FileAccess::kReplace) {
    if (links == Links::kRefuse && info.st_nlink > 1) {
      file.status = OpenStatus::kNotRegular;
      errno = EMLINK;
      return file;
    }
    if (info.st_size > 0 && ftruncate(fd.get(), 0) != 0) return file;
    info.st_size = 0;
  }
  constexpr mode_t kOwnersRights = S_IRUSR | S_IWUSR;
  if (access != FileAccess::kRead && (info.st_mode & kOwnersRights) != kOwnersRights &&
      info.st_uid == geteuid()) {
    SetMode(fd.get(), (info.st_mode & 07777) | kOwnersRights);
  }
  file.status = OpenStatus::kOpened;
  file.size = SizeInMemory(info.st_size);
  file.descriptor = std::move(fd);
  return file;
}

OpenStatus ReadRegularFile(const std::string& path, std::string& text, std::size_t maximum) {
  const OpenedFile file = OpenRegularFile(path, FileAccess::kRead, Links::kFollow);
  if (file.status != OpenStatus::kOpened) return file.status;
  if (file.size > maximum) errno = EFBIG;
  const bool isRead = file.size <= maximum && ReadToEnd(file.descriptor.get(), file.size, text);
  return isRead ? OpenStatus::kOpened : OpenStatus::kUnavailable;
}

bool ReadToEnd(int descriptor, std::size_t size, std::string& text) {
  if (size > kMaximumFileSize) {
    errno = EFBIG;
    return false;
  }
  std::string content(size, '\0');
  std::size_t count = 0;
  if (!ReadUpTo(descriptor, content.data(), content.size(), count)) return false;
  content.resize(count);
  text = std::move(content);
  return true;
}

bool ReadUpTo(int descriptor, char* buffer, std::size_t size, std::size_t& count) {
  for (count = 0; count < size;) {
    const ssize_t more = read(descriptor, buffer + count, size - count);
    if (more == 0) break;
    if (more > 0) {
      count += static_cast<std::size_t>(more);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

bool IsUnlinked(int descriptor) {
  // fstat would ask for the times too, and who has asked for them lets the next write keep them
  // with all their digits, which costs more than the write.
  struct statx info;
  return statx(descriptor, "", AT_EMPTY_PATH, STATX_NLINK, &info) == 0 && info.stx_nlink == 0;
}

bool SyncData(int descriptor) {
  while (fdatasync(descriptor) != 0) {
    if (errno != EINTR) return errno == EINVAL || errno == ENOSYS;
  }
  return true;
}

bool AddModeBits(int descriptor, mode_t bits) {
  struct stat info;
  return fstat(descriptor, &info) == 0 && SetMode(descriptor, (info.st_mode & 07777) | bits);
}

bool SetMode(int descriptor, mode_t mode) { return fchmod(descriptor, mode) == 0; }

bool SetOwner(int descriptor, uid_t owner, gid_t group) {
  constexpr auto kSameOwner = static_cast<uid_t>(-1);
  constexpr auto kSameGroup = static_cast<gid_t>(-1);
  struct stat info;
  if (fstat(descriptor, &info) != 0) return false;
  const bool hasGroup = info.st_gid == group || fchown(descriptor, kSameOwner, group) == 0;
  const bool hasOwner = info.st_uid == owner || fchown(descriptor, owner, kSameGroup) == 0;
  return hasGroup && hasOwner;
}

bool WriteAll(int descriptor, std::string_view text) {
  const FileSizeSignalBlock noSignal;
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace kxl
