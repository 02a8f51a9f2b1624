#include "platform/file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include "platform/path.h"

namespace kxl {

namespace fs = std::filesystem;

namespace {

constexpr mode_t kModeBits = 07777;

// chmod that does not follow a link, which another user could lay between a test and the change.
bool SetMode(const std::string& path, mode_t mode) {
  return fchmodat(AT_FDCWD, path.c_str(), mode, AT_SYMLINK_NOFOLLOW) == 0;
}

bool CreateFolder(const std::string& path, bool& created) {
  struct stat parent;
  if (stat(ParentPath(path).c_str(), &parent) != 0) return false;
  created = mkdir(path.c_str(), parent.st_mode & kModeBits) == 0;
  if (!created) return errno == EEXIST && IsFolder(path);
  if (fchownat(AT_FDCWD, path.c_str(), parent.st_uid, parent.st_gid, AT_SYMLINK_NOFOLLOW) != 0 &&
      errno != EPERM) {
    return false;
  }
  return SetMode(path, parent.st_mode & kModeBits);
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
  mode_t mode;
  return GetMode(path, mode) && SetMode(path, mode | bits);
}

bool SetSharedMode(const std::string& path) {
  return SetMode(path, IsFolder(path) ? kSharedFolderMode : kSharedFileMode);
}

bool CreateFolderTree(const std::string& path, bool* created) {
  std::vector<std::string> missing;
  for (std::string folder = path; !IsFolder(folder); folder = ParentPath(folder)) {
    missing.push_back(folder);
    if (ParentPath(folder) == folder) return false;
  }
  bool madeLast = false;
  while (!missing.empty()) {
    if (!CreateFolder(missing.back(), madeLast)) return false;
    missing.pop_back();
  }
  if (created != nullptr) *created = madeLast;
  return true;
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
  if ((isOwner || isInGroup) && !mayWrite) return false;
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

int DeleteFolderContents(const std::string& path) {
  std::error_code error;
  fs::directory_iterator entry(path, error);
  while (!error && entry != fs::directory_iterator()) {
    fs::remove_all(entry->path(), error);
    if (!error) entry.increment(error);
  }
  return error.value();
}

}  // namespace kxl
