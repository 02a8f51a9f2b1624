#include "bench/report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "bench/chart.h"
#include "bench/rows.h"

namespace bench {

namespace {

// The most that the ratio of libkxl to another variant should be, or what else a row counts.
struct Mark {
  std::string_view row;
  std::string_view against;
  double most;
};

constexpr char kGrowth[] = "growth from 1000 to 10000, exponent";

constexpr Mark kMarks[] = {
    {"register, replaced: one of 1", kRollback, 1.0},
    {"register, replaced: one of 10", kRollback, 1.0},
    {"register, replaced: one of 50", kRollback, 1.0},
    {"register, replaced: one of 100", kRollback, 1.0},
    {"register, replaced: one of 10", kMinimum, 1.2},
    {"register, replaced: one of 100", kMinimum, 1.2},
    {"register, replaced: one of 1000", kMinimum, 1.25},
    {"register, replaced: one of 10000", kMinimum, 1.25},
    {"register, unchanged: one of 10", kMinimum, 1.35},
    {"register, unchanged: one of 100", kMinimum, 1.25},
    {"register, unchanged: one of 1000", kMinimum, 1.2},
    {"register, unchanged: one of 10000", kMinimum, 1.2},
    {"look up: one of 1", kRollback, 1.0},
    {"look up: one of 10", kRollback, 1.0},
    {"look up: one of 50", kRollback, 1.0},
    {"look up: one of 10", kMinimum, 1.35},
    {"look up: one of 100", kMinimum, 1.25},
    {"look up: one of 1000", kMinimum, 1.2},
    {"look up: one of 10000", kMinimum, 1.2},
    {kReplacing, kGrowth, 1.05},
    {kChangingNothing, kGrowth, 1.05},
    {kLookingUp, kGrowth, 1.05},
    {"memory of a registration, 10000 applications", "times the file's size", 3.5},
    {"XML: parse 1000 applications into a tree", kMinimum, 1.2},
    {"XML: parse 1000 applications into a tree", "libxml2", 1.0},
    {"XML: write a tree of 1000 applications", "pugixml", 1.0},
    {"lock and unlock", kMinimum, 1.15},
    {"hand-over of a held lock", kMicrosecond, 1100},
    {"trace: the two lines of KXLGetVersion", "spdlog", 0.95},
    {"trace: a line below the level", kMicrosecond, 0.005},
    {"KXLIsUpdateCheckEnabled", kMinimum, 1.1},
    {"KXLSuppressUpdates, a query without a file", kMinimum, 1.3},
    {"finding the updater among 300 processes", kMinimum, 1.3},
    {"load, and the first KXLGetVersion", kMinimum, 1.25},
    {"the library, stripped", "kB", 340},
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
    const std::string& row = run.run_name.function_name;
    const std::string& against = run.report_label;
    lines_.push_back({row, against, run.counters.at(kLibrary), run.counters.at(kOther),
                      run.counters.at(kRatio), MarkOf(row, against)});
  }
}

void Report::Add(const std::string& row, const std::string& what, double value) {
  lines_.push_back({row, what, 0, 0, value, MarkOf(row, what)});
}

const Report::Line* Report::Find(const std::string& row, const std::string& against) const {
  const auto found = std::find_if(lines_.begin(), lines_.end(), [&](const Line& line) {
    return line.row == row && line.against == against;
  });
  return found == lines_.end() ? nullptr : &*found;
}

// How the time grows with the list: 1 is in proportion.
void Report::AddGrowth() {
  for (const std::string row : {kReplacing, kChangingNothing, kLookingUp}) {
    const Line* thousand = Find(row + kOneOf + "1000", kMinimum);
    const Line* tenThousand = Find(row + kOneOf + "10000", kMinimum);
    if (thousand == nullptr || tenThousand == nullptr) continue;
    Add(row, kGrowth, std::log10(tenThousand->own / thousand->own));
  }
}

void Report::Print() const {
  std::puts("| row | against | libkxl, us | it, us | ratio | mark |\n|---|---|---|---|---|---|");
  for (const Line& line : lines_) {
    const char* judgement = line.mark == 0 ? "" : line.value > line.mark ? " missed" : " kept";
    std::printf("| %s | %s | %s | %s | %s | %s%s |\n", line.row.c_str(), line.against.c_str(),
                Number(line.own).c_str(), Number(line.other).c_str(), Number(line.value).c_str(),
                Number(line.mark).c_str(), judgement);
  }
}

// The curves of libkxl and of what it is compared with, against the number of applications.
Panel Report::PanelOf(const std::string& title, const std::string& row) const {
  Panel panel = {title, {{kLibrary, {}}}};
  for (const char* against : {kMinimum, kRollback, kWriteAhead}) {
    Curve curve = {against, {}};
    for (const std::size_t count : kListSizes) {
      const Line* line = Find(row + kOneOf + std::to_string(count), against);
      if (line == nullptr) continue;
      curve.points.push_back({static_cast<double>(count), line->other});
      if (against != kMinimum) continue;
      panel.curves[0].points.push_back({static_cast<double>(count), line->own});
    }
    panel.curves.push_back(curve);
  }
  return panel;
}

void Report::Draw(const std::string& path) const {
  std::vector<Bar> bars;
  for (const Line& line : lines_) {
    const bool isInPanel = line.row.starts_with(std::string(kReplacing) + kOneOf) ||
                           line.row.starts_with(std::string(kLookingUp) + kOneOf);
    if (line.mark == 0 || isInPanel) continue;
    bars.push_back({line.row + " / " + line.against,
                    Number(line.value) + " of " + Number(line.mark), line.value / line.mark});
  }
  DrawChart(
      path,
      {PanelOf("A registration, one replaced", kReplacing), PanelOf("Looking one up", kLookingUp)},
      bars);
}

}  // namespace bench
