// File streams that open regular files only and never wait or leak descriptors to the host's
// children. See platform/regular_file.h.
#ifndef KXL_ESD_STREAMS_H
#define KXL_ESD_STREAMS_H

#include <sys/types.h>

#include <cstdint>
#include <ios>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "platform/regular_file.h"

namespace kxl {

// A standard input stream on a file. mode is the open mode as fopen would have it ("rb"), for
// whoever reads the call; openMode alone counts.
class ESDifstream {
 public:
  ESDifstream(const std::string& path, const char* mode, std::ios::openmode openMode,
              Links links = Links::kFollow);
  ~ESDifstream();
  ESDifstream(const ESDifstream&) = delete;
  ESDifstream& operator=(const ESDifstream&) = delete;

  bool IsOpen() const { return status_ == OpenStatus::kOpened; }
  OpenStatus Status() const { return status_; }
  std::uint64_t Size() const { return size_; }  // bytes, when it was opened
  // Bad after an error of the device, as against the end of the file.
  std::istream& Stream() { return *stream_; }
  void Close();

 private:
  OpenStatus status_;
  std::uint64_t size_;
  std::unique_ptr<std::streambuf> buffer_;
  std::unique_ptr<std::istream> stream_;
};

// A standard output stream on a file: openMode truncates (std::ios::trunc) or appends
// (std::ios::app). A missing file is made.
class ESDofstream {
 public:
  ESDofstream(const std::string& path, const char* mode, std::ios::openmode openMode,
              Links links = Links::kFollow);
  ~ESDofstream();  // closes; use Close to learn whether everything was written
  ESDofstream(const ESDofstream&) = delete;
  ESDofstream& operator=(const ESDofstream&) = delete;

  bool IsOpen() const { return stream_ != nullptr; }
  std::ostream& Stream() { return *stream_; }

  // Adds permission bits to the open file's mode, or sets the whole mode.
  bool AddModeBits(mode_t bits);
  bool SetMode(mode_t mode);

  // Whether the file has lost its last name.
  bool IsUnlinked() const;

  // Writes what is buffered and waits until the data is on the disk; false when any of it, or of
  // what was written before, failed.
  bool Sync();
  // Writes what is buffered and closes; false when anything since the opening failed.
  bool Close();

 private:
  int descriptor_ = -1;  // owned by buffer_
  std::unique_ptr<std::streambuf> buffer_;
  std::unique_ptr<std::ostream> stream_;
};

}  // namespace kxl

#endif  // KXL_ESD_STREAMS_H
