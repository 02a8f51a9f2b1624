#include "util/utc_time.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <stdexcept>

namespace kxl {

namespace {

namespace chrono = std::chrono;

// A separator and a number of two digits.
char* WriteField(char* at, char separator, std::int64_t number) {
  *at++ = separator;
  *at++ = static_cast<char>('0' + number / 10);
  *at++ = static_cast<char>('0' + number % 10);
  return at;
}

// Takes a number of at most digits digits, and the separator behind it, off the text.
unsigned TakeNumber(std::string_view& text, std::size_t digits, std::string_view separator) {
  unsigned number = 0;
  const std::string_view field = text.substr(0, text.find_first_not_of("0123456789"));
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
  text.remove_prefix(field.size());
  if (error != std::errc() || field.size() > digits || !text.starts_with(separator)) {
    throw std::runtime_error("Unable to parse time");
  }
  text.remove_prefix(separator.size());
  return number;
}

}  // namespace

std::string FormatUtc(std::time_t time, char separator) {
  const chrono::sys_seconds instant{chrono::seconds(time)};
  const chrono::year_month_day date(chrono::floor<chrono::days>(instant));
  const chrono::hh_mm_ss clock(instant - chrono::floor<chrono::days>(instant));
  std::array<char, 32> text;
  char* end = std::to_chars(text.begin(), text.end(), static_cast<int>(date.year())).ptr;
  end = WriteField(end, '-', static_cast<unsigned>(date.month()));
  end = WriteField(end, '-', static_cast<unsigned>(date.day()));
  end = WriteField(end, separator, clock.hours().count());
  end = WriteField(end, ':', clock.minutes().count());
  end = WriteField(end, ':', clock.seconds().count());
  return {text.begin(), end};
}

std::time_t ParseUtc(std::string_view text) {
  if (text.find('-') != 4) throw std::runtime_error("Unable to parse time");
  const chrono::year year(static_cast<int>(TakeNumber(text, 4, "-")));
  const chrono::month month(TakeNumber(text, 2, "-"));
  const chrono::day day(TakeNumber(text, 2, " "));
  const unsigned hour = TakeNumber(text, 2, ":");
  const unsigned minute = TakeNumber(text, 2, ":");
  const unsigned second = TakeNumber(text, 2, "");
  const chrono::year_month_day date(year, month, day);
  const chrono::sys_seconds instant = chrono::sys_days(date) + chrono::hours(hour) +
                                      chrono::minutes(minute) + chrono::seconds(second);
  const std::time_t time = instant.time_since_epoch().count();
  if (!text.empty() || !date.ok() || hour > 23 || minute > 59 || second > 59 || time < kFirstUtc) {
    throw std::runtime_error("Unable to parse time");
  }
  return time;
}

}  // namespace kxl
