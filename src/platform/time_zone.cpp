#include "platform/time_zone.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace kxl {

namespace {

namespace chrono = std::chrono;
using chrono::seconds;
using chrono::sys_seconds;

constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";

// Each of these takes what it names off the beginning of a rule; false when that begins otherwise.

bool Take(std::string_view& rule, char wanted) {
  if (!rule.starts_with(wanted)) return false;
  rule.remove_prefix(1);
  return true;
}

bool TakeNumber(std::string_view& rule, unsigned least, unsigned most, unsigned& number) {
  const auto [end, error] = std::from_chars(rule.data(), rule.data() + rule.size(), number);
  if (error != std::errc() || number < least || number > most) return false;
  rule.remove_prefix(static_cast<std::size_t>(end - rule.data()));
  return true;
}

// "CET" or "<+0330>".
bool TakeName(std::string_view& rule) {
  const bool isQuoted = Take(rule, '<');
  const std::size_t size = isQuoted ? rule.find('>') : rule.find_first_not_of(kLetters);
  rule.remove_prefix(std::min(size, rule.size()));
  return size >= 3 && (!isQuoted || Take(rule, '>'));
}

// "-3:30"; the hours may be those of a week.
bool TakeTime(std::string_view& rule, seconds& time) {
  const int sign = Take(rule, '-') ? -1 : 1;
  if (sign > 0) Take(rule, '+');
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  if (!TakeNumber(rule, 0, 167, hour)) return false;
  if (Take(rule, ':') && !TakeNumber(rule, 0, 59, minute)) return false;
  if (Take(rule, ':') && !TakeNumber(rule, 0, 59, second)) return false;
  time = sign * (chrono::hours(hour) + chrono::minutes(minute) + seconds(second));
  return true;
}

// "M10.5.0" (the last Sunday of October), "J60" (1 March in every year) or "60" (days after
// 1 January).
bool TakeDay(std::string_view& rule, chrono::year year, chrono::sys_days& day) {
  unsigned number = 0;
  if (Take(rule, 'M')) {
    unsigned month = 0;
    unsigned week = 0;
    if (!TakeNumber(rule, 1, 12, month) || !Take(rule, '.') || !TakeNumber(rule, 1, 5, week) ||
        !Take(rule, '.') || !TakeNumber(rule, 0, 6, number)) {
      return false;
    }
    const auto yearMonth = year / static_cast<int>(month);
    const chrono::weekday weekday(number);
    day = week == 5 ? chrono::sys_days(yearMonth / weekday[chrono::last])
                    : chrono::sys_days(yearMonth / weekday[week]);
    return true;
  }
  const chrono::sys_days newYear = year / 1 / 1;
  if (!Take(rule, 'J')) {
    if (!TakeNumber(rule, 0, 365, number)) return false;
    day = newYear + chrono::days(number);
    return true;
  }
  if (!TakeNumber(rule, 1, 365, number)) return false;
  constexpr unsigned kFirstOfMarch = 60;
  const bool isBehindLeapDay = year.is_leap() && number >= kFirstOfMarch;
  day = newYear + chrono::days(isBehindLeapDay ? number : number - 1);
  return true;
}

// ",M10.5.0/3": when, by the clocks as they stood until then.
bool TakeChange(std::string_view& rule, chrono::year year, sys_seconds& change) {
  chrono::sys_days day;
  seconds time = chrono::hours(2);
  if (!Take(rule, ',') || !TakeDay(rule, year, day)) return false;
  if (Take(rule, '/') && !TakeTime(rule, time)) return false;
  change = day + time;
  return true;
}

// Numbers in zone files are big-endian, of two's complement.
std::int64_t SignedNumber(std::string_view bytes) {
  std::uint64_t number = static_cast<signed char>(bytes.front()) < 0 ? UINT64_MAX : 0;
  for (const char byte : bytes) number = number << 8U | static_cast<unsigned char>(byte);
  return static_cast<std::int64_t>(number);
}

constexpr std::size_t kTypeSize = 6;  // bytes; its offset comes first
constexpr std::size_t kOffsetSize = 4;

// What stands before each of a file's two blocks of data, the first of which is for old programs.
struct Header {
  std::uint64_t utcMarks = 0;
  std::uint64_t standardMarks = 0;
  std::uint64_t leapSeconds = 0;
  std::uint64_t changes = 0;  // of the offset, each to one of the types
  std::uint64_t types = 0;
  std::uint64_t nameBytes = 0;

  std::uint64_t DataSize(std::size_t timeSize) const {
    return changes * (timeSize + 1) + types * kTypeSize + nameBytes + leapSeconds * (timeSize + 4) +
           standardMarks + utcMarks;
  }
};

bool TakeHeader(std::string_view& file, Header& header) {
  constexpr std::size_t kSize = 44;
  constexpr std::size_t kCounts = 20;
  if (file.size() < kSize || !file.starts_with("TZif") || file[4] < '2') return false;
  std::size_t at = kCounts;
  for (std::uint64_t* count : {&header.utcMarks, &header.standardMarks, &header.leapSeconds,
                               &header.changes, &header.types, &header.nameBytes}) {
    *count = static_cast<std::uint32_t>(SignedNumber(file.substr(at, 4)));
    at += 4;
  }
  file.remove_prefix(kSize);
  return true;
}

// The block behind its header; all that it counts lies within.
bool TakeData(std::string_view& file, const Header& header, std::size_t timeSize,
              std::string_view& data) {
  const std::uint64_t size = header.DataSize(timeSize);
  if (file.size() < size) return false;
  data = file.substr(0, static_cast<std::size_t>(size));
  file.remove_prefix(data.size());
  return true;
}

}  // namespace

std::optional<seconds> OffsetByZoneFile(std::string_view file, sys_seconds time) {
  constexpr std::size_t kTimeSize = 8;  // bytes; 4 in the block for old programs
  Header header;
  std::string_view data;
  if (!TakeHeader(file, header) || !TakeData(file, header, 4, data) || !TakeHeader(file, header) ||
      !TakeData(file, header, kTimeSize, data)) {
    return std::nullopt;
  }
  const auto changes = static_cast<std::size_t>(header.changes);
  std::size_t passed = 0;
  while (passed < changes && SignedNumber(data.substr(passed * kTimeSize, kTimeSize)) <=
                                 time.time_since_epoch().count()) {
    ++passed;
  }
  if (passed == changes) {
    // All that comes later follows the rule at the file's end, which stands in a line of its own.
    if (file.size() > 2) {
      const auto offset = OffsetByZoneRule(file.substr(1, file.size() - 2), time);
      if (offset) return offset;
    }
  }
  const std::string_view typeOfChange = data.substr(changes * kTimeSize);
  const std::size_t type = passed == 0 ? 0 : static_cast<unsigned char>(typeOfChange[passed - 1]);
  if (type >= header.types) return std::nullopt;
  const std::string_view types = typeOfChange.substr(changes);
  return seconds(SignedNumber(types.substr(type * kTypeSize, kOffsetSize)));
}

std::optional<seconds> OffsetByZoneRule(std::string_view rule, sys_seconds time) {
  seconds west;
  if (!TakeName(rule) || !TakeTime(rule, west)) return std::nullopt;
  const seconds standard = -west;
  if (rule.empty()) return standard;
  if (!TakeName(rule)) return std::nullopt;
  seconds summer = standard + chrono::hours(1);
  if (!rule.empty() && rule.front() != ',') {
    if (!TakeTime(rule, west)) return std::nullopt;
    summer = -west;
  }
  if (rule.empty()) rule = ",M3.2.0,M11.1.0";
  const chrono::year year = chrono::year_month_day(floor<chrono::days>(time)).year();
  sys_seconds start;
  sys_seconds end;
  if (!TakeChange(rule, year, start) || !TakeChange(rule, year, end) || !rule.empty()) {
    return std::nullopt;
  }
  start -= standard;
  end -= summer;
  // In the south a year begins and ends in summer.
  const bool isSummer = start <= end ? start <= time && time < end : start <= time || time < end;
  return isSummer ? summer : standard;
}

}  // namespace kxl
