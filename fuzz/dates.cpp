// The ends of holds and the date of the last check, against the standard library's calendar, and
// time zones.
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>

#include "api/update_check.h"
#include "fuzz/machine.h"
#include "platform/time_zone.h"
#include "util/utc_time.h"

namespace {

using namespace std::chrono;

constexpr bool IsInCalendar(year_month_day date) {
  return date.ok() && date.year() >= 1400y && date.year() <= 9999y;
}

// Two digits, or one; nothing else that scanning a number would take.
bool IsNumber(std::string_view text, std::size_t longest) {
  return !text.empty() && text.size() <= longest &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

// "2008-03-17", taken off the text with the byte behind it.
std::optional<year_month_day> TakeDate(std::string_view& text, char behind) {
  const std::size_t end = std::min(text.find(behind), text.size());
  const std::string_view date = text.substr(0, end);
  const std::size_t first = date.find('-');
  const std::size_t last = date.rfind('-');
  if (first != 4 || last == first || !IsNumber(date.substr(0, 4), 4) ||
      !IsNumber(date.substr(5, last - 5), 2) || !IsNumber(date.substr(last + 1), 2)) {
    return std::nullopt;
  }
  const std::string copy(date);
  int y = 0;
  unsigned m = 0;
  unsigned d = 0;
  std::sscanf(copy.c_str(), "%d-%u-%u", &y, &m, &d);
  text.remove_prefix(std::min(end + 1, text.size()));
  const year_month_day read{year(y), month(m), day(d)};
  return IsInCalendar(read) ? std::optional(read) : std::nullopt;
}

std::optional<std::time_t> Instant(std::string_view text) {
  const auto date = TakeDate(text, ' ');
  if (!date) return std::nullopt;
  const std::size_t first = text.find(':');
  const std::size_t last = text.rfind(':');
  if (first == last || !IsNumber(text.substr(0, first), 2) ||
      !IsNumber(text.substr(first + 1, last - first - 1), 2) ||
      !IsNumber(text.substr(last + 1), 2)) {
    return std::nullopt;
  }
  int h = 0;
  int m = 0;
  int s = 0;
  std::sscanf(std::string(text).c_str(), "%d:%d:%d", &h, &m, &s);
  if (h > 23 || m > 59 || s > 59) return std::nullopt;
  return (sys_days(*date) + hours(h) + minutes(m) + seconds(s)).time_since_epoch().count();
}

void CheckEnd(const std::string& text) {
  const auto expected = Instant(text);
  try {
    fuzz::Check(expected == kxl::ParseUtc(text), "the end is the expected one");
  } catch (const std::exception&) {
    fuzz::Check(!expected, "an end that exists is accepted");
  }
}

year_month_day Today() {
  const std::time_t now = std::time(nullptr);
  std::tm local;
  localtime_r(&now, &local);
  return year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text = fuzz::Input(bytes, size).Rest();
  CheckEnd(text);
  const sys_seconds now = floor<seconds>(system_clock::now());
  kxl::OffsetByZoneFile(text, now);
  if (const auto offset = kxl::OffsetByZoneRule(text, now)) {
    fuzz::Check(abs(*offset) <= days(7) + hours(1), "a zone is not far from UTC");
  }

  fuzz::Put(fuzz::DataPath("KeldaUpdaterPrefs.dat"), {});
  kxl::KeldaUpdaterPrefs preferences;
  if (!preferences.LastDateCheck.Set(text)) return 0;
  const year_month_day today = Today();
  const bool isTime = IsTimeToLaunch(preferences, today);
  std::string_view rest = text;
  const auto checked = TakeDate(rest, '\0');
  if (checked && Today() == today) {
    fuzz::Check(isTime == (sys_days(*checked) <= sys_days(today) - days(7)),
                "a check is due in time");
  }
  return 0;
}
