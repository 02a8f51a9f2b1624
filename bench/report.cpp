#include "bench/report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string_view>

#include "bench/rows.h"

namespace bench {

namespace {

// The most that the ratio of libkxl to another variant should be.
struct Mark {
  std::string_view row;
  std::string_view against;  // kLibrary: itself, in microseconds
  double most;
};

constexpr Mark kMarks[] = {
    {"register, one is replaced, 10 applications", kMinimum, 1.2},
    {"register, one is replaced, 10 applications", "SQLite, rollback journal", 1.0},
    {"register, one is replaced, 100 applications", kMinimum, 1.2},
    {"register, one is replaced, 100 applications", "SQLite, rollback journal", 1.0},
    {"register, one is replaced, 1000 applications", kMinimum, 1.5},
    {"register, one is replaced, 10000 applications", kMinimum, 1.5},
    {"register, nothing changes, 10 applications", kMinimum, 1.4},
    {"register, nothing changes, 100 applications", kMinimum, 1.4},
    {"register, nothing changes, 1000 applications", kMinimum, 1.8},
    {"register, nothing changes, 10000 applications", kMinimum, 1.8},
    {"look one up, 10 applications", kMinimum, 1.4},
    {"look one up, 100 applications", kMinimum, 1.4},
    {"look one up, 1000 applications", kMinimum, 1.8},
    {"look one up, 10000 applications", kMinimum, 1.8},
    {"XML: parse 1000 applications into a tree", kMinimum, 1.6},
    {"XML: parse 1000 applications into a tree", "libxml2", 1.0},
    {"XML: write a tree of 1000 applications", "pugixml", 1.0},
    {"lock and unlock", kMinimum, 1.15},
    {"hand-over of a held lock", kLibrary, 1100},
    {"trace: the two lines of a call", "spdlog", 0.9},
    {"trace: a line below the level", kLibrary, 0.005},
    {"KXLIsUpdateCheckEnabled", kMinimum, 1.3},
    {"KXLSuppressUpdates, a query without a file", kMinimum, 1.3},
    {"load, and the first KXLGetVersion", kMinimum, 1.25},
    {"finding the updater among 300 processes", kMinimum, 1.3},
};

double MarkOf(std::string_view row, std::string_view against) {
  const auto mark = std::find_if(std::begin(kMarks), std::end(kMarks), [&](const Mark& candidate) {
    return candidate.row == row && candidate.against == against;
  });
  return mark == std::end(kMarks) ? 0 : mark->most;
}

std::string Number(double value) {
  if (value == 0) return "";
  std::array<char, 32> text;
  const int digits = value < 0.1 ? 4 : value < 100 ? 2 : 0;
  const int size = std::snprintf(text.data(), text.size(), "%.*f", digits, value);
  return {text.data(), static_cast<std::size_t>(size)};
}

}  // namespace

void Report::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    const bool isOnlyOne = run.repetitions <= 1 && run.run_type == Run::RT_Iteration;
    if (!isOnlyOne && run.aggregate_name != "median") continue;
    const std::string& row = run.run_name.function_name;
    order_.push_back(row);
    for (const auto& [variant, time] : run.counters) rows_[row][variant] = time.value;
  }
}

void Report::Add(const std::string& row, const std::string& what, double value, double mark) {
  added_.push_back({row, what, 0, 0, value, mark});
}

// How the time grows with the list: 1 is in proportion.
void Report::AddGrowth(std::vector<Line>& lines, const std::string& row) const {
  constexpr double kMostGrowth = 1.05;
  const auto thousand = rows_.find(row + ", 1000 applications");
  const auto tenThousand = rows_.find(row + ", 10000 applications");
  if (thousand == rows_.end() || tenThousand == rows_.end()) return;
  const double exponent =
      std::log10(tenThousand->second.at(kLibrary) / thousand->second.at(kLibrary));
  lines.push_back({row, "growth from 1000 to 10000, exponent", 0, 0, exponent, kMostGrowth});
}

std::vector<Report::Line> Report::Lines() const {
  std::vector<Line> lines;
  for (const std::string& row : order_) {
    const Variants& variants = rows_.at(row);
    const auto own = variants.find(kLibrary);
    if (own == variants.end()) continue;
    if (const double most = MarkOf(row, kLibrary); most > 0) {
      lines.push_back({row, "microseconds", own->second, 0, own->second, most});
    }
    for (const auto& [variant, time] : variants) {
      if (variant == kLibrary) continue;
      lines.push_back({row, variant, own->second, time, own->second / time, MarkOf(row, variant)});
    }
  }
  for (const char* row :
       {"register, one is replaced", "register, nothing changes", "look one up"}) {
    AddGrowth(lines, row);
  }
  lines.insert(lines.end(), added_.begin(), added_.end());
  return lines;
}

void Report::Print() const {
  std::puts("| row | against | libkxl, us | it, us | ratio | mark |\n|---|---|---|---|---|---|");
  for (const Line& line : Lines()) {
    const char* missed = line.mark > 0 && line.value > line.mark ? " missed" : "";
    std::printf("| %s | %s | %s | %s | %s | %s%s |\n", line.row.c_str(), line.against.c_str(),
                Number(line.own).c_str(), Number(line.other).c_str(), Number(line.value).c_str(),
                Number(line.mark).c_str(), missed);
  }
}

void Report::Draw(const std::string& path) const {
  constexpr int kRow = 22;     // pixels
  constexpr int kLabel = 470;  // the width of the texts
  constexpr int kMark = 300;   // where the marks stand, right of the texts
  std::vector<Line> lines = Lines();
  std::erase_if(lines, [](const Line& line) { return line.mark == 0; });
  std::ofstream svg(path);
  svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << kLabel + 2 * kMark
      << "\" height=\"" << (static_cast<int>(lines.size()) + 2) * kRow
      << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
         "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n<text x=\"8\" y=\"16\">"
         "libkxl in proportion to its mark (the line); shorter is better</text>\n";
  int top = kRow;
  for (const Line& line : lines) {
    const double length = std::min(line.value / line.mark, 1.9) * kMark;
    svg << "<text x=\"8\" y=\"" << top + 15 << "\">" << line.row << " / " << line.against
        << "</text>\n<rect x=\"" << kLabel << "\" y=\"" << top + 4 << "\" width=\"" << length
        << "\" height=\"14\" fill=\"" << (line.value > line.mark ? "#c44" : "#48a") << "\"/>\n"
        << "<text x=\"" << kLabel + 4 << "\" y=\"" << top + 15 << "\" fill=\"white\">"
        << Number(line.value) << " of " << Number(line.mark) << "</text>\n";
    top += kRow;
  }
  svg << "<line x1=\"" << kLabel + kMark << "\" x2=\"" << kLabel + kMark << "\" y1=\"" << kRow
      << "\" y2=\"" << top << "\" stroke=\"black\"/>\n</svg>\n";
}

}  // namespace bench
