#include "stores/suppress_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>

#include "esd/streams.h"
#include "platform/failure_report.h"
#include "platform/file_system.h"
#include "platform/regular_file.h"
#include "stores/record_list.h"
#include "util/utc_time.h"

namespace kxl {

namespace {

constexpr std::uint32_t kLockWait = 3000;  // milliseconds
constexpr std::size_t kLongestLine = 279;  // bytes; a longer one is read as several
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

std::string Line(const Hold& hold) { return hold.appId + '\t' + FormatUtc(hold.end, ' ') + "\r\n"; }

bool Empty(const std::string& path) {
  return ESDofstream(path, FileAccess::kReplace, Links::kRefuse).IsOpen();
}

}  // namespace

SuppressFile::SuppressFile(const std::string& path) : path_(path), lock_(path, kLockWait) {}

bool SuppressFile::Lock() { return lock_.Lock(); }

bool SuppressFile::Read(std::time_t now) {
  if (now < kFirstUtc || now > kLastUtc - std::time_t{kLongestHold}) return false;
  std::string text;
  const OpenStatus status = ReadRegularFile(path_, text);
  if (!DoneOrReport(status == OpenStatus::kOpened || status == OpenStatus::kMissing, path_)) {
    return false;
  }
  for (std::string_view rest = text; !rest.empty();) {
    // Looked for in one piece only: to the end of the file for each would take minutes.
    const std::string_view piece = rest.substr(0, kLongestLine);
    const std::string_view line = piece.substr(0, std::min(piece.find('\n'), piece.size() - 1) + 1);
    rest.remove_prefix(line.size());
    ReadLine(line.substr(0, line.find('\0')));
  }
  Sweep(now);
  return true;
}

void SuppressFile::ReadLine(std::string_view line) {
  line = line.substr(0, line.find_last_not_of(kWhiteSpace) + 1);
  const std::size_t tab = line.find('\t');
  if (tab == 0 || tab == std::string_view::npos) {
    isChanged_ = true;
    return;
  }
  holds_.push_back({std::string(line.substr(0, tab)), ParseUtc(line.substr(tab + 1))});
}

void SuppressFile::Sweep(std::time_t now) {
  // Whatever a program has written, or the clock has done since, no notice is held back for days.
  if (std::erase_if(holds_, [now](const Hold& hold) { return hold.end <= now; }) > 0) {
    isChanged_ = true;
  }
  for (Hold& hold : holds_) {
    if (hold.end - now <= kLongestHold) continue;
    hold.end = now + kLongestHold;
    isChanged_ = true;
  }
}

const Hold* SuppressFile::Find(std::string_view appId) const {
  const auto found = std::find_if(holds_.begin(), holds_.end(),
                                  [&](const Hold& hold) { return hold.appId == appId; });
  return found == holds_.end() ? nullptr : &*found;
}

// max_element answers the first of several, as the order of the file has it.
const Hold* SuppressFile::Longest() const {
  const auto longest =
      std::max_element(holds_.begin(), holds_.end(),
                       [](const Hold& one, const Hold& other) { return one.end < other.end; });
  return longest == holds_.end() ? nullptr : &*longest;
}

void SuppressFile::Clear(std::string_view appId) {
  const Hold* hold = Find(appId);
  if (hold == nullptr) return;
  holds_.erase(holds_.begin() + std::distance<const Hold*>(holds_.data(), hold));
  isChanged_ = true;
  isCleared_ = true;
}

void SuppressFile::Add(const std::string& appId, std::time_t end) {
  holds_.push_back({appId, end});
  isChanged_ = true;
}

bool SuppressFile::WriteBack() {
  if (!isChanged_) return true;
  mode_t mode = 0;
  const bool exists = GetMode(path_, mode);
  const bool isProtected = exists && (mode & 0200) == 0;  // on purpose
  if (holds_.empty()) {
    return DoneOrReport(
        RemoveFileSystemObject(path_) || !isCleared_ || (!isProtected && Empty(path_)), path_);
  }
  if (isProtected) {
    ReportFailure(path_, EACCES);
    return false;
  }
  // Whole before there is a companion, which an exception would leave behind.
  std::string text;
  for (const Hold& hold : holds_) text += Line(hold);
  const std::string companion = path_ + "_";
  DeleteFile(companion);  // of a process that died; it may deny even its owner
  ESDofstream file(companion, FileAccess::kReplace, Links::kRefuse);
  const bool isWritten =
      file.IsOpen() && (!exists || file.SetMode(mode)) && file.Write(text) && file.Sync();
  const bool isComplete = file.Close() && isWritten;
  if (!isComplete) ReportFailure(companion, file.Error());
  if (isComplete && DoneOrReport(std::rename(companion.c_str(), path_.c_str()) == 0, path_)) {
    return true;
  }
  DeleteFile(companion);  // also one that was made, but could not be taken into use
  return false;
}

}  // namespace kxl
