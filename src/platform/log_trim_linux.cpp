#include "platform/log_trim.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "platform/file_system.h"
#include "platform/path.h"
#include "platform/regular_file.h"

namespace kxl {

namespace fs = std::filesystem;

namespace {

// Whoever else may write the folder can put anything in the way between two steps, so names count
// from its descriptor on.
class LogTrimmer {
 public:
  explicit LogTrimmer(const fs::path& path)
      : name_(path.filename().native()),
        companion_(name_ + "_"),
        folder_(OpenAt(AT_FDCWD, path.parent_path().native(), O_PATH | O_DIRECTORY)),
        // Over NFS only a descriptor for writing can be locked.
        log_(OpenAt(folder_.get(), name_, O_RDWR | O_NOFOLLOW)) {}

  void Trim(std::uint64_t above, std::uint64_t kept);

 private:
  bool IsStillNamed() const;
  bool RemoveStaleCompanion() const;
  FileDescriptor MakeCompanion(bool isLocked) const;
  bool Append(int to, std::uint64_t most);

  std::string name_;
  std::string companion_;
  FileDescriptor folder_;
  FileDescriptor log_;
  struct stat info_ = {};  // the log's, when it was opened
  off_t position_ = 0;     // how far it has been copied
};

bool LogTrimmer::IsStillNamed() const {
  struct stat named;
  return fstatat(folder_.get(), name_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         named.st_dev == info_.st_dev && named.st_ino == info_.st_ino;
}

// A companion has the log's rights before it has any content, so whoever may write the log may open
// what a killed process left. Anything else is somebody else's.
bool LogTrimmer::RemoveStaleCompanion() const {
  const FileDescriptor stale = OpenAt(folder_.get(), companion_, O_WRONLY | O_NOFOLLOW);
  struct stat info;
  return stale.valid() && fstat(stale.get(), &info) == 0 && S_ISREG(info.st_mode) &&
         unlinkat(folder_.get(), companion_.c_str(), 0) == 0;
}

// Of the processes that hold no lock only the one that makes the name goes on.
FileDescriptor LogTrimmer::MakeCompanion(bool isLocked) const {
  constexpr int kNew = O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW;
  constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;
  FileDescriptor companion = OpenAt(folder_.get(), companion_, kNew, kPrivate);
  if (!companion.valid() && errno == EEXIST && isLocked && RemoveStaleCompanion()) {
    companion = OpenAt(folder_.get(), companion_, kNew, kPrivate);
  }
  return companion;
}

// Copies what the log has beyond position_ just now. False when that is more than `most` bytes or
// cannot be copied.
bool LogTrimmer::Append(int to, std::uint64_t most) {
  std::array<char, 4096> piece;
  struct stat now;
  if (fstat(log_.get(), &now) != 0) return false;
  if (now.st_size > position_ && static_cast<std::uint64_t>(now.st_size - position_) > most) {
    return false;
  }
  while (position_ < now.st_size) {
    const auto wanted = std::min<off_t>(now.st_size - position_, piece.size());
    const ssize_t count =
        pread(log_.get(), piece.data(), static_cast<std::size_t>(wanted), position_);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) break;  // somebody has emptied it
    if (!WriteAll(to, {piece.data(), static_cast<std::size_t>(count)})) return false;
    position_ += count;
  }
  return true;
}

void LogTrimmer::Trim(std::uint64_t above, std::uint64_t kept) {
  if (!log_.valid() || fstat(log_.get(), &info_) != 0 || !S_ISREG(info_.st_mode) ||
      static_cast<std::uint64_t>(info_.st_size) <= above) {
    return;
  }
  const bool isLocked = flock(log_.get(), LOCK_EX | LOCK_NB) == 0;
  if (!isLocked && errno == EWOULDBLOCK) return;  // another process cuts it
  if (!IsStillNamed()) return;                    // or has cut it
  position_ = info_.st_size - static_cast<off_t>(kept);
  const FileDescriptor companion = MakeCompanion(isLocked);
  if (!companion.valid()) return;
  const int to = companion.get();
  const bool isWhole = IsStillNamed() && SetOwner(to, info_.st_uid, info_.st_gid) &&
                       SetMode(to, info_.st_mode & 07777) && Append(to, above);
  // Others write on: a second look takes what has come while the first one copied.
  if (isWhole && Append(to, above) &&
      renameat(folder_.get(), companion_.c_str(), folder_.get(), name_.c_str()) == 0) {
    Append(to, above);  // what came between that look and the exchange
  } else {
    unlinkat(folder_.get(), companion_.c_str(), 0);
  }
}

}  // namespace

void TrimLog(const std::string& path, std::uint64_t above, std::uint64_t kept) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0 || static_cast<std::uint64_t>(info.st_size) <= above ||
      IsInTemporaryFolder(path)) {
    return;
  }
  std::error_code error;
  const fs::path target = fs::canonical(path, error);
  if (error || IsInTemporaryFolder(target)) return;
  LogTrimmer(target).Trim(above, kept);
}

}  // namespace kxl
