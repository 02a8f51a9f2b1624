#include "esd/streams.h"

#include <ext/stdio_filebuf.h>

#include <algorithm>
#include <cstdio>

namespace kxl {

namespace {

using FileBuffer = __gnu_cxx::stdio_filebuf<char>;

std::unique_ptr<FileBuffer> MakeBuffer(OpenedFile& file, std::ios::openmode openMode,
                                       std::size_t size = BUFSIZ) {
  auto buffer =
      std::make_unique<FileBuffer>(file.descriptor.get(), openMode | std::ios::binary, size);
  if (!buffer->is_open()) return nullptr;
  file.descriptor.Release();
  return buffer;
}

}  // namespace

ESDifstream::ESDifstream(const std::string& path, const char* /*mode*/, std::ios::openmode openMode,
                         Links links) {
  OpenedFile file = OpenRegularFile(path, FileAccess::kRead, links);
  status_ = file.status;
  size_ = file.size;
  if (!IsOpen()) return;
  // A small file is read at once; the buffer holds one byte less than it is large.
  constexpr std::uint64_t kMostBuffered = 64UL * 1024;
  const std::size_t bufferSize = std::clamp<std::uint64_t>(file.size + 1, BUFSIZ, kMostBuffered);
  buffer_ = MakeBuffer(file, (openMode & ~std::ios::ate) | std::ios::in, bufferSize);
  if (buffer_ == nullptr) {
    status_ = OpenStatus::kUnavailable;
    return;
  }
  stream_ = std::make_unique<std::istream>(buffer_.get());
}

ESDifstream::~ESDifstream() = default;

void ESDifstream::Close() {
  stream_.reset();
  buffer_.reset();
  status_ = OpenStatus::kUnavailable;
}

ESDofstream::ESDofstream(const std::string& path, const char* /*mode*/, std::ios::openmode openMode,
                         Links links) {
  const bool append = (openMode & std::ios::app) != 0;
  OpenedFile file =
      OpenRegularFile(path, append ? FileAccess::kAppend : FileAccess::kReplace, links);
  if (file.status != OpenStatus::kOpened) return;
  descriptor_ = file.descriptor.get();
  buffer_ = MakeBuffer(file, openMode | std::ios::out);
  if (buffer_ != nullptr) stream_ = std::make_unique<std::ostream>(buffer_.get());
}

ESDofstream::~ESDofstream() = default;

bool ESDofstream::AddModeBits(mode_t bits) {
  return IsOpen() && kxl::AddModeBits(descriptor_, bits);
}

bool ESDofstream::SetMode(mode_t mode) { return IsOpen() && kxl::SetMode(descriptor_, mode); }

bool ESDofstream::IsUnlinked() const { return IsOpen() && kxl::IsUnlinked(descriptor_); }

bool ESDofstream::Sync() { return IsOpen() && stream_->flush().good() && SyncData(descriptor_); }

bool ESDofstream::Close() {
  if (!IsOpen()) return false;
  const bool written = stream_->flush().good();
  stream_.reset();
  const bool closed = static_cast<FileBuffer&>(*buffer_).close() != nullptr;
  buffer_.reset();
  return written && closed;
}

}  // namespace kxl
