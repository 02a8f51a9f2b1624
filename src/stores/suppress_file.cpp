#include "stores/suppress_file.h"

#include <algorithm>
#include <array>
#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <stdexcept>

#include "esd/streams.h"
#include "platform/file_system.h"
#include "platform/regular_file.h"

namespace kxl {

namespace {

constexpr std::uint32_t kLockWait = 3000;  // milliseconds
constexpr std::size_t kLongestLine = 279;  // bytes; a longer one is read as several
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// Takes a number of at most digits digits, and the separator behind it, off the text.
int TakeNumber(std::string_view& text, std::size_t digits, std::string_view separator) {
  int number = 0;
  const std::string_view field = text.substr(0, text.find_first_not_of("0123456789"));
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
  text.remove_prefix(field.size());
  if (error != std::errc() || field.size() > digits || !text.starts_with(separator)) {
    throw std::runtime_error("Unable to parse time");
  }
  text.remove_prefix(separator.size());
  return number;
}

std::string Line(const Hold& hold) {
  std::tm utc;
  gmtime_r(&hold.end, &utc);
  std::array<char, 32> time;
  const std::size_t size = std::strftime(time.data(), time.size(), "\t%Y-%m-%d %H:%M:%S\r\n", &utc);
  return hold.appId + std::string(time.data(), size);
}

bool Empty(const std::string& path) {
  return ESDofstream(path, "wb", std::ios::out | std::ios::trunc, Links::kRefuse).IsOpen();
}

}  // namespace

std::time_t ParseTime(std::string_view text) {
  using boost::gregorian::date;
  const std::size_t yearEnd = text.find('-');
  if (yearEnd != 4) throw std::runtime_error("Unable to parse time");
  const int year = TakeNumber(text, 4, "-");
  const int month = TakeNumber(text, 2, "-");
  const int day = TakeNumber(text, 2, " ");
  const int hour = TakeNumber(text, 2, ":");
  const int minute = TakeNumber(text, 2, ":");
  const int second = TakeNumber(text, 2, "");
  if (!text.empty() || hour > 23 || minute > 59 || second > 59) {
    throw std::runtime_error("Unable to parse time");
  }
  const date day0(1970, 1, 1);
  const date theDay(static_cast<unsigned short>(year), static_cast<unsigned short>(month),
                    static_cast<unsigned short>(day));  // throws for a day that does not exist
  return (theDay - day0).days() * 86400L + hour * 3600L + minute * 60L + second;
}

SuppressFile::SuppressFile(const std::string& path) : path_(path), lock_(path, kLockWait) {}

bool SuppressFile::Lock() { return lock_.Lock(); }

bool SuppressFile::Read(std::time_t now) {
  std::string text;
  const OpenStatus status = ReadRegularFile(path_, text);
  if (status != OpenStatus::kOpened && status != OpenStatus::kMissing) return false;
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t lineEnd = std::min(rest.find('\n'), rest.size() - 1);
    const std::string_view line = rest.substr(0, std::min(lineEnd + 1, kLongestLine));
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
  holds_.push_back({std::string(line.substr(0, tab)), ParseTime(line.substr(tab + 1))});
}

void SuppressFile::Sweep(std::time_t now) {
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
    return RemoveFileSystemObject(path_) || !isCleared_ || (!isProtected && Empty(path_));
  }
  if (isProtected) return false;
  const std::string companion = path_ + "_";
  DeleteFile(companion);  // of a process that died; it may deny even its owner
  ESDofstream file(companion, "wb", std::ios::out | std::ios::trunc | std::ios::binary,
                   Links::kRefuse);
  if (file.IsOpen()) {
    const bool hasMode = !exists || file.SetMode(mode);
    for (const Hold& hold : holds_) file.Stream() << Line(hold);
    const bool written = hasMode && file.Sync();
    if (file.Close() && written && std::rename(companion.c_str(), path_.c_str()) == 0) return true;
  }
  // Also one that was made, but could not be taken into use.
  DeleteFile(companion);
  return false;
}

}  // namespace kxl
