#include "platform/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/failure_report.h"
#include "platform/path.h"
#include "platform/regular_file.h"

namespace kxl {

namespace fs = std::filesystem;

namespace {

constexpr mode_t kModeBits = 07777;

// A descriptor for changing the object's mode. None for a link and for what must not be opened
// (a device, a FIFO whose writer waits), and where the caller has no right to read.
FileDescriptor OpenToChange(int folder, const std::string& path) {
  struct stat info;
  if (fstatat(folder, path.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 ||
      !(S_ISREG(info.st_mode) || S_ISDIR(info.st_mode))) {
    return {};
  }
  return OpenAt(folder, path, O_RDONLY | O_NOFOLLOW);
}

// chmod that does not follow a link, which another user could lay between a test and the change.
// The C library does it by way of /proc, which a chroot may lack; a descriptor needs none.
bool SetModeAt(int folder, const std::string& path, mode_t mode) {
  const FileDescriptor object = OpenToChange(folder, path);
  if (object.valid()) return SetMode(object.get(), mode);
  return fchmodat(folder, path.c_str(), mode, AT_SYMLINK_NOFOLLOW) == 0;
}

// What a folder that is made gets.
enum class FolderRights { kAsParent, kPrivate };

bool CreateFolder(const std::string& path, FolderRights rights, bool& created) {
  const FileDescriptor parent = OpenAt(AT_FDCWD, ParentPath(path), O_PATH | O_DIRECTORY);
  // A separator behind the name would let a link be followed.
  const std::string name =
      fs::path(path.substr(0, path.find_last_not_of('/') + 1)).filename().native();
  struct stat info;
  if (!parent.valid() || fstat(parent.get(), &info) != 0) return false;
  // Until the folder has its owner and group nobody else writes into it, though others may look:
  // what is not there yet is missing, not out of reach.
  const bool isPrivate = rights == FolderRights::kPrivate;
  const mode_t mode = isPrivate ? S_IRWXU : info.st_mode & kModeBits;
  created = mkdirat(parent.get(), name.c_str(), S_IRWXU | (mode & 0755)) == 0;
  if (!created) return errno == EEXIST && IsFolder(path);
  FileDescriptor folder = OpenAt(parent.get(), name, O_DIRECTORY | O_NOFOLLOW);
  if (!folder.valid() && SetModeAt(parent.get(), name, S_IRWXU)) {  // the umask took them away
    folder = OpenAt(parent.get(), name, O_DIRECTORY | O_NOFOLLOW);
  }
  if (!folder.valid()) return false;
  if (!isPrivate) SetOwner(folder.get(), info.st_uid, info.st_gid);
  return SetMode(folder.get(), mode);
}

bool CreateMissingFolders(const std::string& path, FolderRights rights, bool& created) {
  std::vector<std::string> missing;
  for (std::string folder = path; !IsFolder(folder); folder = ParentPath(folder)) {
    missing.push_back(folder);
    if (ParentPath(folder) == folder) return false;
  }
  created = false;
  for (; !missing.empty(); missing.pop_back()) {
    if (!DoneOrReport(CreateFolder(missing.back(), rights, created), missing.back())) return false;
  }
  return true;
}

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};

// The standard library's walk ends the process where memory runs out.
int DeleteContents(int parent, const char* path) {
  FileDescriptor folder = OpenAt(parent, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (!folder.valid()) return errno;
  const std::unique_ptr<DIR, DirectoryCloser> entries(fdopendir(folder.get()));
  if (!entries) return errno;
  const int at = folder.Release();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(entries.get());
    if (entry == nullptr) return errno;
    const std::string_view name = entry->d_name;
    if (name == "." || name == ".." || unlinkat(at, entry->d_name, 0) == 0 || errno == ENOENT) {
      continue;
    }
    if (errno != EISDIR) return errno;
    const int status = DeleteContents(at, entry->d_name);
    if (status != 0 && status != ENOENT) return status;
    if (unlinkat(at, entry->d_name, AT_REMOVEDIR) != 0 && errno != ENOENT) return errno;
  }
}

}  // namespace

bool PathExists(const std::string& path) {
  return faccessat(AT_FDCWD, path.c_str(), F_OK, AT_EACCESS) == 0;
}

bool IsFolder(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool IsLink(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode);
}

bool IsEmptyFile(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size == 0;
}

bool GetMode(const std::string& path, mode_t& mode) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return false;
  mode = info.st_mode & kModeBits;
  return true;
}

bool GetModificationStamp(const std::string& path, ModificationStamp& stamp) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return false;
  stamp.seconds = static_cast<std::uint32_t>(info.st_mtim.tv_sec);
  stamp.nanoseconds = static_cast<std::uint32_t>(info.st_mtim.tv_nsec);
  return true;
}

bool AddModeBits(const std::string& path, mode_t bits) {
  const FileDescriptor object = OpenToChange(AT_FDCWD, path);
  if (object.valid()) return AddModeBits(object.get(), bits);
  mode_t mode;
  return GetMode(path, mode) && SetModeAt(AT_FDCWD, path, mode | bits);
}

bool SetSharedMode(const std::string& path) {
  return SetModeAt(AT_FDCWD, path, IsFolder(path) ? kSharedFolderMode : kSharedFileMode);
}

bool CreateFolderTree(const std::string& path, bool* created) {
  bool madeLast = false;
  if (!CreateMissingFolders(path, FolderRights::kAsParent, madeLast)) return false;
  if (created != nullptr) *created = madeLast;
  return true;
}

bool CreatePrivateFolderTree(const std::string& path) {
  bool madeLast = false;
  return CreateMissingFolders(path, FolderRights::kPrivate, madeLast);
}

bool IsInTemporaryFolder(const std::string& path) {
  constexpr mode_t kOpenToAll = S_ISVTX | S_IWOTH;
  mode_t mode;
  return GetMode(ParentPath(path), mode) && (mode & kOpenToAll) == kOpenToAll;
}

bool DeleteFile(const std::string& path) {
  return unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
}

bool RemoveFileSystemObject(const std::string& path) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0) return errno == ENOENT || errno == ENOTDIR;
  if (S_ISDIR(info.st_mode)) return DeleteFolder(path, Contents::kDelete);
  // Each test stands on its own: what the owner may not do, his group still may.
  const bool isOwner = geteuid() == info.st_uid;
  const bool isInGroup = getegid() == info.st_gid || group_member(info.st_gid) != 0;
  const bool mayWrite = (isOwner && (info.st_mode & S_IWUSR) != 0) ||
                        (isInGroup && (info.st_mode & S_IWGRP) != 0) ||
                        (info.st_mode & S_IWOTH) != 0;
  if ((isOwner || isInGroup) && !mayWrite) {
    errno = EACCES;
    return false;
  }
  return std::remove(path.c_str()) == 0;
}

bool DeleteFolder(const std::string& path, Contents contents) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return false;
  if (contents == Contents::kDelete) {
    const int status = DeleteFolderContents(path);
    if (status != 0 && status != ENOENT) return false;
  }
  return rmdir(path.c_str()) == 0 || errno == ENOENT;
}

int DeleteFolderContents(const std::string& path) { return DeleteContents(AT_FDCWD, path.c_str()); }

}  // namespace kxl
