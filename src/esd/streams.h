// Files that are written as a whole or at their end. See platform/regular_file.h for what is
// opened.
#ifndef KXL_ESD_STREAMS_H
#define KXL_ESD_STREAMS_H

#include <sys/types.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "platform/regular_file.h"

namespace kxl {

// An open file. A missing one is made. No standard stream: each of those takes a lock of the C++
// library's for its locale, which a child forked while another thread of the host held it would
// wait for in vain, with our lock on the file in its hands. For one thread at a time.
class ESDofstream {
 public:
  // access is kReplace or kAppend.
  ESDofstream(const std::string& path, FileAccess access, Links links = Links::kFollow)
      : file_(OpenRegularFile(path, access, links)), error_(IsOpen() ? 0 : errno) {}
  ESDofstream(const ESDofstream&) = delete;
  ESDofstream& operator=(const ESDofstream&) = delete;

  bool IsOpen() const { return file_.descriptor.valid(); }

  // Writes at once, in one call of the system where that takes all of it. False when that fails.
  bool Write(std::string_view text);

  // Adds permission bits to the open file's mode, or sets the whole mode.
  bool AddModeBits(mode_t bits);
  bool SetMode(mode_t mode);

  // Whether the file has lost its last name.
  bool IsUnlinked() const;

  // Waits until the data is on the disk; false when that fails, or anything before has.
  bool Sync();
  // Closes; false when that fails, or anything since the opening has.
  bool Close();

  // The errno of the first failure, the opening's included; 0 for none.
  int Error() const { return error_; }

 private:
  bool Note(bool isDone);

  OpenedFile file_;
  int error_;
  bool hasFailed_ = false;
};

}  // namespace kxl

#endif  // KXL_ESD_STREAMS_H
