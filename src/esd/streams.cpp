#include "esd/streams.h"

namespace kxl {

bool ESDofstream::Note(bool isDone) {
  if (!isDone && error_ == 0) error_ = errno;
  return isDone;
}

bool ESDofstream::Write(std::string_view text) {
  const bool isWritten = IsOpen() && Note(WriteAll(file_.descriptor.get(), text));
  if (!isWritten) hasFailed_ = true;
  return isWritten;
}

bool ESDofstream::AddModeBits(mode_t bits) {
  return IsOpen() && Note(kxl::AddModeBits(file_.descriptor.get(), bits));
}

bool ESDofstream::SetMode(mode_t mode) {
  return IsOpen() && Note(kxl::SetMode(file_.descriptor.get(), mode));
}

bool ESDofstream::IsUnlinked() const { return IsOpen() && kxl::IsUnlinked(file_.descriptor.get()); }

bool ESDofstream::Sync() {
  return IsOpen() && !hasFailed_ && Note(SyncData(file_.descriptor.get()));
}

bool ESDofstream::Close() { return IsOpen() && Note(file_.descriptor.Close()) && !hasFailed_; }

}  // namespace kxl
