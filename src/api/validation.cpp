#include "api/validation.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "util/trace_log.h"

namespace kxl {

namespace {

bool IsContinuation(unsigned char byte) { return (byte & 0xC0U) == 0x80; }

bool IsCharacter(std::uint32_t codePoint) {
  const bool endOfPlane = (codePoint & 0xFFFEU) == 0xFFFE;
  const bool reserved = codePoint >= 0xFDD0 && codePoint <= 0xFDEF;
  return !endOfPlane && !reserved && codePoint <= 0x1FFFFF;
}

// The length of the sequence of three or four bytes at bytes; 0 when it is refused. A zero byte is
// no continuation, so nothing behind the end is read.
std::size_t LongSequence(const unsigned char* bytes) {
  const bool four = (*bytes & 0xF8U) == 0xF0;
  if (!four && (*bytes & 0xF0U) != 0xE0) return 0;
  const std::size_t length = four ? 4 : 3;
  std::uint32_t codePoint = *bytes & (four ? 0x07U : 0x0FU);
  for (std::size_t i = 1; i < length; ++i) {
    if (!IsContinuation(bytes[i])) return 0;
    codePoint = codePoint << 6U | (bytes[i] & 0x3FU);
  }
  const std::uint32_t smallest = four ? 0x10000 : 0x800;
  return codePoint >= smallest && IsCharacter(codePoint) ? length : 0;
}

std::size_t SequenceLength(const unsigned char* bytes) {
  if (*bytes < 0x80) return 1;
  if ((*bytes & 0xE0U) != 0xC0) return LongSequence(bytes);
  const bool overLong = (*bytes & 0x1EU) == 0;
  return !overLong && IsContinuation(bytes[1]) ? 2 : 0;
}

}  // namespace

bool IsLongerThan(const char* text, std::size_t maximum) {
  return strnlen(text, maximum + 1) > maximum;
}

bool IsValidAppId(const char* text) {
  if (IsLongerThan(text, kMaximumAppId)) {
    LogMessage(kLogNormal, Flush::kYes,
               "App ID must be less than 256 characters. Will reject processing request.");
    return false;
  }
  const char* const end = text + std::strlen(text);
  if (std::any_of(text, end, [](char byte) { return (byte & 0x80) != 0; })) {
    LogMessage(kLogNormal, Flush::kYes,
               "App ID must only contain ANSI character values 0-127. Will reject processing "
               "request.");
    return false;
  }
  return true;
}

bool IsValidFolderLength(const char* text) {
  if (!IsNullOrEmpty(text) && !IsLongerThan(text, kMaximumFolderPath)) return true;
  LogMessage(kLogNormal, Flush::kYes,
             "Specified app directory is more than or equal to 255 chars. Will reject processing "
             "request.");
  return false;
}

bool IsValidApplication(const char* appIdentifier, const char* appDisplayName,
                        const char* appFolderPath) {
  return !IsNullOrEmpty(appIdentifier) && !IsNullOrEmpty(appDisplayName) &&
         !IsLongerThan(appDisplayName, kMaximumDisplayName) && IsValidAppId(appIdentifier) &&
         IsValidUtf8(appFolderPath) && IsValidUtf8(appDisplayName) &&
         IsValidFolderLength(appFolderPath);
}

bool IsValidUtf8(const char* text) {
  if (text == nullptr) return true;
  const auto* bytes = reinterpret_cast<const unsigned char*>(text);
  while (*bytes != 0) {
    const std::size_t length = SequenceLength(bytes);
    if (length == 0) return false;
    bytes += length;
  }
  return true;
}

}  // namespace kxl
