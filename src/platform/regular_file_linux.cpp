#include "platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace kxl {

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  FileDescriptor previous(std::exchange(fd_, other.Release()));
  return *this;
}

FileDescriptor::~FileDescriptor() {
  if (fd_ >= 0) close(fd_);
}

int FileDescriptor::Release() { return std::exchange(fd_, -1); }

namespace {

int OpenFlags(FileAccess access) {
  switch (access) {
    case FileAccess::kRead:
      return O_RDONLY;
    case FileAccess::kReplace:
      return O_WRONLY | O_CREAT | O_TRUNC;
    case FileAccess::kAppend:
      return O_WRONLY | O_CREAT | O_APPEND;
  }
  return O_RDONLY;
}

OpenStatus StatusOf(int error) {
  switch (error) {
    case ENOENT:
      return OpenStatus::kMissing;
    case ELOOP:  // a link
    case ENXIO:  // a socket, a FIFO without a reader, a device without a driver
    case ENODEV:
      return OpenStatus::kNotRegular;
    default:
      return OpenStatus::kUnavailable;
  }
}

}  // namespace

OpenedFile OpenRegularFile(const std::string& path, FileAccess access) {
  OpenedFile file;
  FileDescriptor fd(
      open(path.c_str(), OpenFlags(access) | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0666));
  if (!fd.valid()) {
    file.status = StatusOf(errno);
    return file;
  }
  if (fd.get() <= STDERR_FILENO) {
    fd = FileDescriptor(fcntl(fd.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }
  struct stat info;
  if (!fd.valid() || fstat(fd.get(), &info) != 0 || S_ISDIR(info.st_mode)) return file;
  if (!S_ISREG(info.st_mode)) {
    file.status = OpenStatus::kNotRegular;
    return file;
  }
  file.status = OpenStatus::kOpened;
  file.size = static_cast<std::uint64_t>(info.st_size);
  file.descriptor = std::move(fd);
  return file;
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

}  // namespace kxl
