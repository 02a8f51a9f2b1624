#include "kxl/writing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/file_system.h"
#include "platform/path.h"
#include "platform/regular_file.h"

namespace tool {

namespace {

// For file systems without files that have no name. The name is made for this file alone, and is
// gone before anything is written.
kxl::FileDescriptor OpenWithName(const std::string& folder) {
  std::string name = kxl::JoinPath(folder, ".kxl-XXXXXX");
  kxl::FileDescriptor file(mkostemp(name.data(), O_CLOEXEC));
  if (file.valid()) unlink(name.c_str());
  return file;
}

}  // namespace

int TryWriting(const std::string& folder) {
  constexpr std::size_t kSize = 64UL * 1024;  // more than what is written at once, as a rule
  constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;
  kxl::FileDescriptor file = kxl::OpenAt(AT_FDCWD, folder, O_TMPFILE | O_WRONLY, kPrivate);
  if (!file.valid() && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
    file = OpenWithName(folder);
  }
  if (!file.valid()) return errno;
  return kxl::WriteAll(file.get(), std::string(kSize, 'x')) ? 0 : errno;
}

bool MayAppend(const std::string& path) {
  struct stat info;
  if (stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
    errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;  // opening a device may do something
    return false;
  }
  if (kxl::OpenAt(AT_FDCWD, path, O_WRONLY | O_APPEND).valid()) return true;
  return errno == ENOENT &&
         faccessat(AT_FDCWD, kxl::ParentPath(path).c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

}  // namespace tool
