#include "esd/streams.h"

namespace kxl {

bool ESDofstream::Write(std::string_view text) {
  const bool isWritten = IsOpen() && WriteAll(file_.descriptor.get(), text);
  if (!isWritten) hasFailed_ = true;
  return isWritten;
}

bool ESDofstream::AddModeBits(mode_t bits) {
  return IsOpen() && kxl::AddModeBits(file_.descriptor.get(), bits);
}

bool ESDofstream::SetMode(mode_t mode) {
  return IsOpen() && kxl::SetMode(file_.descriptor.get(), mode);
}

bool ESDofstream::IsUnlinked() const { return IsOpen() && kxl::IsUnlinked(file_.descriptor.get()); }

bool ESDofstream::Sync() { return IsOpen() && !hasFailed_ && SyncData(file_.descriptor.get()); }

bool ESDofstream::Close() { return IsOpen() && file_.descriptor.Close() && !hasFailed_; }

}  // namespace kxl
