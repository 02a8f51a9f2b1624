#include "kxl/output.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "kxl/screen_text.h"

namespace tool {

namespace {

constexpr std::size_t kWidest = 60;  // columns

// Files may hold any bytes; what is no UTF-8 shows as replacement characters.
std::string Dump(const Json& object) {
  return VisibleJson(object.dump(-1, ' ', false, Json::error_handler_t::replace));
}

const char* Escape(Colour colour) {
  switch (colour) {
    case Colour::kGood:
      return "\033[32m";
    case Colour::kBad:
      return "\033[31m";
    case Colour::kDim:
      return "\033[2m";
    case Colour::kNone:
      break;
  }
  return "";
}

bool WantsColours() {
  const char* noColour = std::getenv("NO_COLOR");
  return noColour == nullptr || *noColour == '\0';
}

}  // namespace

std::string ErrorLine(const std::string& text, bool json) {
  return (json ? Dump({{"error", text}}) : "kxl: " + Visible(text, LineEnds::kEscape)) + '\n';
}

Output::Output(bool json)
    : json_(json),
      isTerminal_(isatty(STDOUT_FILENO) == 1),
      hasColours_(isTerminal_ && WantsColours()) {}

Output::~Output() { Flush(); }

void Output::Row(const Json& object, std::vector<std::string> columns, Colour colour) {
  if (json_) {
    std::cout << Dump(object) << '\n';
  } else {
    const LineEnds lineEnds = columns.size() == 1 ? LineEnds::kKeep : LineEnds::kEscape;
    for (std::string& text : columns) text = Visible(text, lineEnds);
    for (std::size_t i = 0; isTerminal_ && i + 1 < columns.size(); ++i) {
      if (columns[i].starts_with('/') || ScreenWidth(columns[i]) <= kWidest) continue;
      columns[i] = Shortened(columns[i], kWidest);
    }
    rows_.push_back({std::move(columns), colour});
  }
}

void Output::Line(const Json& object, std::string_view text) {
  if (json_) {
    std::cout << Dump(object) << std::endl;
  } else {
    std::cout << (isTerminal_ ? Visible(text, LineEnds::kKeep) : text) << std::endl;
  }
}

void Output::Error(const std::string& text) {
  Flush();
  std::cerr << ErrorLine(text, json_);
  hasFailed_ = true;
}

void Output::Flush() {
  std::vector<std::size_t> widths;
  for (const Columns& row : rows_) {
    widths.resize(std::max(widths.size(), row.texts.size()));
    for (std::size_t i = 0; i + 1 < row.texts.size(); ++i) {
      // A path that is wider pushes the rest of its own row only.
      const std::size_t width = ScreenWidth(row.texts[i]);
      if (!isTerminal_ || width <= kWidest) widths[i] = std::max(widths[i], width);
    }
  }
  for (const Columns& row : rows_) {
    for (std::size_t i = 0; i + 1 < row.texts.size(); ++i) {
      const std::size_t width = ScreenWidth(row.texts[i]);
      std::cout << row.texts[i] << std::string(std::max(widths[i], width) + 2 - width, ' ');
    }
    const bool isColoured = hasColours_ && row.colour != Colour::kNone;
    std::cout << (isColoured ? Escape(row.colour) : "") << row.texts.back()
              << (isColoured ? "\033[0m" : "") << '\n';
  }
  rows_.clear();
  std::cout.flush();
}

bool Output::IsPrinted() const { return std::cout.good(); }

}  // namespace tool
