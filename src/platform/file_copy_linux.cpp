#include "platform/file_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include "platform/file_system.h"
#include "platform/path.h"
#include "platform/regular_file.h"

namespace kxl {

namespace fs = std::filesystem;

namespace {

bool CopyData(int source, int destination) {
  std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t count = read(source, buffer.data(), buffer.size());
    if (count == 0) return true;
    if (count < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (!WriteAll(destination, {buffer.data(), static_cast<std::size_t>(count)})) return false;
  }
}

// Attributes that the destination's file system does not take, or that only root may set, stay
// behind: the data is what matters.
void CopyExtendedAttributes(int source, int destination) {
  const ssize_t namesSize = flistxattr(source, nullptr, 0);
  if (namesSize <= 0) return;
  std::vector<char> names(static_cast<std::size_t>(namesSize) + 1);
  const ssize_t listed = flistxattr(source, names.data(), names.size() - 1);
  for (const char* name = names.data(); name < names.data() + listed;
       name += std::char_traits<char>::length(name) + 1) {
    const ssize_t valueSize = fgetxattr(source, name, nullptr, 0);
    if (valueSize < 0) continue;
    std::vector<char> value(static_cast<std::size_t>(valueSize));
    const ssize_t read = fgetxattr(source, name, value.data(), value.size());
    if (read >= 0) fsetxattr(destination, name, value.data(), static_cast<std::size_t>(read), 0);
  }
}

bool CopyToDescriptor(int source, int destination) {
  struct stat info;
  if (fstat(source, &info) != 0 || !CopyData(source, destination)) return false;
  CopyExtendedAttributes(source, destination);
  SetOwner(destination, info.st_uid, info.st_gid);
  const timespec times[] = {info.st_atim, info.st_mtim};
  return fchmod(destination, info.st_mode & 07777) == 0 && futimens(destination, times) == 0 &&
         SyncData(destination);
}

bool FindFreeName(const std::string& prefix, std::string& name) {
  for (int number = 0; number <= 31; ++number) {
    name = prefix + "." + std::to_string(number);
    struct stat info;
    if (lstat(name.c_str(), &info) != 0) return errno == ENOENT;
  }
  return false;
}

bool ExchangeFoldersBySteps(const std::string& first, const std::string& second) {
  std::string temporary;
  if (!FindFreeName(JoinPath(ParentPath(first), "TempSwap"), temporary) ||
      !RenameToFreeName(first, temporary)) {
    return false;
  }
  if (!RenameToFreeName(second, first)) {
    RenameToFreeName(temporary, first);
    return false;
  }
  if (!RenameToFreeName(temporary, second)) {
    RenameToFreeName(first, second);
    RenameToFreeName(temporary, first);
    return false;
  }
  return true;
}

}  // namespace

bool RenameToFreeName(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A file system without the flag; who holds the lock that guards these names is alone.
  struct stat info;
  return lstat(to.c_str(), &info) != 0 && errno == ENOENT &&
         std::rename(from.c_str(), to.c_str()) == 0;
}

bool CopyFile(const std::string& source, const std::string& destination) {
  const OpenedFile from = OpenRegularFile(source, FileAccess::kRead, Links::kRefuse);
  if (from.status != OpenStatus::kOpened) return false;
  const FileDescriptor to(
      open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!to.valid()) return false;
  if (CopyToDescriptor(from.descriptor.get(), to.get())) return true;
  DeleteFile(destination);
  return false;
}

bool MoveFileTo(const std::string& source, const std::string& destination) {
  if (!PathExists(source) || !IsFolder(ParentPath(destination))) return false;
  return RenameToFreeName(source, destination) || CopyFile(source, destination);
}

int MoveObject(const std::string& source, const std::string& destinationFolder,
               std::string& result) {
  struct stat from;
  struct stat to;
  const std::string destination = JoinPath(destinationFolder, fs::path(source).filename().native());
  const bool acrossVolumes = stat(source.c_str(), &from) == 0 &&
                             stat(destinationFolder.c_str(), &to) == 0 && from.st_dev != to.st_dev;
  if (!acrossVolumes) {
    if (!RenameToFreeName(source, destination)) return errno;
    result = destination;
    return 0;
  }
  if (lstat(destination.c_str(), &to) == 0) return EEXIST;
  std::error_code error;
  fs::copy(source, destination, fs::copy_options::recursive | fs::copy_options::copy_symlinks,
           error);
  if (error) {
    const int status = error.value();
    fs::remove_all(destination, error);
    return status;
  }
  result = destination;
  fs::remove_all(source, error);
  return error.value();
}

bool FileExchange(const std::string& first, const std::string& second) {
  if (renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE) == 0) {
    return true;
  }
  const int error = errno;
  if (error == ENOENT) return RenameToFreeName(second, first) || RenameToFreeName(first, second);
  if (error != EINVAL && error != ENOSYS) return false;
  struct stat info;
  if (lstat(first.c_str(), &info) != 0) return RenameToFreeName(second, first);
  if (lstat(second.c_str(), &info) != 0) return RenameToFreeName(first, second);
  return ExchangeBySteps(first, second);
}

bool ExchangeBySteps(const std::string& first, const std::string& second) {
  if (IsFolder(first) || IsFolder(second)) return ExchangeFoldersBySteps(first, second);
  std::string temporary;
  if (!FindFreeName(first, temporary) || !CopyFile(first, temporary)) return false;
  const bool firstReplaced = DeleteFile(first) && CopyFile(second, first);
  if (firstReplaced && DeleteFile(second) && CopyFile(temporary, second)) {
    DeleteFile(temporary);
    return true;
  }
  // Undone by renaming, which needs no space on a disk that may just have become full.
  if (firstReplaced) std::rename(first.c_str(), second.c_str());
  std::rename(temporary.c_str(), first.c_str());
  return false;
}

}  // namespace kxl
