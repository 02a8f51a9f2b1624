#include "kxl/output.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace tool {

namespace {

// Files may hold any bytes; what is no UTF-8 shows as replacement characters.
std::string Dump(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
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
  return isatty(STDOUT_FILENO) == 1 && (noColour == nullptr || *noColour == '\0');
}

}  // namespace

Output::Output(bool json) : json_(json), hasColours_(!json && WantsColours()) {}

Output::~Output() { Flush(); }

void Output::Row(const Json& object, std::vector<std::string> columns, Colour colour) {
  if (json_) {
    std::cout << Dump(object) << '\n';
  } else {
    rows_.push_back({std::move(columns), colour});
  }
}

void Output::Line(const Json& object, std::string_view text) {
  if (json_) {
    std::cout << Dump(object) << std::endl;
  } else {
    std::cout << text << std::endl;
  }
}

void Output::Error(const std::string& text) {
  Flush();
  if (json_) {
    std::cerr << Dump({{"error", text}}) << '\n';
  } else {
    std::cerr << "kxl: " << text << '\n';
  }
  hasFailed_ = true;
}

void Output::Flush() {
  std::vector<std::size_t> widths;
  for (const Columns& row : rows_) {
    widths.resize(std::max(widths.size(), row.texts.size()));
    for (std::size_t i = 0; i + 1 < row.texts.size(); ++i) {
      widths[i] = std::max(widths[i], row.texts[i].size());
    }
  }
  for (const Columns& row : rows_) {
    for (std::size_t i = 0; i + 1 < row.texts.size(); ++i) {
      std::cout << row.texts[i] << std::string(widths[i] + 2 - row.texts[i].size(), ' ');
    }
    const bool isColoured = hasColours_ && row.colour != Colour::kNone;
    std::cout << (isColoured ? Escape(row.colour) : "") << row.texts.back()
              << (isColoured ? "\033[0m" : "") << '\n';
  }
  rows_.clear();
  std::cout.flush();
}

}  // namespace tool
