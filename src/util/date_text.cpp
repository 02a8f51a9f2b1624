#include "util/date_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

// boost::gregorian::from_string reads the same texts, but makes a table at its first use, on which
// a child forked meanwhile would wait for ever, and its numbers overflow on what is none.

namespace kxl {

namespace {

bool ReadNumber(std::string_view piece, unsigned most, unsigned& number) {
  if (piece.starts_with('+')) piece.remove_prefix(1);
  const char* const end = piece.data() + piece.size();
  const auto [read, error] = std::from_chars(piece.data(), end, number);
  return error == std::errc() && read == end && number <= most;
}

// In full or by three letters, capital or small.
bool ReadMonthName(std::string_view piece, unsigned& number) {
  constexpr std::array<std::string_view, 12> kNames = {
      "january", "february", "march",     "april",   "may",      "june",
      "july",    "august",   "september", "october", "november", "december"};
  std::string name(piece);
  for (char& letter : name) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  const auto* const month = std::find_if(
      kNames.begin(), kNames.end(),
      [&name](std::string_view full) { return name == full || name == full.substr(0, 3); });
  number = static_cast<unsigned>(month - kNames.begin()) + 1;
  return month != kNames.end();
}

bool ReadMonth(std::string_view piece, unsigned& number) {
  const bool isNumber = piece.front() >= '0' && piece.front() <= '9';
  return isNumber ? ReadNumber(piece, 12, number) : ReadMonthName(piece, number);
}

}  // namespace

std::optional<std::chrono::year_month_day> ParseDate(std::string_view text) {
  constexpr std::string_view kSeparators = ",-. /";
  std::array<std::string_view, 3> pieces;
  for (std::string_view& piece : pieces) {
    text.remove_prefix(std::min(text.find_first_not_of(kSeparators), text.size()));
    piece = text.substr(0, text.find_first_of(kSeparators));
    text.remove_prefix(piece.size());
    if (piece.empty()) return std::nullopt;
  }
  unsigned year = 0;
  unsigned month = 0;
  unsigned day = 0;
  if (!ReadNumber(pieces[0], 9999, year) || year < 1400 || !ReadMonth(pieces[1], month) ||
      !ReadNumber(pieces[2], 31, day)) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(year)),
                                         std::chrono::month(month), std::chrono::day(day));
  return date.ok() ? std::optional(date) : std::nullopt;
}

}  // namespace kxl
